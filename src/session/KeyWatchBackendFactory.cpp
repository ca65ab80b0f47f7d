#include "session/KeyWatchBackendFactory.h"

#include <cstdlib>
#include <utility>

#include "dbus/SessionBusConnection.h"
#include "evdev/EvdevKeyEventTap.h"
#include "evdev/SessionKeymap.h"
#include "gnome/GnomeInputSources.h"
#include "plasma/PlasmaKeyboardLayouts.h"
#include "portal/PortalGlobalShortcuts.h"
#include "session/NoKeyEventTap.h"
#include "x11/X11KeyEventTap.h"

namespace velko {
namespace {

const std::string inputGroupAdvice =
    "Typed keys are read from the keyboards, which only members of the input group may do: "
    "sudo usermod -aG input $USER, then log in again. Every program you run can then read every key "
    "typed in this session. To undo: sudo gpasswd -d $USER input, then log in again.";

// What the desktop reports where it can be read, else what the helper asked for.
std::vector<ShortcutTrigger> hotkeyTriggers(const PortalGlobalShortcuts* portal) {
    std::vector<ShortcutTrigger> triggers;
    for (const auto& shortcut : PortalGlobalShortcuts::shortcuts()) {
        std::string text = shortcut.preferredTrigger;
        if (portal && !portal->triggers().empty()) {
            const auto reported = portal->triggers().find(shortcut.id);
            if (reported == portal->triggers().end() || reported->second.empty()) continue;  // fires on no key
            if (ShortcutTrigger::parse(reported->second)) text = reported->second;
        }
        if (const auto trigger = ShortcutTrigger::parse(text)) triggers.push_back(*trigger);
    }
    return triggers;
}

// The watch on a connection of its own, moved to each new bus.
template <typename Watch, typename... Arguments>
std::unique_ptr<QObject> onOwnBus(Arguments&&... arguments) {
    auto link = std::make_unique<SessionBusConnection>(QStringLiteral("layouts"), nullptr, false);
    auto watch = std::make_unique<Watch>(link->get(), std::forward<Arguments>(arguments)...);
    link->whenConnected([watch = watch.get(), first = true](QDBusConnection& bus) mutable {
        if (!std::exchange(first, false)) watch->moveTo(bus);
    });
    link.release()->setParent(watch.get());
    watch->start();
    return watch;
}

bool severalLayouts(const std::optional<SessionKeymap::Names>& names) {
    return names && names->layout.find(',') != std::string::npos;
}

// GNOME and Plasma switch layouts themselves (Super+Space, Meta+Alt+K), and only the focused
// window hears of it. Their keymaps, Xwayland's included, have their layouts in the order of
// their settings. Keymaps from XKB_DEFAULT_* are none of theirs.
std::unique_ptr<QObject> followLayouts(const SessionKeymap::Found& keymap, EvdevKeyEventTap& tap,
                                       const SessionKeymap::SettingReader& gnomeSources) {
    const char* variable = std::getenv("XDG_CURRENT_DESKTOP");
    const std::string desktop = variable ? variable : "";
    if (keymap.source.rfind("XKB_DEFAULT_", 0) == 0) return nullptr;
    const auto setLayout = [evdev = &tap](std::uint32_t layout) { evdev->setLayout(layout); };
    if (desktop.find("GNOME") != std::string::npos) {
        const auto sources = gnomeSources();
        if (!sources || !severalLayouts(SessionKeymap::fromGnomeSources(*sources))) return nullptr;
        return onOwnBus<GnomeInputSources>(*sources, setLayout);
    }
    if (desktop.find("KDE") != std::string::npos) {
        const auto settings = SessionKeymap::plasmaSettings();
        if (!settings || !severalLayouts(SessionKeymap::fromPlasmaSettings(*settings))) return nullptr;
        return onOwnBus<PlasmaKeyboardLayouts>(setLayout);
    }
    return nullptr;
}

}  // namespace

KeyWatchBackendFactory::Choice KeyWatchBackendFactory::choose(const DesktopSession& session, MainQueue& mainQueue,
                                                              PortalGlobalShortcuts* hotkeys) {
    if (session.kind == DesktopSession::Kind::x11)
        return {std::make_unique<X11KeyEventTap>(mainQueue), {"Typed keys", "X11 RECORD", session.reason}};
    if (!session.isWayland()) return {std::make_unique<NoKeyEventTap>(), {"Typed keys", "off", session.reason}};

    // Xwayland's RECORD sees only keys typed into X11 windows: watching it would expand sometimes.
    const EvdevKeyEventTap::Devices devices;
    const int keyboards = EvdevKeyEventTap::readableKeyboards(devices);
    if (keyboards == 0)
        return {std::make_unique<NoKeyEventTap>(),
                {"Typed keys", "off", "no keyboard in " + devices.directory + " is readable", inputGroupAdvice}};
    // gsettings answers once, for the keymap and for following GNOME's switches.
    std::optional<std::optional<std::string>> gnome;
    const SessionKeymap::SettingReader gnomeSources = [&gnome] {
        if (!gnome) gnome = SessionKeymap::gnomeSources();
        return *gnome;
    };
    const SessionKeymap::Found keymap = SessionKeymap::find([](const char* name) { return std::getenv(name); },
                                                            gnomeSources, SessionKeymap::plasmaSettings);
    auto tap = std::make_unique<EvdevKeyEventTap>(mainQueue, keymap.text, hotkeyTriggers(hotkeys), devices);
    if (hotkeys)
        hotkeys->addTriggersHandler([hotkeys, evdev = tap.get()] { evdev->setHotkeys(hotkeyTriggers(hotkeys)); });
    std::string reason = session.reason + "; " + std::to_string(keyboards) +
                         (keyboards == 1 ? " keyboard" : " keyboards") + ", keymap: " + keymap.source;
    std::unique_ptr<QObject> layoutWatch = followLayouts(keymap, *tap, gnomeSources);
    if (layoutWatch) reason += ", following the desktop's layout switches";
    return {std::move(tap), {"Typed keys", "evdev", reason}, std::move(layoutWatch)};
}

}  // namespace velko
