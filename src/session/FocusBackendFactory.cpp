#include "session/FocusBackendFactory.h"

#include <memory>
#include <optional>
#include <utility>

#include "session/NoFocusTracker.h"
#include "session/PumpedWaylandFocus.h"
#include "wayland/WaylandToplevelFocus.h"
#include "x11/X11FocusTracker.h"

namespace velko {
namespace {

const std::string x11Backend = "X11 active window";

FocusBackendFactory::Choice none(std::string reason, const std::string& why) {
    return {std::make_unique<NoFocusTracker>(),
            {"Focus", FocusBackendFactory::unknown, std::move(reason), FocusBackendFactory::unknownNote(why)}};
}

const std::string noActiveWindow = "The window manager does not publish the active window (EWMH)";

}  // namespace

std::string FocusBackendFactory::unknownNote(const std::string& why) {
    return why +
           ".\nTerminals are not recognised: a paste or an expansion into one sends Ctrl+V, and the "
           "Ctrl+Shift+V hotkey takes the terminal's own paste key.";
}

FocusBackendFactory::Choice FocusBackendFactory::choose(const DesktopSession& session, Changed changed) {
    if (session.kind == DesktopSession::Kind::x11) {
        // Told once before start() returns, which settles the first line; later, each change.
        auto initial = std::make_shared<std::optional<bool>>();
        auto tracker = std::make_unique<X11FocusTracker>([initial, changed](bool published) {
            if (!initial->has_value())
                *initial = published;
            else if (changed)
                changed(published ? x11Backend : unknown, published ? "" : unknownNote(noActiveWindow));
        });
        if (!tracker->start())
            return none(session.reason + "; the X display cannot be reached", "The X display cannot be reached");
        if (!initial->value_or(false))
            return {std::move(tracker),
                    {"Focus", unknown, session.reason + "; the window manager publishes no active window (EWMH)",
                     unknownNote(noActiveWindow)}};
        return {std::move(tracker), {"Focus", x11Backend, session.reason + "; _NET_ACTIVE_WINDOW and WM_CLASS"}};
    }
    if (!session.isWayland()) return none(session.reason, "No graphical session");
    // wlroots compositors (sway, Hyprland, labwc, ...) list their windows for taskbars; GNOME and
    // KDE do not.
    auto toplevels = WaylandToplevelFocus::open();
    if (!toplevels)
        return none(session.reason + "; " + toplevels.error(),
                    "This desktop does not tell other programs which window is active");
    auto tracker = std::make_unique<PumpedWaylandFocus>(std::move(*toplevels), [changed] {
        if (changed) changed(unknown, unknownNote("The compositor stopped telling which window is active"));
    });
    return {std::move(tracker), {"Focus", "Wayland foreign toplevels", session.reason + "; activated window's app_id"}};
}

}  // namespace velko
