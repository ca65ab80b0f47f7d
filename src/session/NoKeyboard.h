#pragma once
#include "platform/AccessibilityTrust.h"
#include "platform/SyntheticKeyboard.h"

namespace velko {

// Where no way to post strokes works: nothing is posted, and input access is honestly missing.
class NoKeyboard : public SyntheticKeyboard, public AccessibilityTrust {
public:
    bool hasFrontmostApplication() override { return false; }
    bool postKeyEvent(KeyCode, EventFlags, bool) override { return false; }
    bool isProcessTrusted() override { return false; }
};

}  // namespace velko
