// Strokes with a given time between key-down and key-up, into whatever has the focus, through XTEST
// (x11) or the compositor's virtual keyboard (wayland). Reads commands on standard input, one a line,
// and answers each with "done" once posted:
//   paste HOLD_US COUNT GAP_MS   COUNT times Ctrl+V held HOLD_US microseconds, GAP_MS apart
//   copy | clear | bar           Ctrl+A then Ctrl+C | Ctrl+A then Backspace | Ctrl+L, held 20 ms
// Run through bench/run-stroke-hold-bench, which counts what arrived.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "platform/Types.h"
#include "wayland/WaylandVirtualKeyboard.h"
#include "x11/X11Connection.h"
#include "x11/X11SyntheticKeyboard.h"

namespace {

using namespace velko;

constexpr KeyCode a = 0, c = 8, l = 37;

bool stroke(SyntheticKeyboard& keyboard, KeyCode key, EventFlags flags, std::chrono::microseconds hold) {
    if (!keyboard.postKeyEvent(key, flags, true)) return false;
    if (hold.count() > 0) std::this_thread::sleep_for(hold);
    return keyboard.postKeyEvent(key, flags, false);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string backend = argc > 1 ? argv[1] : "x11";
    X11Connection display;
    std::unique_ptr<SyntheticKeyboard> keyboard;
    if (backend == "wayland") {
        auto connected = WaylandVirtualKeyboard::connect();
        if (!connected) {
            std::fprintf(stderr, "bench_stroke_hold: %s\n", connected.error().c_str());
            return 1;
        }
        keyboard = std::move(*connected);
    } else {
        keyboard = std::make_unique<X11SyntheticKeyboard>(display);
    }
    const std::chrono::milliseconds sure{20};
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        bool ok = true;
        if (command == "paste") {
            long holdUs = 0, count = 0, gapMs = 0;
            words >> holdUs >> count >> gapMs;
            for (long i = 0; i < count && ok; ++i) {
                ok = stroke(*keyboard, KeyCodes::v, Flags::command, std::chrono::microseconds(holdUs));
                std::this_thread::sleep_for(std::chrono::milliseconds(gapMs));
            }
        } else if (command == "copy") {
            ok = stroke(*keyboard, a, Flags::command, sure) && stroke(*keyboard, c, Flags::command, sure);
        } else if (command == "clear") {
            ok = stroke(*keyboard, a, Flags::command, sure) && stroke(*keyboard, KeyCodes::backspace, 0, sure);
        } else if (command == "bar") {
            ok = stroke(*keyboard, l, Flags::command, sure);
        }
        std::puts(ok ? "done" : "failed");
        std::fflush(stdout);
    }
    return 0;
}
