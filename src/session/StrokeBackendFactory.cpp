#include "session/StrokeBackendFactory.h"
#include "platform/Log.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include "dbus/SessionBusConnection.h"
#include "mutter/MutterRemoteDesktopKeyboard.h"
#include "plist/PlistUserDefaults.h"
#include "portal/PortalGlobalShortcuts.h"
#include "portal/PortalRemoteDesktopKeyboard.h"
#include "session/NoKeyboard.h"
#include "session/SessionLayout.h"
#include "session/WaylandStrokes.h"
#include "sway/SwayInputEvents.h"
#include "uinput/UinputKeyboard.h"
#include "wayland/WaylandVirtualKeyboard.h"
#include "x11/GrabBypassingKeyboard.h"
#include "x11/X11AccessibilityTrust.h"
#include "x11/X11SyntheticKeyboard.h"

namespace velko {

namespace {

const QString kglobalaccel = QStringLiteral("org.kde.kglobalaccel");

// Plasma takes a stroke of a bound combination (the helper's paste-match is its own Ctrl+Shift+V)
// as the shortcut and keeps it from the window; with shortcuts blocked for the stroke it gets through.
PortalRemoteDesktopKeyboard::ShortcutGuard shortcutGuard(PortalGlobalShortcuts& shortcuts) {
    const auto block = [](bool on) {
        auto message = QDBusMessage::createMethodCall(kglobalaccel, QStringLiteral("/kglobalaccel"),
                                                      QStringLiteral("org.kde.KGlobalAccel"),
                                                      QStringLiteral("blockGlobalShortcuts"));
        message << on;
        return message;
    };
    return {[&shortcuts](KeyCode keyCode, EventFlags flags) { return shortcuts.binds(keyCode, flags); }, block(true),
            block(false)};
}

StrokeBackendFactory::Choice wayland(StrokeBackendFactory::Needs& needs) {
    WaylandStrokes::Backends backends;
    std::string why;
    // The person may want the portal, with its dialog, over what the compositor offers directly:
    // e.g. to keep the desktop's own record of who may type.
    const bool portalOnly = qgetenv("VELKO_STROKES") == "portal";
    if (portalOnly)
        log::info("VELKO_STROKES=portal: strokes through the desktop portal only");
    else if (auto keyboard = WaylandVirtualKeyboard::connect())
        backends.virtualKeyboard = std::move(*keyboard);
    else
        why = keyboard.error();
    if (backends.virtualKeyboard) backends.swayInputs = StrokeBackendFactory::keepOwnKeymap(*backends.virtualKeyboard);
    std::string reason = backends.virtualKeyboard ? "the compositor offers a virtual keyboard"
                         : portalOnly             ? "VELKO_STROKES=portal"
                                                  : why;
    // Made anew with the bus, so that a restarted bus gets the keyboard session back.
    auto link = std::make_unique<SessionBusConnection>(QStringLiteral("strokes"), nullptr, false);
    QDBusConnection& bus = link->get();
    bool guarded = false;
    if (!portalOnly && !backends.virtualKeyboard && MutterRemoteDesktopKeyboard::offered(bus)) {
        // GNOME: mutter's own interface asks no one, where the portal shows its dialog at every start.
        backends.mutter = std::make_unique<MutterRemoteDesktopKeyboard>(bus);
        link->whenConnected([mutter = backends.mutter.get(), first = true](QDBusConnection& bus) mutable {
            if (!std::exchange(first, false)) mutter->moveTo(bus);
        });
        link.release()->setParent(backends.mutter.get());
        backends.mutter->start();
        reason = "mutter offers its remote desktop";
    } else if (!backends.virtualKeyboard) {
        // Only where the compositor has no virtual keyboard: the portal may show a dialog.
        PlistUserDefaults* defaults = needs.defaults;
        PortalRemoteDesktopKeyboard::TokenStore tokens{
            [defaults] {
                return defaults ? defaults->ownString(StrokeBackendFactory::restoreTokenKey).value_or("") : "";
            },
            [defaults](const std::string& token) {
                if (defaults) defaults->setString(StrokeBackendFactory::restoreTokenKey, token);
            }};
        backends.portal = std::make_unique<PortalRemoteDesktopKeyboard>(bus, std::move(tokens));
        if (needs.hotkeyPortal && bus.isConnected() && bus.interface()->isServiceRegistered(kglobalaccel).value()) {
            backends.portal->setShortcutGuard(shortcutGuard(*needs.hotkeyPortal));
            guarded = true;
        }
        link->whenConnected([portal = backends.portal.get(), first = true](QDBusConnection& bus) mutable {
            if (!std::exchange(first, false)) portal->moveTo(bus);
        });
        link.release()->setParent(backends.portal.get());
        backends.portal->start();
        reason += "; asking the desktop portal";
    }
    if (!backends.virtualKeyboard) {
        if (auto uinput = UinputKeyboard::open())
            backends.uinput = std::move(*uinput);
        else
            reason += "; /dev/uinput: " + uinput.error();
    }
    if (!backends.virtualKeyboard && needs.layout) {
        // These send kernel key codes, which the compositor reads with the person's keymap and
        // the layout in use at the moment.
        needs.layout->listen(
            [mutter = backends.mutter.get(), portal = backends.portal.get(), uinput = backends.uinput.get()](
                const std::shared_ptr<xkb_keymap>& keymap, std::uint32_t active) {
                if (mutter) mutter->setKeymap(keymap, active);
                if (portal) portal->setKeymap(keymap, active);
                if (uinput) uinput->setKeymap(keymap, active);
            });
    }
    // Where the desktop fires nothing for the helper's strokes, an activation after one is not its own.
    std::function<void(KeyCode, EventFlags)> posted;
    if (PortalGlobalShortcuts* shortcuts = needs.hotkeyPortal; shortcuts && !guarded)
        posted = [shortcuts](KeyCode keyCode, EventFlags flags) { shortcuts->ownStroke(keyCode, flags); };
    auto strokes = std::make_shared<WaylandStrokes>(std::move(backends), std::move(needs.changed), std::move(posted));
    return {strokes, strokes, {"Input", strokes->name(), reason}};
}

}  // namespace

StrokeBackendFactory::Choice StrokeBackendFactory::choose(const DesktopSession& session, Needs needs) {
    if (session.kind == DesktopSession::Kind::x11) {
        std::unique_ptr<SyntheticKeyboard> xtest = std::make_unique<X11SyntheticKeyboard>(needs.display);
        if (needs.hotkeyGrabs) xtest = std::make_unique<GrabBypassingKeyboard>(std::move(xtest), *needs.hotkeyGrabs);
        return {std::move(xtest),
                std::make_shared<X11AccessibilityTrust>(needs.display),
                {"Input", "X11 (XTEST)", session.reason}};
    }
    if (session.isWayland()) return wayland(needs);
    auto none = std::make_shared<NoKeyboard>();
    return {none, none, {"Input", "off", session.reason}};
}

std::unique_ptr<SwayInputEvents> StrokeBackendFactory::keepOwnKeymap(WaylandVirtualKeyboard& keyboard) {
    const char* socket = std::getenv("SWAYSOCK");
    if (!socket || !*socket) return nullptr;
    auto events = SwayInputEvents::connect(socket, [&keyboard](const SwayInputEvents::KeymapChange& change) {
        if (change.identifier.find("virtual_keyboard") == std::string::npos ||
            change.layoutNames == std::vector<std::string>{keyboard.layoutName()})
            return;
        if (!keyboard.restoreKeymap()) log::warning("the virtual keyboard's keymap could not be restored");
    });
    if (!events) {
        log::warning("sway's keymap changes are not followed (%s)", events.error().c_str());
        return nullptr;
    }
    return std::move(*events);
}

}  // namespace velko
