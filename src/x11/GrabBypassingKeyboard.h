#pragma once
#include "platform/SyntheticKeyboard.h"

namespace velko {

class X11FilteringKeyTap;

// Posts through another keyboard and tells the hotkey grabs about each key-down, so that a paste
// of Ctrl+Shift+V reaches the focused window instead of firing the hotkey of the same keys.
class GrabBypassingKeyboard : public SyntheticKeyboard {
public:
    GrabBypassingKeyboard(SyntheticKeyboard& keyboard, X11FilteringKeyTap& tap) : keyboard_(keyboard), tap_(tap) {}
    bool hasFrontmostApplication() override;
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;

private:
    SyntheticKeyboard& keyboard_;
    X11FilteringKeyTap& tap_;
};

}  // namespace velko
