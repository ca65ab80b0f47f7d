#pragma once
// Key events with modifier flags as kernel key changes, for the backends that speak evdev codes
// (a uinput device, the RemoteDesktop portal). Holds no device, so it is the same for both.
#include <cstdint>
#include <vector>

#include "platform/Types.h"

namespace velko {

class EvdevStroke {
public:
    struct Change {
        std::uint16_t code;
        bool down;
        bool operator==(const Change&) const = default;
    };

    // The changes that post one key event carrying exactly the Command, Option, Shift and Control
    // modifiers in `flags`; empty (and nothing remembered) when the key has no evdev code.
    std::vector<Change> changes(KeyCode keyCode, EventFlags flags, bool keyDown);
    // Every code changes() can produce, for a device that declares its keys before use.
    static std::vector<std::uint16_t> codes();

private:
    // Modifiers that key-downs pressed and the next key-up releases, in the order pressed.
    std::vector<std::uint16_t> pressed_;
};

}  // namespace velko
