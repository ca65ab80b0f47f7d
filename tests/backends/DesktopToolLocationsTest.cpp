// Where the desktops' own screenshot tools save, from their configuration files.
#include <gtest/gtest.h>

#include <fstream>

#include "desktoptools/FlameshotLocation.h"
#include "desktoptools/IniValues.h"
#include "desktoptools/SpectacleLocation.h"
#include "desktoptools/XfceScreenshooterLocation.h"
#include "fakes/TempDir.h"

namespace velko::test {
namespace {

const std::string home = "/home/u", pictures = "/home/u/Bilder";

std::optional<std::string> spectacle(std::string_view text) {
    return SpectacleLocation::folderIn(IniValues(text), home, pictures);
}

TEST(DesktopToolLocations, SpectacleReadsTheSaveLocationOfEitherVersion) {
    EXPECT_EQ(spectacle("[General]\ndefaultSaveLocation=file:///home/u/Pictures/\n"), "/home/u/Pictures");
    EXPECT_EQ(spectacle("[ImageSave]\nimageSaveLocation=file:///home/u/My%20Shots\n"
                        "[General]\ndefaultSaveLocation=file:///old\n"),
              "/home/u/My Shots");
    EXPECT_EQ(spectacle("[ImageSave]\nimageSaveLocation[$e]=$HOME/A\\sB\n"), "/home/u/A B");
    EXPECT_EQ(spectacle("[General]\ndefaultSaveLocation=~/Shots\r\n"), "/home/u/Shots");
    EXPECT_EQ(spectacle("[General]\ndefaultSaveLocation=/caf\xE9\n"), "/caf\xE9") << "bytes handed on as written";
    EXPECT_EQ(spectacle("[ImageSave]\nimageSaveLocation[de]=file:///de\nimageSaveLocation=file:///x\n"), "/x");
    for (const char* refused :
         {"[General]\ndefaultSaveLocation=Pictures\n", "[General]\ndefaultSaveLocation=~u/x\n",
          "[ImageSave]\nimageSaveLocation=file://server/share\n", "[ImageSave]\nimageSaveLocation=file:///bad%zz\n"})
        EXPECT_EQ(spectacle(refused), std::nullopt) << refused;
}

TEST(DesktopToolLocations, SpectacleFallsBackToEachVersionsDefault) {
    EXPECT_EQ(spectacle("[General]\nlaunchAction=2\n"), pictures) << "5.x";
    EXPECT_EQ(spectacle("[General]\ndefaultSaveLocation=\n[ImageSave]\ntranslatedScreenshotsFolder=Shots\n"),
              pictures + "/Screenshots");
    EXPECT_EQ(spectacle(""), pictures + "/Screenshots") << "no file: today's Spectacle";
    EXPECT_EQ(spectacle("defaultSaveLocation=file:///top\n[General"), pictures) << "a key outside its group";
}

TEST(DesktopToolLocations, FlameshotAndXfceReadTheirOwnKeys) {
    EXPECT_EQ(FlameshotLocation::folderIn(IniValues("[General]\nsavePath=/home/u/Shots\nsavePathFixed=true\n"), home),
              "/home/u/Shots");
    for (const char* unset : {"", "[General]\nsavePath=\n", "savePath=/top\n", "[General]\nsavePath=rel\n"})
        EXPECT_EQ(FlameshotLocation::folderIn(IniValues(unset), home), std::nullopt) << unset;
    const auto xfce = [](std::string_view text) {
        return XfceScreenshooterLocation::folderIn(IniValues(text), home, pictures);
    };
    EXPECT_EQ(xfce("app=gimp\nscreenshot_dir=file:///home/u/Desk%C3%A9\n"), "/home/u/Desk\xC3\xA9");
    EXPECT_EQ(xfce("screenshot_dir=\n"), pictures);
    EXPECT_EQ(xfce("[Other]\nscreenshot_dir=file:///x\n"), pictures);
    EXPECT_EQ(xfce("screenshot_dir=relative\n"), std::nullopt);
}

TEST(DesktopToolLocations, ReadsTheRealFilesInTheConfigFolder) {
    TempDir config;
    std::ofstream(config / "user-dirs.dirs") << "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n";
    const auto text = [](std::optional<Bytes> bytes) {
        return bytes ? std::optional<std::string>(std::string(bytes->begin(), bytes->end())) : std::nullopt;
    };
    SpectacleLocation location(home, config.path());
    EXPECT_EQ(text(location.configuredLocation()), pictures + "/Screenshots") << "no spectaclerc";
    std::ofstream(config / "spectaclerc") << "[General]\ndefaultSaveLocation=file:///home/u/Pictures\n";
    EXPECT_EQ(text(location.configuredLocation()), "/home/u/Pictures");
    std::ofstream(config / "spectaclerc") << "[General]\ndefaultSaveLocation=file:///x\n"
                                          << std::string(300 * 1024, '#');
    EXPECT_EQ(text(location.configuredLocation()), pictures + "/Screenshots") << "too large to read: the default";
    std::filesystem::create_directories(config / "flameshot");
    std::ofstream(config / "flameshot/flameshot.ini") << "[General]\nsavePath=~/Flame\n";
    EXPECT_EQ(text(FlameshotLocation(home, config.path()).configuredLocation()), "/home/u/Flame");
    EXPECT_EQ(text(XfceScreenshooterLocation(home, config.path()).configuredLocation()), pictures);
}

}  // namespace
}  // namespace velko::test
