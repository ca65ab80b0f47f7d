#include "session/HotkeyBackendFactory.h"

#include <QDBusConnection>
#include <utility>

#include "dbus/SessionBusConnection.h"
#include "portal/PortalGlobalShortcuts.h"
#include "session/NoFilteringKeyTap.h"
#include "x11/X11FilteringKeyTap.h"

namespace velko {

HotkeyBackendFactory::Choice HotkeyBackendFactory::choose(const DesktopSession& session,
                                                          std::function<void(const std::string&)> changed,
                                                          std::function<void(const std::string&)> noted) {
    Choice c;
    if (session.kind == DesktopSession::Kind::x11) {
        auto grabs = std::make_unique<X11FilteringKeyTap>();
        c.x11Grabs = grabs.get();
        c.tap = std::move(grabs);
        c.choice = {"Hotkeys", "X11 grabs", session.reason};
        return c;
    }
    c.tap = std::make_unique<NoFilteringKeyTap>();
    if (!session.isWayland()) {
        c.choice = {"Hotkeys", "off", session.reason};
        return c;
    }
    // Xwayland's grabs fire only while an X11 window has the focus; the desktop's own shortcuts
    // fire everywhere. A connection of its own, which the portal ties to the helper's application id,
    // made anew with the bus.
    auto link = std::make_unique<SessionBusConnection>(QStringLiteral("shortcuts"), nullptr, false);
    if (!PortalGlobalShortcuts::portalOnBus(link->get())) {
        c.choice = {"Hotkeys", "off", link->isConnected() ? "no desktop portal on the session bus" : "no session bus"};
        return c;
    }
    auto portal = std::make_unique<PortalGlobalShortcuts>(link->get());
    link->whenConnected([shortcuts = portal.get(), first = true](QDBusConnection& bus) mutable {
        if (!std::exchange(first, false)) shortcuts->moveTo(bus);
    });
    link.release()->setParent(portal.get());
    portal->setStateHandler([changed = std::move(changed), noted](const auto& status) {
        if (status.state == PortalGlobalShortcuts::State::unavailable && noted)
            noted(status.reason +
                  ".\nOn GNOME, velkoctl gnome-shortcuts add binds the three keys as GNOME custom "
                  "shortcuts (Settings → Keyboard, removable there). Elsewhere bind them in the "
                  "desktop's keyboard settings to velkoctl hotkey open_popover, spotlight_launcher or "
                  "save_snippet.");
        if (!changed || status.state == PortalGlobalShortcuts::State::starting) return;
        changed(status.state == PortalGlobalShortcuts::State::ready ? "desktop portal" : "off");
    });
    portal->addTriggersHandler([shortcuts = portal.get(), noted] {
        // The desktop fires a shortcut without asking whether a window wants the press.
        if (noted)
            noted(shortcuts->triggersText() +
                  "\nThe desktop takes these keys in every window: where one is Ctrl+Shift+V, terminals lose "
                  "their own paste key.");
    });
    c.portal = portal.get();
    c.tap = std::move(portal);
    // Nothing is bound until the portal answers: off until then, which changed() ends.
    c.choice = {"Hotkeys", "off", session.reason + "; until the desktop portal binds the shortcuts"};
    return c;
}

}  // namespace velko
