#include "session/FocusBackendFactory.h"

#include <memory>
#include <optional>
#include <utility>

#include "Core/LayeredFocusTracker.h"
#include "atspi/AtspiFocusTracker.h"
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

// The two sources and the one line they make, kept as each comes and goes.
struct Sources {
    std::string window;  // its backend, or unknown
    std::string windowNote;
    std::string widgetWhy = "waiting for the accessibility bus";  // empty once the bus answers

    std::string backend() const {
        const bool windowKnown = window != FocusBackendFactory::unknown;
        if (windowKnown && widgetWhy.empty()) return window + " + " + FocusBackendFactory::accessibilityBus;
        if (windowKnown) return window;
        if (widgetWhy.empty()) return FocusBackendFactory::accessibilityBus;
        return FocusBackendFactory::unknown + " (" + widgetWhy + ")";
    }
    std::string note() const {
        if (!widgetWhy.empty() && !windowNote.empty()) return windowNote + "\n" + FocusBackendFactory::passwordNote;
        if (!widgetWhy.empty()) return FocusBackendFactory::passwordNote;
        // The bus tells VTE's terminals by their role, but not every toolkit reports to it.
        return window == FocusBackendFactory::unknown ? windowNote : std::string();
    }
};

// The layered tracker with the two it layers: members first, so they exist before it looks at them.
struct OwnedSources {
    std::unique_ptr<FocusTracker> window;
    std::unique_ptr<FocusTracker> widget;
};
class LayeredSources : private OwnedSources, public LayeredFocusTracker {
public:
    explicit LayeredSources(OwnedSources sources)
        : OwnedSources(std::move(sources)), LayeredFocusTracker(*window, *widget) {}
};

}  // namespace

const std::string FocusBackendFactory::passwordNote =
    "Password fields are not recognised: keys typed into them are watched for abbreviations like any others.";

FocusBackendFactory::Choice FocusBackendFactory::choose(const DesktopSession& session, Changed changed) {
    auto sources = std::make_shared<Sources>();
    auto report = [sources, changed] {
        if (changed) changed(sources->backend(), sources->note());
    };
    auto window = chooseWindow(session, [sources, report](const std::string& backend, const std::string& note) {
        sources->window = backend;
        sources->windowNote = note;
        report();
    });
    sources->window = window.choice.backend;
    sources->windowNote = window.choice.note;
    // GTK applications report their widgets whenever the bus is there, on X11 and Wayland alike;
    // the helper does not switch accessibility on for the others (see docs/performance.md).
    auto widget = std::make_unique<AtspiFocusTracker>([sources, report](bool reached, const std::string& why) {
        sources->widgetWhy = reached ? std::string() : why;
        report();
    });
    BackendChoice choice{"Focus", sources->backend(), window.choice.reason, sources->note()};
    return {std::make_unique<LayeredSources>(OwnedSources{std::move(window.tracker), std::move(widget)}),
            std::move(choice)};
}

std::string FocusBackendFactory::unknownNote(const std::string& why) {
    return why +
           ".\nTerminals are not recognised: a paste or an expansion into one sends Ctrl+V, and the "
           "Ctrl+Shift+V hotkey takes the terminal's own paste key.";
}

FocusBackendFactory::Choice FocusBackendFactory::chooseWindow(const DesktopSession& session, Changed changed) {
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
