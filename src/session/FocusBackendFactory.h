#pragma once
#include <functional>
#include <memory>
#include <string>

#include "platform/BackendChoice.h"
#include "platform/FocusTracker.h"
#include "session/DesktopSession.h"

namespace velko {

// Picks how the helper knows what has the keyboard focus in this session: the window system's
// active window (X11, wlroots) for the application, and the accessibility bus for the widget
// (password fields, terminals) everywhere, and for both where no window source exists.
class FocusBackendFactory {
public:
    struct Choice {
        std::unique_ptr<FocusTracker> tracker;
        BackendChoice choice;
    };
    // changed, when set, is told the backend name and the note under it when a source comes or goes
    // while the helper runs (a window manager started later, a compositor or the bus gone).
    using Changed = std::function<void(const std::string& backend, const std::string& note)>;

    // Both sources layered; needs the QCoreApplication.
    static Choice choose(const DesktopSession& session, Changed changed = {});
    // The window system's source alone.
    static Choice chooseWindow(const DesktopSession& session, Changed changed = {});

    static inline const std::string unknown = "unknown";
    static inline const std::string accessibilityBus = "accessibility bus (AT-SPI)";
    // Under the line when the window source is missing: why, and what it means.
    static std::string unknownNote(const std::string& why);
    // Under the line while the accessibility bus is not reached.
    static const std::string passwordNote;
};

}  // namespace velko
