#pragma once
#include <functional>
#include <vector>

#include "platform/Types.h"

namespace velko {

// Key-downs of chosen keys, each of which the core either drops or lets through to the focused window.
class FilteringKeyTap {
public:
    // pass reaches the focused window only where the backend holds the press until asked, and
    // only when asked in time (X11's grabs wait a moment; a desktop's shortcuts never ask).
    enum class Verdict { pass, drop };
    // A key and the modifiers that must all be held; presses with more modifiers are delivered too.
    struct Combination {
        KeyCode keyCode;
        EventFlags modifiers;
        // The core may let its presses through. A backend that holds the keyboard to ask holds it
        // for these only: every other press is taken without waiting.
        bool mayPass = false;
    };
    using Callback = std::function<Verdict(KeyCode keyCode, EventFlags flags)>;

    virtual ~FilteringKeyTap() = default;
    // Starts calling `callback` on the main thread for every key-down of a listed combination (extra
    // modifiers, Caps Lock and Num Lock included), replacing any earlier tap. False, with nothing
    // left installed, when the tap cannot be made: no display, a key with no code, or a combination
    // that another client already holds.
    virtual bool create(const std::vector<Combination>& combinations, Callback callback) = 0;
};

}  // namespace velko
