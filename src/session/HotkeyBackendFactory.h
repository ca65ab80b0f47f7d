#pragma once
#include <functional>
#include <memory>
#include <string>

#include "platform/BackendChoice.h"
#include "platform/FilteringKeyTap.h"
#include "session/DesktopSession.h"

namespace velko {

class PortalGlobalShortcuts;
class X11FilteringKeyTap;

// Picks how the helper answers its global hotkeys in this session.
class HotkeyBackendFactory {
public:
    struct Choice {
        std::unique_ptr<FilteringKeyTap> tap;
        X11FilteringKeyTap* x11Grabs = nullptr;   // the same tap when it is X11's, for the stroke backend
        PortalGlobalShortcuts* portal = nullptr;  // the same tap when it is the portal's: its triggers
        BackendChoice choice;
    };
    // changed, when set, is told the backend name when the portal's answer changes it ("off" once
    // the portal declines, fails or closes the session; the portal logs why); noted, the keys the
    // desktop gave the hotkeys, as the choice's note, whenever they change.
    static Choice choose(const DesktopSession& session, std::function<void(const std::string&)> changed = {},
                         std::function<void(const std::string&)> noted = {});
};

}  // namespace velko
