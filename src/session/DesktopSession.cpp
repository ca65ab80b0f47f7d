#include "session/DesktopSession.h"

#include <cstdlib>
#include <string_view>

namespace velko {

DesktopSession DesktopSession::detect(const Environment& environment) {
    const auto value = [&](const char* name) -> std::string_view {
        const char* v = environment(name);
        return v ? v : "";
    };
    // XDG_SESSION_TYPE is what the login manager says; WAYLAND_DISPLAY covers sessions started
    // without one (a compositor run from a console, nested sessions).
    const auto type = value("XDG_SESSION_TYPE");
    if (type == "wayland") return {Kind::wayland, "XDG_SESSION_TYPE=wayland"};
    if (type == "x11" && !value("DISPLAY").empty()) return {Kind::x11, "XDG_SESSION_TYPE=x11"};
    if (!value("WAYLAND_DISPLAY").empty())
        return {Kind::wayland, "WAYLAND_DISPLAY=" + std::string(value("WAYLAND_DISPLAY"))};
    if (!value("DISPLAY").empty()) return {Kind::x11, "DISPLAY=" + std::string(value("DISPLAY"))};
    return {Kind::none, "neither DISPLAY nor WAYLAND_DISPLAY is set"};
}

bool DesktopSession::runs(std::string_view desktop, const Environment& environment) {
    const char* value = environment("XDG_CURRENT_DESKTOP");
    std::string_view names = value ? value : "";
    while (!names.empty()) {
        const auto colon = names.find(':');
        if (names.substr(0, colon) == desktop) return true;
        names = colon == std::string_view::npos ? std::string_view() : names.substr(colon + 1);
    }
    return false;
}

DesktopSession DesktopSession::detect() {
    return detect([](const char* name) { return std::getenv(name); });
}

}  // namespace velko
