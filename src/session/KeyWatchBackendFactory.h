#pragma once
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/KeyEventTap.h"
#include "session/DesktopSession.h"

namespace velko {

class MainQueue;

// Picks how the helper watches typed keys for the expansion in this session.
class KeyWatchBackendFactory {
public:
    struct Choice {
        std::unique_ptr<KeyEventTap> tap;
        BackendChoice choice;
    };
    static Choice choose(const DesktopSession& session, MainQueue& mainQueue);
};

}  // namespace velko
