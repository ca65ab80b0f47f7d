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
    using Changed = std::function<void(const std::string& backend, const std::string& note)>;
    // changed, when set, is told the backend name and the note under it when the source comes or
    // goes while the helper runs (a window manager that publishes the active window started
    // later, a compositor gone).
    static Choice choose(const DesktopSession& session, Changed changed = {});

    static inline const std::string unknown = "unknown";
    // Under the line when the focus is unknown: why, and what it means.
    static std::string unknownNote(const std::string& why);
};

}  // namespace velko
