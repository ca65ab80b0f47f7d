#include "Core/KeystrokeInjector.h"

#include "Core/HelperServices.h"

namespace velko {

KeystrokeInjector::KeystrokeInjector(Clock& clock, SyntheticKeyboard& keyboard) : clock_(clock), keyboard_(keyboard) {}

KeystrokeInjector& KeystrokeInjector::shared() { return *HelperServices::current().injector; }

void KeystrokeInjector::injectKeystroke(KeyCode keyCode, EventFlags flags, bool rateLimit) {
    if (rateLimit) {
        const double now = clock_.now();
        if (!(now - lastInjection_ >= minInterval)) return;
        // A stroke that passes the limit starts a new period even if it finds no focus below.
        lastInjection_ = now;
    }
    if (!keyboard_.hasFrontmostApplication()) return;
    if (!keyboard_.postKeyEvent(keyCode, flags, true)) return;
    keyboard_.postKeyEvent(keyCode, flags, false);
}

}  // namespace velko
