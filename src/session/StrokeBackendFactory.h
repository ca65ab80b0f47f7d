#pragma once
#include <memory>

#include "platform/AccessibilityTrust.h"
#include "platform/BackendChoice.h"
#include "platform/SyntheticKeyboard.h"
#include "session/DesktopSession.h"

namespace velko {

class X11Connection;
class X11FilteringKeyTap;

// Picks how the helper posts strokes in this session. Input access means that backend works:
// in a Wayland session Xwayland's XTEST reaches X11 windows only, so it does not count.
class StrokeBackendFactory {
public:
    struct Choice {
        std::unique_ptr<SyntheticKeyboard> keyboard;
        std::unique_ptr<AccessibilityTrust> trust;
        BackendChoice choice;
    };
    // hotkeyGrabs, when set, learns of each posted key-down so the helper's own strokes pass them.
    static Choice choose(const DesktopSession& session, X11Connection& display, X11FilteringKeyTap* hotkeyGrabs);
};

}  // namespace velko
