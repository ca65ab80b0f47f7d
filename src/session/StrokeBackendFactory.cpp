#include "session/StrokeBackendFactory.h"

#include "session/NoKeyboard.h"
#include "x11/GrabBypassingKeyboard.h"
#include "x11/X11AccessibilityTrust.h"
#include "x11/X11SyntheticKeyboard.h"

namespace velko {

StrokeBackendFactory::Choice StrokeBackendFactory::choose(const DesktopSession& session, X11Connection& display,
                                                          X11FilteringKeyTap* hotkeyGrabs) {
    Choice c;
    if (session.kind == DesktopSession::Kind::x11) {
        std::unique_ptr<SyntheticKeyboard> xtest = std::make_unique<X11SyntheticKeyboard>(display);
        if (hotkeyGrabs) xtest = std::make_unique<GrabBypassingKeyboard>(std::move(xtest), *hotkeyGrabs);
        c.keyboard = std::move(xtest);
        c.trust = std::make_unique<X11AccessibilityTrust>(display);
        c.choice = {"Input", "X11 (XTEST)", session.reason};
        return c;
    }
    c.keyboard = std::make_unique<NoKeyboard>();
    c.trust = std::make_unique<NoKeyboard>();
    c.choice = {"Input", "off", session.isWayland() ? "no Wayland input backend is available" : session.reason};
    return c;
}

}  // namespace velko
