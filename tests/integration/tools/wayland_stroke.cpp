// velko-test-wayland-stroke: posts paste strokes through WaylandVirtualKeyboard on $WAYLAND_DISPLAY.
// Prints "connected" (or "unavailable: why" and exits 1), then reads one request per line, now,
// plain or match, posts V down and up with its modifiers and prints "posted NAME" or "failed NAME".
#include <cstdio>
#include <iostream>
#include <string>

#include "platform/Types.h"
#include "wayland/WaylandVirtualKeyboard.h"

int main() {
    using namespace velko;
    std::string reason;
    const auto keyboard = WaylandVirtualKeyboard::connect(reason);
    if (!keyboard) {
        std::printf("unavailable: %s\n", reason.c_str());
        return 1;
    }
    std::printf("connected\n");
    std::fflush(stdout);
    for (std::string request; std::getline(std::cin, request);) {
        EventFlags flags = Flags::command;
        if (request == "plain") flags |= Flags::option | Flags::shift;
        if (request == "match") flags |= Flags::shift;
        const bool posted =
            keyboard->postKeyEvent(KeyCodes::v, flags, true) && keyboard->postKeyEvent(KeyCodes::v, flags, false);
        std::printf("%s %s%s\n", posted ? "posted" : "failed", request.c_str(),
                    keyboard->isAlive() || keyboard->hasFrontmostApplication() ? "" : " (compositor gone)");
        std::fflush(stdout);
    }
    return 0;
}
