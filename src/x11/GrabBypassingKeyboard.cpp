#include "x11/GrabBypassingKeyboard.h"

#include "x11/X11FilteringKeyTap.h"

namespace velko {

bool GrabBypassingKeyboard::hasFrontmostApplication() { return keyboard_->hasFrontmostApplication(); }

bool GrabBypassingKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    // Both run on the main thread, so the grabs are back before the tap reads another press.
    if (keyDown) tap_.standAside(keyCode);
    const bool posted = keyboard_->postKeyEvent(keyCode, flags, keyDown);
    if (!keyDown || !posted) tap_.resume();
    return posted;
}

}  // namespace velko
