// Which kind of session the helper believes it is in decides whether X11 input counts as access.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "session/DesktopSession.h"

namespace velko::test {
namespace {

DesktopSession::Kind kindWith(const std::map<std::string, std::string>& variables) {
    return DesktopSession::detect([&](const char* name) -> const char* {
               const auto it = variables.find(name);
               return it == variables.end() ? nullptr : it->second.c_str();
           })
        .kind;
}

TEST(DesktopSession, XwaylandIsNeverTakenForAnX11Session) {
    using Kind = DesktopSession::Kind;
    EXPECT_EQ(kindWith({{"DISPLAY", ":0"}}), Kind::x11);
    EXPECT_EQ(kindWith({{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "x11"}}), Kind::x11);
    // GNOME and KDE set both variables; Xwayland's DISPLAY must not win.
    EXPECT_EQ(kindWith({{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "wayland"}}), Kind::wayland);
    EXPECT_EQ(kindWith({{"DISPLAY", ":0"}, {"WAYLAND_DISPLAY", "wayland-1"}}), Kind::wayland);
    // A compositor started from a console leaves the login manager's "tty" behind.
    EXPECT_EQ(kindWith({{"XDG_SESSION_TYPE", "tty"}, {"WAYLAND_DISPLAY", "wayland-1"}}), Kind::wayland);
    EXPECT_EQ(kindWith({{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}), Kind::none);
    EXPECT_EQ(kindWith({}), Kind::none);
}

TEST(DesktopSession, NamesTheDesktopOnlyAsAWholeEntryOfTheList) {
    const auto runs = [](const char* desktops) {
        return DesktopSession::runs("KDE", [&](const char* name) {
            return std::string_view(name) == "XDG_CURRENT_DESKTOP" ? desktops : nullptr;
        });
    };
    EXPECT_TRUE(runs("KDE"));
    EXPECT_TRUE(runs("ubuntu:KDE"));
    for (const char* other : {"GNOME", "KDEX:GNOME", "kde", ""}) EXPECT_FALSE(runs(other)) << other;
    EXPECT_FALSE(runs(nullptr));
}

}  // namespace
}  // namespace velko::test
