#pragma once
#include "platform/Types.h"

namespace velko {

// Posts key events as if typed on the hardware keyboard.
class SyntheticKeyboard {
public:
    virtual ~SyntheticKeyboard() = default;
    // Whether some application window has the keyboard focus; false when there is no display.
    virtual bool hasFrontmostApplication() = 0;
    // Posts one key-down or key-up carrying exactly `flags` as its modifiers.
    // False (nothing posted) when the key is unknown or the display cannot be reached.
    virtual bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) = 0;
};

}  // namespace velko
