#include "session/ClipboardBackendFactory.h"

#include <QGuiApplication>

#include "qt/QtPasteboard.h"

namespace velko {

ClipboardBackendFactory::Choice ClipboardBackendFactory::choose(const DesktopSession& session) {
    const bool x11 = QGuiApplication::platformName() == QLatin1String("xcb");
    std::string backend = "off";
    std::string reason = "no X display to hold a clipboard";
    if (x11) {
        backend = session.isWayland() ? "Xwayland CLIPBOARD" : "X11 CLIPBOARD";
        reason = session.isWayland() ? "the compositor bridges it to the Wayland clipboard" : session.reason;
    }
    return {std::make_unique<QtPasteboard>(), {"Clipboard", backend, reason}};
}

}  // namespace velko
