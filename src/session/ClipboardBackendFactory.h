#pragma once
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/Pasteboard.h"
#include "session/DesktopSession.h"

namespace velko {

// Picks the clipboard the expansion borrows. In a Wayland session the compositor's data-control
// protocol reaches the clipboard whatever window has the focus; without it Xwayland's CLIPBOARD is
// the fallback, which wlroots compositors bridge only while an X11 window has the focus.
class ClipboardBackendFactory {
public:
    struct Choice {
        std::unique_ptr<Pasteboard> pasteboard;
        BackendChoice choice;
    };
    // Needs the QGuiApplication: without data-control, whether Qt reached an X display decides.
    static Choice choose(const DesktopSession& session);
};

}  // namespace velko
