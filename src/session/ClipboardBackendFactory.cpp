#include "session/ClipboardBackendFactory.h"

#include <QGuiApplication>

#include "qt/QtPasteboard.h"
#include "session/PumpedWaylandPasteboard.h"
#include "wayland/WaylandDataControlPasteboard.h"

namespace velko {

ClipboardBackendFactory::Choice ClipboardBackendFactory::choose(const DesktopSession& session) {
    std::string noDataControl;
    if (session.isWayland()) {
        auto wayland = WaylandDataControlPasteboard::connect();
        if (wayland)
            return {std::make_unique<PumpedWaylandPasteboard>(std::move(*wayland)),
                    {"Clipboard", "Wayland data-control", "the compositor offers zwlr_data_control_manager_v1"}};
        noDataControl = wayland.error() + "; ";
    }
    const bool x11 = QGuiApplication::platformName() == QLatin1String("xcb");
    std::string backend = "off";
    std::string reason = noDataControl + "no X display to hold a clipboard";
    if (x11) {
        backend = session.isWayland() ? "Xwayland CLIPBOARD" : "X11 CLIPBOARD";
        reason = session.isWayland() ? noDataControl + "the compositor bridges Xwayland's to the Wayland clipboard"
                                     : session.reason;
    }
    return {std::make_unique<QtPasteboard>(), {"Clipboard", backend, reason}};
}

}  // namespace velko
