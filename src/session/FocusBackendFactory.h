#pragma once
#include <functional>
#include <memory>
#include <string>

#include "platform/BackendChoice.h"
#include "platform/FocusTracker.h"
#include "session/DesktopSession.h"

namespace velko {

// Picks where the helper learns what has the keyboard focus in this session.
class FocusBackendFactory {
public:
    struct Choice {
        std::unique_ptr<FocusTracker> tracker;
        BackendChoice choice;
    };
    // The accessibility bus comes and goes while the helper runs: changed and noted say so.
    using Changed = std::function<void(const std::string& backend)>;
    using Noted = std::function<void(const std::string& note)>;
    // Needs the QCoreApplication.
    static Choice choose(const DesktopSession& session, Changed changed, Noted noted);

    static const std::string accessibilityBus;
    static const std::string unknownNote;
};

}  // namespace velko
