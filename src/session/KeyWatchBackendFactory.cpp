#include "session/KeyWatchBackendFactory.h"

#include <utility>

#include "evdev/EvdevKeyEventTap.h"
#include "evdev/SessionKeymap.h"
#include "portal/PortalGlobalShortcuts.h"
#include "session/NoKeyEventTap.h"
#include "session/SessionLayout.h"
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

}  // namespace

KeyWatchBackendFactory::Choice KeyWatchBackendFactory::choose(const DesktopSession& session, MainQueue& mainQueue,
                                                              SessionLayout* layout, PortalGlobalShortcuts* hotkeys) {
    if (session.kind == DesktopSession::Kind::x11)
        return {std::make_unique<X11KeyEventTap>(mainQueue), {"Typed keys", "X11 RECORD", session.reason}};
    if (!session.isWayland() || !layout)
        return {std::make_unique<NoKeyEventTap>(), {"Typed keys", "off", session.reason}};

    // Xwayland's RECORD sees only keys typed into X11 windows: watching it would expand sometimes.
    const EvdevKeyEventTap::Devices devices;
    const int keyboards = EvdevKeyEventTap::readableKeyboards(devices);
    if (keyboards == 0)
        return {std::make_unique<NoKeyEventTap>(),
                {"Typed keys", "off", "no keyboard in " + devices.directory + " is readable", inputGroupAdvice}};
    const SessionKeymap::Found& keymap = layout->keymap();
    auto tap = std::make_unique<EvdevKeyEventTap>(mainQueue, keymap.text, hotkeyTriggers(hotkeys), devices);
    if (hotkeys)
        hotkeys->addTriggersHandler([hotkeys, evdev = tap.get()] { evdev->setHotkeys(hotkeyTriggers(hotkeys)); });
    std::string reason = session.reason + "; " + std::to_string(keyboards) +
                         (keyboards == 1 ? " keyboard" : " keyboards") + ", keymap: " + keymap.source;
    if (layout->followed()) reason += ", following the desktop's layout switches";
    // The tap keeps the keymap it was made with.
    layout->listen([evdev = tap.get()](const auto&, std::uint32_t active) { evdev->setLayout(active); });
    return {std::move(tap), {"Typed keys", "evdev", reason}};
}

}  // namespace velko
