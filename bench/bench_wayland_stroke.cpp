// Stroke posted through the compositor's virtual keyboard to key seen by a native Wayland window:
// reads the focused wev's log on standard input and times each Ctrl+V press from the call to its
// line. Run through bench/run-wayland-stroke-bench, which provides headless sway and wev.
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchFigures.h"
#include "platform/Types.h"
#include "wayland/WaylandVirtualKeyboard.h"

namespace {

using namespace velko::bench;

// Lines of standard input, each within two seconds; false on a timeout or end of input.
class LineReader {
public:
    bool next(std::string& line) {
        for (;;) {
            if (const auto end = buffer_.find('\n'); end != std::string::npos) {
                line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                return true;
            }
            pollfd in{0, POLLIN, 0};
            if (poll(&in, 1, 2000) <= 0) return false;
            char chunk[4096];
            const ssize_t n = read(0, chunk, sizeof chunk);
            if (n <= 0) return false;
            buffer_.append(chunk, static_cast<std::size_t>(n));
        }
    }
    // Reads up to the first line containing `text`.
    bool skipTo(const std::string& text) {
        for (std::string line; next(line);)
            if (line.find(text) != std::string::npos) return true;
        return false;
    }

private:
    std::string buffer_;
};

}  // namespace

int main(int argc, char** argv) {
    const int strokes = argc > 1 ? std::atoi(argv[1]) : 200;
    auto connected = velko::WaylandVirtualKeyboard::connect();
    if (!connected) {
        std::fprintf(stderr, "bench_wayland_stroke: %s\n", connected.error().c_str());
        return 1;
    }
    const auto keyboard = std::move(*connected);
    LineReader wev;
    if (!wev.skipTo("wl_keyboard] enter")) {
        std::fprintf(stderr, "bench_wayland_stroke: the window never got the keyboard\n");
        return 1;
    }
    // wev prints XKB key codes: evdev + 8.
    const std::string pressed = "key: 55; state: 1", released = "key: 55; state: 0";
    std::vector<double> seen, call;
    for (int i = 0; i < strokes; ++i) {
        const auto start = Clock::now();
        if (!keyboard->postKeyEvent(velko::KeyCodes::v, velko::Flags::command, true)) {
            std::fprintf(stderr, "bench_wayland_stroke: stroke %d failed\n", i);
            return 1;
        }
        const auto posted = Clock::now();
        if (!wev.skipTo(pressed)) {
            std::fprintf(stderr, "bench_wayland_stroke: stroke %d never arrived\n", i);
            return 1;
        }
        seen.push_back(ms(Clock::now() - start));
        call.push_back(ms(posted - start));
        if (!keyboard->postKeyEvent(velko::KeyCodes::v, velko::Flags::command, false) || !wev.skipTo(released)) {
            std::fprintf(stderr, "bench_wayland_stroke: the release of stroke %d failed\n", i);
            return 1;
        }
    }
    std::printf("Ctrl+V through the virtual keyboard, %d strokes\n", strokes);
    std::printf("  posted -> key seen by the window  p50 %.3f ms  p99 %.3f ms  max %.3f ms\n", percentile(seen, 0.5),
                percentile(seen, 0.99), percentile(seen, 1));
    std::printf("  postKeyEvent call                 p50 %.3f ms  p99 %.3f ms\n", percentile(call, 0.5),
                percentile(call, 0.99));
    return 0;
}
