#include "session/HotkeyBackendFactory.h"

#include "session/NoFilteringKeyTap.h"
#include "x11/X11FilteringKeyTap.h"

namespace velko {

HotkeyBackendFactory::Choice HotkeyBackendFactory::choose(const DesktopSession& session) {
    Choice c;
    if (session.kind == DesktopSession::Kind::x11) {
        auto grabs = std::make_unique<X11FilteringKeyTap>();
        c.x11Grabs = grabs.get();
        c.tap = std::move(grabs);
        c.choice = {"Hotkeys", "X11 grabs", session.reason};
        return c;
    }
    // Xwayland's grabs fire only while an X11 window has the focus.
    c.tap = std::make_unique<NoFilteringKeyTap>();
    c.choice = {"Hotkeys", "off", session.isWayland() ? "no Wayland hotkey backend is available" : session.reason};
    return c;
}

}  // namespace velko
