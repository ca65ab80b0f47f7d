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

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Polls for up to 10 s; the condition, not the time, is what a test asserts.
template <class Condition>
bool eventually(Condition condition) {
    for (int i = 0; i < 200 && !condition(); ++i) std::this_thread::sleep_for(50ms);
    return condition();
}

TEST(CaptureCopy, StreamsARegularFileIntoAPrivateHiddenFile) {
    TempDir source, staging;
    std::string big(3 * 1024 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
    writeFile(source / "Screenshot 1.mov", big);

    const auto copy = SafeFile::copyIntoDirectory(source / "Screenshot 1.mov", staging.path(), 0600);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->size, big.size());
    EXPECT_EQ(readFile(copy->path), big);
    EXPECT_EQ(fs::path(copy->path).filename().string().front(), '.');
    struct stat st {};
    ASSERT_EQ(::stat(copy->path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST(CaptureCopy, FifosDevicesAndMissingFilesFailAtOnceAndBlameTheSource) {
    TempDir source, staging;
    ASSERT_EQ(::mkfifo((source / "Screenshot 1.png").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("/dev/zero", (source / "Screenshot 2.png").c_str()), 0);
    for (const auto* name : {"Screenshot 1.png", "Screenshot 2.png", "missing.png"}) {
        bool sourceAtFault = false;
        EXPECT_FALSE(SafeFile::copyIntoDirectory(source / name, staging.path(), 0600, &sourceAtFault)) << name;
        EXPECT_TRUE(sourceAtFault) << name;
    }
    EXPECT_EQ(staging.count(), 0u);

    writeFile(source / "a.png", "x");
    bool sourceAtFault = true;
    EXPECT_FALSE(SafeFile::copyIntoDirectory(source / "a.png", staging / "missing", 0600, &sourceAtFault));
    EXPECT_FALSE(sourceAtFault);
}

TEST(CaptureCopy, TheFirstCopyIntoAFolderRemovesUnfinishedCopiesOfAnEarlierRun) {
    TempDir source, staging;
    writeFile(source / "Screenshot 1.png", "png");
    writeFile(staging / ".capture.tmp-0123456789abcdef", "left by a run that was stopped");
    writeFile(staging / ".A.json.tmp-fedcba9876543210", "{");
    writeFile(staging / ".hidden", "not ours");
    writeFile(staging / "A.json", "{}");
    PosixCaptureFiles files;
    const auto first = files.copyInto(source / "Screenshot 1.png", staging.path());
    ASSERT_TRUE(first.copy);
    EXPECT_EQ(staging.count(), 3u);
    EXPECT_TRUE(fs::exists(staging / ".hidden"));
    // Later copies leave the folder alone: the first one is still waiting to be staged.
    EXPECT_TRUE(files.copyInto(source / "Screenshot 1.png", staging.path()).copy);
    EXPECT_TRUE(fs::exists(first.copy->path));
}

TEST(CaptureLook, TellsKindsApartAndSeesWritersWithoutBlocking) {
    TempDir dir;
    PosixCaptureFiles files;
    ASSERT_EQ(::mkfifo((dir / "fifo.png").c_str(), 0600), 0);
    EXPECT_EQ(files.look(dir / "fifo.png").kind, FileLook::Kind::other);
    EXPECT_EQ(files.look(dir.path()).kind, FileLook::Kind::other);
    EXPECT_EQ(files.look(dir / "none.png").kind, FileLook::Kind::missing);

    std::ofstream writer(dir / "slow.png", std::ios::binary);
    writer << "half" << std::flush;
    const FileLook whileOpen = files.look(dir / "slow.png");
    EXPECT_EQ(whileOpen.kind, FileLook::Kind::regular);
    EXPECT_EQ(whileOpen.size, 4u);
    EXPECT_EQ(whileOpen.writers, FileLook::Writers::some);
    writer << " and the rest";
    writer.close();
    const FileLook closed = files.look(dir / "slow.png");
    EXPECT_EQ(closed.writers, FileLook::Writers::none);
    EXPECT_EQ(closed.size, 17u);
    EXPECT_NE(closed, whileOpen);
}

TEST(CaptureStaging, PublishesWithoutReplacing) {
    TempDir dir;
    PosixCaptureFiles files;
    writeFile(dir / ".copy", "new");
    writeFile(dir / "taken.data", "old");
    EXPECT_FALSE(files.moveInto(dir / ".copy", dir / "taken.data"));
    EXPECT_EQ(readFile(dir / "taken.data"), "old");
    EXPECT_TRUE(files.moveInto(dir / ".copy", dir / "free.data"));
    EXPECT_EQ(readFile(dir / "free.data"), "new");
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

TEST(DirectoryWatch, EntryChangesDuringARunGiveExactlyOneFurtherRun) {
    TempDir dir;
    writeFile(dir / "existing.png", "x");
    InotifyDirectoryMonitor monitor;
    EXPECT_FALSE(monitor.watch(dir / "missing", [] {}));
    EXPECT_FALSE(monitor.watch(dir / "existing.png", [] {}));
    std::atomic<int> runs{0};
    ASSERT_TRUE(monitor.watch(dir.path(), [&] {
        if (++runs == 1) {
            for (int i = 0; i < 5; ++i) writeFile(dir / ("during " + std::to_string(i) + ".png"), "y");
            fs::rename(dir / "during 0.png", dir / "renamed.png");
            monitor.sleep(0.2);
        }
    }));
    // Data written into an existing file is no change of the directory's entries.
    writeFile(dir / "existing.png", "more");
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(runs, 0);

    fs::remove(dir / "existing.png");
    EXPECT_TRUE(eventually([&] { return runs >= 2; }));
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(runs, 2);
}

TEST(DirectoryWatch, ShuttingDownWakesAHandlerAsleep) {
    TempDir dir;
    std::atomic<bool> asleep{false};
    {
        InotifyDirectoryMonitor monitor;
        ASSERT_TRUE(monitor.watch(dir.path(), [&] {
            asleep = true;
            monitor.sleep(3600);
        }));
        writeFile(dir / "a.png", "");
        ASSERT_TRUE(eventually([&] { return asleep.load(); }));
    }  // would hang for an hour if the sleep were not interrupted
    SUCCEED();
}

}  // namespace
}  // namespace velko::test
