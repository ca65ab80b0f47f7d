#include "plasma/SpectacleLocation.h"

#include <gtest/gtest.h>

#include <fstream>

#include "fakes/TempDir.h"

namespace velko::test {
namespace {

using L = SpectacleLocation;
const std::string home = "/home/u", pictures = "/home/u/Bilder";

TEST(SpectacleLocation, ReadsTheSaveLocationOfEitherVersion) {
    EXPECT_EQ(L::folderFrom("[General]\ndefaultSaveLocation=file:///home/u/Pictures/\n", home, pictures),
              "/home/u/Pictures");
    EXPECT_EQ(L::folderFrom("[ImageSave]\nimageSaveLocation=file:///home/u/My%20Shots\n"
                            "[General]\ndefaultSaveLocation=file:///old\n",
                            home, pictures),
              "/home/u/My Shots");
    EXPECT_EQ(L::folderFrom("[ImageSave]\nimageSaveLocation[$e]=$HOME/A\\sB\n", home, pictures), "/home/u/A B");
    EXPECT_EQ(L::folderFrom("[General]\ndefaultSaveLocation=~/Shots\r\n", home, pictures), "/home/u/Shots");
    EXPECT_EQ(L::folderFrom("[General]\ndefaultSaveLocation=/caf\xE9\n", home, pictures), "/caf\xE9")
        << "bytes handed on as written";
    EXPECT_EQ(
        L::folderFrom("[ImageSave]\nimageSaveLocation[de]=file:///de\nimageSaveLocation=file:///x\n", home, pictures),
        "/x");
    for (const char* refused :
         {"[General]\ndefaultSaveLocation=Pictures\n", "[ImageSave]\nimageSaveLocation=file://server/share\n",
          "[ImageSave]\nimageSaveLocation=file:///bad%zz\n"})
        EXPECT_EQ(L::folderFrom(refused, home, pictures), std::nullopt) << refused;
}

TEST(SpectacleLocation, FallsBackToEachVersionsDefault) {
    EXPECT_EQ(L::folderFrom("[General]\nlaunchAction=2\n", home, pictures), pictures) << "5.x";
    EXPECT_EQ(L::folderFrom("[General]\ndefaultSaveLocation=\n[ImageSave]\ntranslatedScreenshotsFolder=Shots\n", home,
                            pictures),
              pictures + "/Screenshots");
    EXPECT_EQ(L::folderFrom("", home, pictures), pictures + "/Screenshots") << "no file: today's Spectacle";
    EXPECT_EQ(L::folderFrom("defaultSaveLocation=file:///top\n[General", home, pictures), pictures)
        << "a key outside its group";
}

TEST(SpectacleLocation, ReadsTheRealFilesInTheConfigFolder) {
    TempDir config;
    std::ofstream(config / "user-dirs.dirs") << "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n";
    const auto location = [&] {
        const auto bytes = L(home, config.path()).configuredLocation();
        return bytes ? std::optional<std::string>(std::string(bytes->begin(), bytes->end())) : std::nullopt;
    };
    EXPECT_EQ(location(), pictures + "/Screenshots") << "no spectaclerc";
    std::ofstream(config / "spectaclerc") << "[General]\ndefaultSaveLocation=file:///home/u/Pictures\n";
    EXPECT_EQ(location(), "/home/u/Pictures");
    std::ofstream(config / "spectaclerc") << "[General]\ndefaultSaveLocation=file:///x\n"
                                          << std::string(300 * 1024, '#');
    EXPECT_EQ(location(), pictures + "/Screenshots") << "too large to read: the default";
}

}  // namespace
}  // namespace velko::test
