#pragma once
#include <limits>

#include "platform/Types.h"

namespace velko {

class Clock;
class FocusTracker;
class SyntheticKeyboard;

// The one place that posts synthetic strokes, at most one rate-limited stroke per 0.2 s. A paste
// stroke into a terminal goes out as the terminal's own paste key, Ctrl+Shift+V: Ctrl+V there
// inserts the next key literally.
class KeystrokeInjector {
public:
    KeystrokeInjector(Clock& clock, SyntheticKeyboard& keyboard, FocusTracker& focus);
    static KeystrokeInjector& shared();

    // Key-down then key-up, both with exactly `flags`. Drops the stroke silently when rate
    // limited too soon after the last one, or when no application has the focus.
    void injectKeystroke(KeyCode keyCode, EventFlags flags, bool rateLimit);

    const double minInterval = 0.2;

private:
    Clock& clock_;
    SyntheticKeyboard& keyboard_;
    FocusTracker& focus_;
    double lastInjection_ = -std::numeric_limits<double>::infinity();
};

}  // namespace velko
