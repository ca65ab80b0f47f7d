#pragma once
#include <functional>

namespace velko {

class AccessibilityTrust {
public:
    virtual ~AccessibilityTrust() = default;
    // Whether the helper may watch and post input right now; asked afresh, never prompts.
    virtual bool isProcessTrusted() = 0;
    // Calls settled once, on the main thread, when no grant asked for at launch is still waiting for
    // its first answer (a portal's dialog): at once when none is, never while one stays unanswered.
    virtual void whenSettled(std::function<void()> settled) { settled(); }
};

}  // namespace velko
