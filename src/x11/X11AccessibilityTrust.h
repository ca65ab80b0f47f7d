#pragma once
#include "platform/AccessibilityTrust.h"
#include "x11/X11Connection.h"

namespace velko {

// X grants input to any client it accepts, so trust means a reachable display with the
// extensions used to post and watch keys.
class X11AccessibilityTrust : public AccessibilityTrust {
public:
    explicit X11AccessibilityTrust(X11Connection& connection) : connection_(connection) {}
    bool isProcessTrusted() override;

private:
    X11Connection& connection_;
};

}  // namespace velko
