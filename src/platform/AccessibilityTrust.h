#pragma once

namespace velko {

class AccessibilityTrust {
public:
    virtual ~AccessibilityTrust() = default;
    // Whether the helper may watch and post input right now; asked afresh, never prompts.
    virtual bool isProcessTrusted() = 0;
};

}  // namespace velko
