#include "Core/KeystrokeInjector.h"

#include "Core/HelperServices.h"
#include "platform/FocusTracker.h"

namespace velko {

KeystrokeInjector::KeystrokeInjector(Clock& clock, SyntheticKeyboard& keyboard, FocusTracker& focus)
    : clock_(clock), keyboard_(keyboard), focus_(focus) {}

KeystrokeInjector& KeystrokeInjector::shared() { return *HelperServices::current().injector; }

void KeystrokeInjector::injectKeystroke(KeyCode keyCode, EventFlags flags, bool rateLimit) {
    if (rateLimit) {
        const double now = clock_.now();
        if (!(now - lastInjection_ >= minInterval)) return;
        // A stroke that passes the limit starts a new period even if it finds no focus below.
        lastInjection_ = now;
    }
    if (!keyboard_.hasFrontmostApplication()) return;
    // Every V with Ctrl is a paste, the plain-text variant (Ctrl+Alt+Shift+V) included, which
    // terminals do not know.
    if (keyCode == KeyCodes::v && (flags & Flags::command) != 0) {
        const auto focus = focus_.focus();
        if (focus && focus->terminal) flags = Flags::command | Flags::shift;
    }
    if (!keyboard_.postKeyEvent(keyCode, flags, true)) return;
    keyboard_.postKeyEvent(keyCode, flags, false);
}

}  // namespace velko
