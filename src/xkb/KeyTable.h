#pragma once
// Virtual key codes and flags to and from X11 terms. Kept free of X headers so it can be
// tested without a display.
#include <cstdint>
#include <optional>

#include "platform/Types.h"

namespace velko {

class KeyTable {
public:
    // Servers with the evdev driver (Xorg, Xvfb, Xwayland) offset kernel codes by 8.
    static constexpr std::uint8_t xKeycodeOffset = 8;

    // Kernel (evdev) code of the key at the same position.
    static std::optional<std::uint16_t> evdevCode(KeyCode keyCode);
    static std::optional<std::uint8_t> xKeycode(KeyCode keyCode);
    static std::optional<KeyCode> keyCodeForXKeycode(std::uint8_t xKeycode);

    // The key pressed to put one flag (exactly one bit, e.g. Flags::command) into a stroke.
    static std::optional<std::uint8_t> modifierXKeycode(EventFlags flag);

    // Only the five modifier flags have an X counterpart; other bits are dropped.
    static std::uint16_t xStateMask(EventFlags flags);
    static EventFlags eventFlags(std::uint16_t xState);
};

}  // namespace velko
