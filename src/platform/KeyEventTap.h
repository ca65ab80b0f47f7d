#pragma once
#include <functional>
#include <optional>
#include <string>

#include "platform/Types.h"

namespace velko {

// One key-down as a listen-only tap sees it.
struct KeyEvent {
    KeyCode keyCode = 0;  // positional virtual key code; 0xFFFF when the key has none
    EventFlags flags = 0;
    // What the stroke types under the current layout and the modifiers held: U+007F for Backspace,
    // control characters for Return, Tab and Escape, U+F700-block characters for arrows, function
    // and navigation keys. Empty when the key types nothing; nullopt for a modifier key alone.
    std::optional<std::string> characters;
};

// Watches every key-down in the session without changing or dropping any.
class KeyEventTap {
public:
    using Handler = std::function<void(const KeyEvent&)>;
    virtual ~KeyEventTap() = default;
    // Delivers each key-down, auto-repeats included, to handler on the main thread in typing order,
    // until the process ends. False (nothing will ever be delivered) when the tap cannot be made.
    virtual bool start(Handler handler) = 0;
};

}  // namespace velko
