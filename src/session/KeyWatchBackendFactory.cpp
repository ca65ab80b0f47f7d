#include "session/KeyWatchBackendFactory.h"

#include "session/NoKeyEventTap.h"
#include "x11/X11KeyEventTap.h"

namespace velko {

KeyWatchBackendFactory::Choice KeyWatchBackendFactory::choose(const DesktopSession& session, MainQueue& mainQueue) {
    if (session.kind == DesktopSession::Kind::x11)
        return {std::make_unique<X11KeyEventTap>(mainQueue), {"Typed keys", "X11 RECORD", session.reason}};
    // Xwayland's RECORD sees only keys typed into X11 windows: watching it would expand sometimes.
    return {std::make_unique<NoKeyEventTap>(),
            {"Typed keys", "off", session.isWayland() ? "no Wayland key source is available" : session.reason}};
}

}  // namespace velko
