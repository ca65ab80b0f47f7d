#pragma once
#include <functional>
#include <memory>
#include <string>

#include "platform/BackendChoice.h"
#include "platform/FocusTracker.h"
#include "session/DesktopSession.h"

namespace velko {

// Picks how the helper knows which application has the keyboard focus in this session.
class FocusBackendFactory {
public:
    struct Choice {
        std::unique_ptr<FocusTracker> tracker;
        BackendChoice choice;
    };
    // changed, when set, is told the backend name when the source comes or goes while the helper
    // runs (a window manager that publishes the active window started later, a compositor gone).
    static Choice choose(const DesktopSession& session, std::function<void(const std::string&)> changed = {});

    static inline const std::string unknown = "unknown";
    // Under the line when the focus is unknown.
    static inline const std::string unknownNote =
        "Terminals are not recognised: a paste or an expansion into one sends Ctrl+V, and the "
        "Ctrl+Shift+V hotkey takes the terminal's own paste key.";
};

}  // namespace velko
