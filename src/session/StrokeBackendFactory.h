#pragma once
#include <functional>
#include <memory>
#include <string>

#include "platform/AccessibilityTrust.h"
#include "platform/BackendChoice.h"
#include "platform/SyntheticKeyboard.h"
#include "session/DesktopSession.h"

namespace velko {

class PlistUserDefaults;
class PortalGlobalShortcuts;
class SwayInputEvents;
class WaylandVirtualKeyboard;
class SessionLayout;
class X11Connection;
class X11FilteringKeyTap;

// Picks how the helper posts strokes in this session. Input access means that backend works:
// in a Wayland session Xwayland's XTEST reaches X11 windows only, so it does not count there.
class StrokeBackendFactory {
public:
    struct Choice {
        // One object may be both: the Wayland chain answers for the backend it uses at the moment.
        std::shared_ptr<SyntheticKeyboard> keyboard;
        std::shared_ptr<AccessibilityTrust> trust;
        BackendChoice choice;
    };
    struct Needs {
        X11Connection& display;
        // When set, learns of each posted key-down so the helper's own strokes pass the hotkey grabs.
        X11FilteringKeyTap* hotkeyGrabs = nullptr;
        // When set, learns of each posted key-down so the helper's own strokes fire none of its hotkeys.
        PortalGlobalShortcuts* hotkeyPortal = nullptr;
        // Keeps the desktop portal's restore token, so the person approves once.
        PlistUserDefaults* defaults = nullptr;
        // Told the new backend name when a Wayland backend comes or goes while the helper runs.
        std::function<void(const std::string&)> changed;
        // The Wayland session's keymap, followed by the backends that send kernel key codes; it
        // must go before the keyboard. Without it those keys go by their US position.
        SessionLayout* layout = nullptr;
    };
    static Choice choose(const DesktopSession& session, Needs needs);
    // sway gives every keyboard, virtual ones included, the person's keymap when its keyboard
    // settings change, and the V key would then type what that layout puts there: this uploads
    // keyboard's own keymap again each time. Virtual keyboards share one identifier, so any of them
    // taking another keymap counts. Null outside sway. keyboard must outlive it.
    static std::unique_ptr<SwayInputEvents> keepOwnKeymap(WaylandVirtualKeyboard& keyboard);

    static inline const std::string restoreTokenKey = "remoteDesktopRestoreToken";
};

}  // namespace velko
