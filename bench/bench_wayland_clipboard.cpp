// The data-control clipboard in headless sway: a change-count question (one compositor round trip),
// a snapshot of what a second client owns, and wl-paste reading what we own, with the time our main
// thread spends serving it, against wl-paste reading the second client's. Run through
// bench/run-wayland-clipboard-bench, which provides the session.
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "BenchFigures.h"
#include "wayland/WaylandDataControlPasteboard.h"

extern char** environ;

namespace {

using namespace velko;
using namespace velko::bench;

const std::string benchType = "application/x-velko-bench";

// Runs a shell command while our loop keeps serving the clipboard; the milliseconds it took and
// those spent in dispatch().
std::pair<double, double> runServing(WaylandDataControlPasteboard& clipboard, const std::string& command) {
    const char* argv[] = {"sh", "-c", command.c_str(), nullptr};
    pid_t pid = 0;
    const auto start = Clock::now();
    if (posix_spawnp(&pid, "sh", nullptr, nullptr, const_cast<char**>(argv), environ) != 0) return {-1, -1};
    Clock::duration serving{};
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        pollfd readable{clipboard.fd(), POLLIN, 0};
        if (poll(&readable, 1, 5) > 0) {
            const auto before = Clock::now();
            clipboard.dispatch();
            serving += Clock::now() - before;
        }
    }
    return {ms(Clock::now() - start), ms(serving)};
}

// A second client that owns the clipboard with bytes under benchType, until it is killed.
int own(const Bytes& bytes) {
    const auto connected = WaylandDataControlPasteboard::connect();
    if (!connected) return 1;
    const auto& owner = *connected;
    owner->writeItems({{{{benchType, bytes}}}});
    for (pollfd readable{owner->fd(), POLLIN, 0}; poll(&readable, 1, -1) > 0 && owner->dispatch();) {
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 10;
    const auto connected = WaylandDataControlPasteboard::connect();
    if (!connected) {
        std::fprintf(stderr, "bench_wayland_clipboard: %s\n", connected.error().c_str());
        return 1;
    }
    const auto& clipboard = *connected;
    std::vector<double> asked;
    for (int i = 0; i < 500; ++i) {
        const auto start = Clock::now();
        clipboard->changeCount();
        asked.push_back(ms(Clock::now() - start));
    }
    std::printf("changeCount (one round trip): median %.3f ms, p99 %.3f ms\n", percentile(asked, 0.5),
                percentile(asked, 0.99));

    for (const std::size_t size : {std::size_t{1} << 10, std::size_t{1} << 20, std::size_t{16} << 20}) {
        Bytes bytes(size);
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 2654435761u >> 13);
        const auto before = clipboard->changeCount();
        const pid_t owner = fork();
        if (owner == 0) _exit(own(bytes));
        while (clipboard->changeCount() == before) usleep(1000);
        std::vector<double> snapshot, ours, serving, theirs;
        std::optional<std::vector<PasteboardItem>> items;
        for (int round = 0; round < rounds; ++round) {
            theirs.push_back(runServing(*clipboard, "wl-paste -t " + benchType + " >/dev/null").first);
            const auto start = Clock::now();
            items = clipboard->items();
            snapshot.push_back(ms(Clock::now() - start));
            if (!items || items->empty() || items->front().types.front().second != bytes) {
                std::fprintf(stderr, "bench_wayland_clipboard: the snapshot of %zu bytes is wrong\n", size);
                return 1;
            }
        }
        kill(owner, SIGTERM);
        waitpid(owner, nullptr, 0);
        clipboard->writeItems(*items);
        for (int round = 0; round < rounds; ++round) {
            const auto [took, spent] = runServing(*clipboard, "wl-paste -t " + benchType + " >/dev/null");
            ours.push_back(took);
            serving.push_back(spent);
        }
        std::printf(
            "%8zu bytes: snapshot median %.2f ms; wl-paste reads ours in %.2f ms (our loop busy %.2f ms), "
            "the other client's in %.2f ms\n",
            size, percentile(snapshot, 0.5), percentile(ours, 0.5), percentile(serving, 0.5), percentile(theirs, 0.5));
    }
    std::printf("peak memory: %ld KiB\n", statusKiB("self", "VmHWM:"));
    return 0;
}
