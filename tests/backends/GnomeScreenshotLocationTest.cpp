#include "gnome/GnomeScreenshotLocation.h"

#include <gtest/gtest.h>

// Reading the real setting and user-dirs.dirs is the screenshot-location integration test's part.
namespace velko::test {
namespace {

using L = GnomeScreenshotLocation;

TEST(GnomeLocation, ReadsFileUrisAndPathsAsGSettingsPrintsThem) {
    EXPECT_EQ(L::pathFromGSettingsOutput("'file:///home/me/My%20Shots'\n"), "/home/me/My Shots");
    EXPECT_EQ(L::pathFromGSettingsOutput("\"file:///it's\"\n"), "/it's");
    EXPECT_EQ(L::pathFromGSettingsOutput("'file:///caf\\u00e9 \\'x\\''"), "/caf\xC3\xA9 'x'");
    EXPECT_EQ(L::pathFromGSettingsOutput("'~/Shots'"), "~/Shots") << "handed on as written";
    for (const char* refused : {"''\n", "'file://server/share'", "'file:///bad%zz'"})
        EXPECT_EQ(L::pathFromGSettingsOutput(refused), std::nullopt) << refused;
}

TEST(GnomeLocation, FindsThePicturesDirectoryInUserDirs) {
    const std::string home = "/home/u";
    EXPECT_EQ(
        L::picturesDirectoryFrom("# written by xdg-user-dirs-update\nXDG_PICTURES_DIR=\"$HOME/Pictures\"\n", home),
        "/home/u/Pictures");
    EXPECT_EQ(L::picturesDirectoryFrom("XDG_PICTURES_DIR=\"$HOME/My \\\"Pics\\\"\"", home), "/home/u/My \"Pics\"");
    EXPECT_EQ(L::picturesDirectoryFrom("XDG_PICTURES_DIR=\"$HOME/A\"\nXDG_PICTURES_DIR=\"$HOME/B\"", home),
              "/home/u/B");
    EXPECT_EQ(L::picturesDirectoryFrom("XDG_PICTURES_DIR=\"$HOME/\"", home), std::nullopt) << "switched off";
    EXPECT_EQ(L::picturesDirectoryFrom("XDG_PICTURES_DIR=\"pics\"", home), std::nullopt);
}

}  // namespace
}  // namespace velko::test
