// velko-test-wayland-clipboard: drives WaylandDataControlPasteboard on $WAYLAND_DISPLAY. Prints
// "connected" (or "unavailable: why" and exits 1), then answers each command line on standard input
// with one line, handling the compositor's events through fd()/dispatch() in between as the helper's
// loop does, so that it serves what it put on the clipboard:
//   count              the change count
//   snapshot DIR       items(): "types N", with type i's bytes in DIR/i and the names in DIR/types;
//                      "unreadable" when nullopt
//   restore            writes the last snapshot back
//   own TYPE=FILE ...  writes one item with these types
//   write TEXT, clear  writeString, clearContents
//   string             "text: TEXT" or "no text"
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "wayland/WaylandDataControlPasteboard.h"

namespace {

using namespace velko;

std::string answer(WaylandDataControlPasteboard& clipboard, const std::string& line,
                   std::optional<std::vector<PasteboardItem>>& snapshot) {
    std::istringstream words(line);
    std::string command, argument;
    words >> command;
    std::getline(words >> std::ws, argument);
    if (command == "count") return std::to_string(clipboard.changeCount());
    if (command == "snapshot") {
        snapshot = clipboard.items();
        if (!snapshot) return "unreadable";
        std::ofstream names(argument + "/types");
        std::size_t n = 0;
        for (const auto& item : *snapshot)
            for (const auto& [type, bytes] : item.types) {
                names << type << '\n';
                std::ofstream(argument + "/" + std::to_string(n++), std::ios::binary)
                    .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
            }
        return "types " + std::to_string(n);
    }
    if (command == "restore" && snapshot) clipboard.writeItems(*snapshot);
    if (command == "write") clipboard.writeString(argument);
    if (command == "clear") clipboard.clearContents();
    if (command == "own") {
        PasteboardItem item;
        std::istringstream entries(argument);
        for (std::string entry; entries >> entry;) {
            const auto equals = entry.rfind('=');  // types may hold '=' themselves (charset=utf-8)
            std::ifstream file(entry.substr(equals + 1), std::ios::binary);
            item.types.emplace_back(entry.substr(0, equals), Bytes(std::istreambuf_iterator<char>(file), {}));
        }
        clipboard.writeItems({item});
    }
    if (command == "string") {
        const auto text = clipboard.string();
        return text ? "text: " + *text : "no text";
    }
    return "ok";
}

}  // namespace

int main() {
    const auto connected = WaylandDataControlPasteboard::connect();
    if (!connected) {
        std::printf("unavailable: %s\n", connected.error().c_str());
        return 1;
    }
    const auto& clipboard = *connected;
    std::printf("connected\n");
    std::fflush(stdout);
    std::optional<std::vector<PasteboardItem>> snapshot;
    std::string pending;
    for (;;) {
        pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {clipboard->fd(), POLLIN, 0}};
        poll(fds, clipboard->isAlive() ? 2 : 1, -1);
        if (fds[1].revents) clipboard->dispatch();
        if (!fds[0].revents) continue;
        char buffer[4096];
        const ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) return 0;
        pending.append(buffer, static_cast<std::size_t>(n));
        for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            std::printf("%s\n", answer(*clipboard, pending.substr(0, end), snapshot).c_str());
            std::fflush(stdout);
            pending.erase(0, end + 1);
        }
    }
}
