#pragma once
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/KeyEventTap.h"
#include "session/DesktopSession.h"

namespace velko {

class MainQueue;
class PortalGlobalShortcuts;
class SessionLayout;

// Picks how the helper watches typed keys for the expansion in this session.
class KeyWatchBackendFactory {
public:
    struct Choice {
        std::unique_ptr<KeyEventTap> tap;
        BackendChoice choice;
    };
    // layout: the Wayland session's keymap, whose switches the tap follows (it must go before the
    // tap); without it evdev is not watched. hotkeys, when set, is the portal whose reported triggers
    // the typing leaves alone (it must outlive the tap); without it, the triggers the helper prefers.
    static Choice choose(const DesktopSession& session, MainQueue& mainQueue, SessionLayout* layout,
                         PortalGlobalShortcuts* hotkeys = nullptr);
};

}  // namespace velko
