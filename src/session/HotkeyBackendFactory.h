#pragma once
#include <functional>
#include <memory>

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
    // changed, when set, hears of the portal's later answer: the same capability, now on or off.
    static Choice choose(const DesktopSession& session, std::function<void(const BackendChoice&)> changed = {});
};

}  // namespace velko
