#include "Core/TerminalApplications.h"

#include <gtest/gtest.h>

namespace velko::test {
namespace {

TEST(TerminalApplicationsTest, KnowsTerminalsByAnyOfTheirNamesWhateverTheCase) {
    for (const char* name : {"xterm", "XTerm", "URxvt", "Gnome-terminal", "gnome-terminal-server", "org.gnome.Terminal",
                             "org.gnome.Console", "kgx", "Xfce4-terminal", "konsole", "org.kde.konsole", "Alacritty",
                             "kitty", "foot", "footclient", "org.wezfurlong.wezterm", "st-256color", "Ptyxis"})
        EXPECT_TRUE(TerminalApplications::includes(name)) << name;
    for (const char* name : {"", "zenity", "Zenity", "firefox", "org.gnome.TextEditor", "xterm-like", "sterm", "foo"})
        EXPECT_FALSE(TerminalApplications::includes(name)) << name;
}

}  // namespace
}  // namespace velko::test
