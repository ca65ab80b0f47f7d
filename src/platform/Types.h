#pragma once
// Value types shared by the core and the platform interfaces.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velko {

using Bytes = std::vector<std::uint8_t>;

// Positional virtual key codes of the ANSI keyboard (1 = S, 9 = V, 49 = Space, 51 = Backspace).
using KeyCode = std::uint16_t;

// Keyboard event flag mask, bit for bit as the link protocol defines it. The main application's
// names are kept, mapped to what plays their part on a PC keyboard: `command` is Ctrl here (the
// key of copy and paste), `option` is Alt and `control` is Super.
using EventFlags = std::uint64_t;

namespace Flags {
inline constexpr EventFlags capsLock = 0x10000;
inline constexpr EventFlags shift = 0x20000;
inline constexpr EventFlags control = 0x40000;
inline constexpr EventFlags option = 0x80000;
inline constexpr EventFlags command = 0x100000;
inline constexpr EventFlags numericPad = 0x200000;
}  // namespace Flags

namespace KeyCodes {
inline constexpr KeyCode s = 1;
inline constexpr KeyCode v = 9;
inline constexpr KeyCode space = 49;
inline constexpr KeyCode backspace = 51;
}  // namespace KeyCodes

}  // namespace velko
