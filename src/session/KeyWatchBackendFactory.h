#pragma once
#include <QObject>
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/KeyEventTap.h"
#include "session/DesktopSession.h"

namespace velko {

class MainQueue;
class PortalGlobalShortcuts;

// Picks how the helper watches typed keys for the expansion in this session.
class KeyWatchBackendFactory {
public:
    struct Choice {
        std::unique_ptr<KeyEventTap> tap;
        BackendChoice choice;
        // Tells the tap which of the keymap's layouts the desktop switched to; it must go before the tap.
        std::unique_ptr<QObject> layoutWatch = {};
    };
    // hotkeys, when set, is the portal whose reported triggers the typing leaves alone (it must
    // outlive the tap); without it, the triggers the helper prefers.
    static Choice choose(const DesktopSession& session, MainQueue& mainQueue, PortalGlobalShortcuts* hotkeys = nullptr);
};

}  // namespace velko
