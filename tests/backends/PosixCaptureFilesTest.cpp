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
        std::string error;
        EXPECT_FALSE(SafeFile::copyIntoDirectory(source / name, staging.path(), 0600, &error, &sourceAtFault)) << name;
        EXPECT_TRUE(sourceAtFault) << name;
    }
    EXPECT_EQ(staging.count(), 0u);

    writeFile(source / "a.png", "x");
    bool sourceAtFault = true;
    EXPECT_FALSE(SafeFile::copyIntoDirectory(source / "a.png", staging / "missing", 0600, nullptr, &sourceAtFault));
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

}  // namespace
}  // namespace velko::test
