#pragma once
#include <memory>

#include "platform/SyntheticKeyboard.h"

namespace velko {

class X11FilteringKeyTap;

// Posts through another keyboard while the hotkey grabs of the posted key step aside, so that a
// paste of Ctrl+Shift+V reaches the focused window instead of firing the hotkey of the same keys.
class GrabBypassingKeyboard : public SyntheticKeyboard {
public:
    GrabBypassingKeyboard(std::unique_ptr<SyntheticKeyboard> keyboard, X11FilteringKeyTap& tap)
        : keyboard_(std::move(keyboard)), tap_(tap) {}
    bool hasFrontmostApplication() override;
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;

private:
    std::unique_ptr<SyntheticKeyboard> keyboard_;
    X11FilteringKeyTap& tap_;
};

}  // namespace velko
