#include "session/FocusBackendFactory.h"

#include <utility>

#include "atspi/AtspiFocusTracker.h"

namespace velko {

const std::string FocusBackendFactory::accessibilityBus = "accessibility bus (AT-SPI)";

const std::string FocusBackendFactory::unknownNote =
    "Password fields are not recognised: keys typed into them are watched for abbreviations like any "
    "others.";

FocusBackendFactory::Choice FocusBackendFactory::choose(const DesktopSession& session, Changed changed, Noted noted) {
    // GTK applications report their widgets whenever the bus is there, on X11 and Wayland alike;
    // the helper does not switch accessibility on for the others (see docs/performance.md).
    auto tracker = std::make_unique<AtspiFocusTracker>(
        [changed = std::move(changed), noted = std::move(noted)](bool reached, const std::string& why) {
            changed(reached ? accessibilityBus : "unknown (" + why + ")");
            noted(reached ? std::string() : unknownNote);
        });
    const std::string waiting = "waiting for the accessibility bus";
    return {std::move(tracker), {"Focus", "unknown (" + waiting + ")", session.reason, unknownNote}};
}

}  // namespace velko
