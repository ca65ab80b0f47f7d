#pragma once
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/FilteringKeyTap.h"
#include "session/DesktopSession.h"

namespace velko {

class X11FilteringKeyTap;

// Picks how the helper answers its global hotkeys in this session.
class HotkeyBackendFactory {
public:
    struct Choice {
        std::unique_ptr<FilteringKeyTap> tap;
        X11FilteringKeyTap* x11Grabs = nullptr;  // the same tap when it is X11's, for the stroke backend
        BackendChoice choice;
    };
    static Choice choose(const DesktopSession& session);
};

}  // namespace velko
