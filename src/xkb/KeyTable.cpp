#include "xkb/KeyTable.h"

#include <array>
#include <utility>

namespace velko {
namespace {

// X core modifier bits.
constexpr std::uint16_t xShift = 0x1;
constexpr std::uint16_t xLock = 0x2;
constexpr std::uint16_t xControl = 0x4;
constexpr std::uint16_t xMod1 = 0x8;
constexpr std::uint16_t xMod4 = 0x40;

// Command sits on Ctrl and Control on Super: shortcuts that read Command-V elsewhere are Ctrl+V here.
constexpr std::array<std::pair<EventFlags, std::uint16_t>, 5> flagBits{{
    {Flags::capsLock, xLock},
    {Flags::shift, xShift},
    {Flags::control, xMod4},
    {Flags::option, xMod1},
    {Flags::command, xControl},
}};

struct Key {
    KeyCode keyCode;
    std::uint16_t evdev;
};

// Positional: each entry names the kernel key that sits where the virtual key does.
constexpr Key keys[] = {
    {0, 30},     // A
    {1, 31},     // S
    {2, 32},     // D
    {3, 33},     // F
    {4, 35},     // H
    {5, 34},     // G
    {6, 44},     // Z
    {7, 45},     // X
    {8, 46},     // C
    {9, 47},     // V
    {11, 48},    // B
    {12, 16},    // Q
    {13, 17},    // W
    {14, 18},    // E
    {15, 19},    // R
    {16, 21},    // Y
    {17, 20},    // T
    {18, 2},     // 1
    {19, 3},     // 2
    {20, 4},     // 3
    {21, 5},     // 4
    {22, 7},     // 6
    {23, 6},     // 5
    {24, 13},    // =
    {25, 10},    // 9
    {26, 8},     // 7
    {27, 12},    // -
    {28, 9},     // 8
    {29, 11},    // 0
    {30, 27},    // ]
    {31, 24},    // O
    {32, 22},    // U
    {33, 26},    // [
    {34, 23},    // I
    {35, 25},    // P
    {36, 28},    // Return
    {37, 38},    // L
    {38, 36},    // J
    {39, 40},    // '
    {40, 37},    // K
    {41, 39},    // ;
    {42, 43},    // backslash
    {43, 51},    // ,
    {44, 53},    // /
    {45, 49},    // N
    {46, 50},    // M
    {47, 52},    // .
    {48, 15},    // Tab
    {49, 57},    // Space
    {50, 41},    // `
    {51, 14},    // Backspace
    {53, 1},     // Escape
    {54, 97},    // right Command: right Ctrl
    {55, 29},    // Command: left Ctrl
    {56, 42},    // Shift
    {57, 58},    // CapsLock
    {58, 56},    // Option: left Alt
    {59, 125},   // Control: left Super
    {60, 54},    // right Shift
    {61, 100},   // right Option: right Alt
    {62, 126},   // right Control: right Super
    {96, 63},    // F5
    {97, 64},    // F6
    {98, 65},    // F7
    {99, 61},    // F3
    {100, 66},   // F8
    {101, 67},   // F9
    {103, 87},   // F11
    {109, 68},   // F10
    {111, 88},   // F12
    {115, 102},  // Home
    {116, 104},  // PageUp
    {117, 111},  // forward Delete
    {118, 62},   // F4
    {119, 107},  // End
    {120, 60},   // F2
    {121, 109},  // PageDown
    {122, 59},   // F1
    {123, 105},  // Left
    {124, 106},  // Right
    {125, 108},  // Down
    {126, 103},  // Up
};

}  // namespace

std::optional<std::uint16_t> KeyTable::evdevCode(KeyCode keyCode) {
    for (const auto& key : keys)
        if (key.keyCode == keyCode) return key.evdev;
    return std::nullopt;
}

std::optional<std::uint8_t> KeyTable::xKeycode(KeyCode keyCode) {
    const auto evdev = evdevCode(keyCode);
    if (!evdev || *evdev + xKeycodeOffset > 255) return std::nullopt;
    return static_cast<std::uint8_t>(*evdev + xKeycodeOffset);
}

std::optional<KeyCode> KeyTable::keyCodeForXKeycode(std::uint8_t xKeycode) {
    if (xKeycode < xKeycodeOffset) return std::nullopt;
    const auto evdev = static_cast<std::uint16_t>(xKeycode - xKeycodeOffset);
    for (const auto& key : keys)
        if (key.evdev == evdev) return key.keyCode;
    return std::nullopt;
}

std::optional<std::uint8_t> KeyTable::modifierXKeycode(EventFlags flag) {
    switch (flag) {
        case Flags::capsLock:
            return xKeycode(57);
        case Flags::shift:
            return xKeycode(56);
        case Flags::control:
            return xKeycode(59);
        case Flags::option:
            return xKeycode(58);
        case Flags::command:
            return xKeycode(55);
        default:
            return std::nullopt;
    }
}

std::uint16_t KeyTable::xStateMask(EventFlags flags) {
    std::uint16_t mask = 0;
    for (const auto& [flag, bit] : flagBits)
        if (flags & flag) mask |= bit;
    return mask;
}

EventFlags KeyTable::eventFlags(std::uint16_t xState) {
    EventFlags flags = 0;
    for (const auto& [flag, bit] : flagBits)
        if (xState & bit) flags |= flag;
    return flags;
}

}  // namespace velko
