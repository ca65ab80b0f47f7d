#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "gnome/GnomeScreenshotLocation.h"
#include "posix/InotifyDirectoryMonitor.h"
#include "posix/PosixCaptureFiles.h"
#include "posix/SafeFile.h"

namespace velko::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class TempDir {
public:
    TempDir() {
        std::string pattern = (fs::temp_directory_path() / "velko-capture-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }
    std::size_t count() const { return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), {})); }

private:
    std::string path_;
};

void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

// Polls for up to 10 s; the condition, not the time, is what a test asserts.
template <class Condition>
bool eventually(Condition condition) {
    for (int i = 0; i < 200 && !condition(); ++i) std::this_thread::sleep_for(50ms);
    return condition();
}

TEST(GnomeLocation, ReadsFileUrisAndPathsAsGSettingsPrintsThem) {
    using L = GnomeScreenshotLocation;
    EXPECT_EQ(L::pathFromGSettingsOutput("'file:///home/me/My%20Shots'\n"), "/home/me/My Shots");
    EXPECT_EQ(L::pathFromGSettingsOutput("\"file:///it's\"\n"), "/it's");
    EXPECT_EQ(L::pathFromGSettingsOutput("'file:///caf\\u00e9 \\'x\\''"), "/caf\xC3\xA9 'x'");
    EXPECT_EQ(L::pathFromGSettingsOutput("'~/Shots'"), "~/Shots") << "handed on as written";
    EXPECT_EQ(L::pathFromGSettingsOutput("''\n"), std::nullopt);
    EXPECT_EQ(L::pathFromGSettingsOutput("'file://server/share'"), std::nullopt);
    EXPECT_EQ(L::pathFromGSettingsOutput("'file:///bad%zz'"), std::nullopt);
}

TEST(GnomeLocation, FindsThePicturesDirectoryInUserDirs) {
    using L = GnomeScreenshotLocation;
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

TEST(GnomeLocation, FallsThroughToTheScreenshotsFolderOfTheXdgPicturesDirectory) {
    TempDir home;
    fs::create_directories(home / ".config");
    writeFile(home / ".config/user-dirs.dirs", "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
    const std::string savedHome = std::getenv("HOME") ? std::getenv("HOME") : "";
    ::setenv("HOME", home.path().c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    const auto location = GnomeScreenshotLocation().configuredLocation();
    ::setenv("HOME", savedHome.c_str(), 1);
    ASSERT_TRUE(location);
    EXPECT_EQ(std::string(location->begin(), location->end()), home / "Bilder/Screenshots");
}

}  // namespace
}  // namespace velko::test
