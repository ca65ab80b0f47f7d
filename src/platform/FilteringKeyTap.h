#pragma once
#include <functional>
#include <vector>

#include "platform/Types.h"

namespace velko {

// Key-downs of chosen keys, each of which the core either drops or lets through to the focused window.
class FilteringKeyTap {
public:
    // The keyboard never waits for the verdict. On X11 pass reaches the focused window by the press
    // (key and modifiers) being posted again once the key is up; a desktop's shortcuts (the
    // portal) take every press and cannot pass one on.
    enum class Verdict { pass, drop };
    // A key and the modifiers that must all be held; presses with more modifiers are delivered too.
    struct Combination {
        KeyCode keyCode;
        EventFlags modifiers;
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
