#pragma once
#include <functional>
#include <string>
#include <string_view>

namespace velko {

// What kind of graphical session the helper was started in. In a Wayland session DISPLAY, when
// set, is Xwayland: its input extensions reach X11 windows only.
struct DesktopSession {
    enum class Kind { x11, wayland, none };
    using Environment = std::function<const char*(const char*)>;

    Kind kind = Kind::none;
    std::string reason;  // the variables that decided it, for the log

    static DesktopSession detect(const Environment& environment);
    static DesktopSession detect();
    // Whether XDG_CURRENT_DESKTOP (a colon-separated list) names this desktop, e.g. "KDE".
    static bool runs(std::string_view desktop, const Environment& environment);
    bool isWayland() const { return kind == Kind::wayland; }
};

}  // namespace velko
