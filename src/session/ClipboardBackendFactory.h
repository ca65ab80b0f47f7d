#pragma once
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/Pasteboard.h"
#include "session/DesktopSession.h"

namespace velko {

// Picks the clipboard the expansion borrows. Every compositor bridges Xwayland's CLIPBOARD to the
// Wayland clipboard, so X11's serves Wayland sessions too.
class ClipboardBackendFactory {
public:
    struct Choice {
        std::unique_ptr<Pasteboard> pasteboard;
        BackendChoice choice;
    };
    // Needs the QGuiApplication: whether Qt reached an X display decides what the clipboard is.
    static Choice choose(const DesktopSession& session);
};

}  // namespace velko
