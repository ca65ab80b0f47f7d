#include "x11/GrabBypassingKeyboard.h"

#include "x11/X11FilteringKeyTap.h"

namespace velko {

bool GrabBypassingKeyboard::hasFrontmostApplication() { return keyboard_->hasFrontmostApplication(); }

bool GrabBypassingKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    const bool posted = keyboard_->postKeyEvent(keyCode, flags, keyDown);
    // Both run on the main thread, so the tap cannot read the press before it is told.
    if (posted && keyDown) tap_.letThrough(keyCode, flags);
    return posted;
}

}  // namespace velko
