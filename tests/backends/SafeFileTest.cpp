#include "posix/SafeFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "fakes/TempDir.h"

namespace velko::test {
namespace {

namespace fs = std::filesystem;

void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream out(path, std::ios::binary);
    out << contents;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

// Root bypasses permission bits, so tests that rely on them cannot run as root.
bool permissionsApply() { return ::geteuid() != 0; }

TEST(SafeFileRead, ReadsRegularFilesDirectlyOrThroughSymlinks) {
    TempDir dir;
    const std::string binary("\0\x01\xff text", 8);
    writeFile(dir / "file", binary);
    ASSERT_EQ(::symlink((dir / "file").c_str(), (dir / "link").c_str()), 0);
    writeFile(dir / "empty", "");

    EXPECT_EQ(SafeFile::readRegularFile(dir / "file", 100).value(), bytesOf(binary));
    EXPECT_EQ(SafeFile::readRegularFile(dir / "link", 100).value(), bytesOf(binary));
    const auto empty = SafeFile::readRegularFile(dir / "empty", 100);
    ASSERT_TRUE(empty) << empty.error();
    EXPECT_TRUE(empty->empty());
}

TEST(SafeFileRead, MissingFileFailsWithEnoent) {
    TempDir dir;
    const auto missing = SafeFile::readRegularFile(dir / "nothing", 100);
    EXPECT_FALSE(missing);
    EXPECT_EQ(missing.cause(), ENOENT);
    EXPECT_FALSE(missing.error().empty());
}

TEST(SafeFileRead, RefusesEverythingThatIsNotARegularFile) {
    TempDir dir;
    ASSERT_EQ(::mkdir((dir / "dir").c_str(), 0700), 0);
    // Nobody ever writes to this FIFO: a blocking open would hang the test for good.
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(::symlink((dir / "fifo").c_str(), (dir / "link-to-fifo").c_str()), 0);

    // /dev/zero would never reach end of file if it were read.
    for (const std::string& path :
         {dir / "dir", dir / "fifo", dir / "link-to-fifo", std::string("/dev/null"), std::string("/dev/zero")}) {
        SCOPED_TRACE(path);
        const auto refused = SafeFile::readRegularFile(path, 1 << 20);
        EXPECT_FALSE(refused);
        EXPECT_EQ(refused.cause(), EINVAL);
        EXPECT_EQ(refused.error(), "not a regular file");
    }
}

TEST(SafeFileRead, SizeCapIsInclusive) {
    TempDir dir;
    writeFile(dir / "ten", "0123456789");
    EXPECT_TRUE(SafeFile::readRegularFile(dir / "ten", 10));

    const auto tooLarge = SafeFile::readRegularFile(dir / "ten", 9);
    EXPECT_FALSE(tooLarge);
    EXPECT_EQ(tooLarge.cause(), EFBIG);
    EXPECT_FALSE(tooLarge.error().empty());
    EXPECT_FALSE(SafeFile::readRegularFile(dir / "ten", 0));
}

TEST(SafeFileRead, HugeSparseFileIsRefusedWithoutReadingIt) {
    TempDir dir;
    writeFile(dir / "huge", "");
    ASSERT_EQ(::truncate((dir / "huge").c_str(), off_t{8} << 30), 0);
    EXPECT_EQ(SafeFile::readRegularFile(dir / "huge", 64 << 20).cause(), EFBIG);
}

TEST(SafeFileWrite, CreatesTheFileWithItsModeAndNothingElse) {
    TempDir dir;
    const auto written = SafeFile::writeAtomically(dir / "out", std::string_view("hello"), 0600);
    ASSERT_TRUE(written) << written.error();
    EXPECT_EQ(readFile(dir / "out"), "hello");
    struct stat st {};
    ASSERT_EQ(::stat((dir / "out").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"out"});
}

TEST(SafeFileWrite, ReplacesContentsCompletely) {
    TempDir dir;
    writeFile(dir / "out", std::string(100000, 'x'));

    Bytes large(10 * 1000 * 1000);
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<std::uint8_t>(i * 31 + i / 251);
    ASSERT_TRUE(SafeFile::writeAtomically(dir / "out", large, 0600));
    EXPECT_EQ(SafeFile::readRegularFile(dir / "out", large.size()).value(), large);

    // Shorter than before: nothing of the old contents may survive past the end.
    ASSERT_TRUE(SafeFile::writeAtomically(dir / "out", std::string_view("short"), 0600));
    EXPECT_EQ(readFile(dir / "out"), "short");
    ASSERT_TRUE(SafeFile::writeAtomically(dir / "out", Bytes{}, 0600));
    EXPECT_EQ(readFile(dir / "out"), "");
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"out"});
}

TEST(SafeFileWrite, ReplacesASymlinkTargetAndKeepsTheLink) {
    TempDir dir;
    ASSERT_EQ(::mkdir((dir / "real").c_str(), 0700), 0);
    writeFile(dir / "real/file", "old");
    ASSERT_EQ(::symlink("real/file", (dir / "link").c_str()), 0);

    ASSERT_TRUE(SafeFile::writeAtomically(dir / "link", std::string_view("new"), 0600));
    EXPECT_TRUE(fs::is_symlink(dir / "link"));
    EXPECT_EQ(readFile(dir / "real/file"), "new");
    EXPECT_EQ(entries(dir / "real"), std::vector<std::string>{"file"});
}

TEST(SafeFileWrite, FailuresLeaveNoTemporaryBehind) {
    TempDir dir;
    EXPECT_FALSE(SafeFile::writeAtomically(dir / "missing/out", std::string_view("x"), 0600).error().empty());
    EXPECT_TRUE(entries(dir.path()).empty());

    // The temporary file is written in full before the rename onto a directory fails.
    ASSERT_EQ(::mkdir((dir / "target").c_str(), 0700), 0);
    writeFile(dir / "target/kept", "kept");
    EXPECT_FALSE(SafeFile::writeAtomically(dir / "target", std::string_view("x"), 0600).error().empty());
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"target"});
    EXPECT_EQ(readFile(dir / "target/kept"), "kept");

    EXPECT_FALSE(SafeFile::writeAtomically(dir.path() + "/", std::string_view("x"), 0600));
}

TEST(SafeFileWrite, ReadOnlyDirectoryFailsAndKeepsTheOldFile) {
    if (!permissionsApply()) GTEST_SKIP() << "root ignores directory permissions";
    TempDir dir;
    ASSERT_EQ(::mkdir((dir / "ro").c_str(), 0700), 0);
    writeFile(dir / "ro/out", "old");
    ASSERT_EQ(::chmod((dir / "ro").c_str(), 0500), 0);

    EXPECT_FALSE(SafeFile::writeAtomically(dir / "ro/out", std::string_view("new"), 0600).error().empty());
    ::chmod((dir / "ro").c_str(), 0700);
    EXPECT_EQ(readFile(dir / "ro/out"), "old");
    EXPECT_EQ(entries(dir / "ro"), std::vector<std::string>{"out"});
}

TEST(SafeFileDirectories, CreatesMissingLevelsAndAcceptsExistingOnes) {
    TempDir dir;
    const auto made = SafeFile::createDirectories(dir / "a/b//c/", 0700);
    ASSERT_TRUE(made) << made.error();
    EXPECT_TRUE(fs::is_directory(dir / "a/b/c"));
    EXPECT_TRUE(SafeFile::createDirectories(dir / "a/b", 0700));

    // A symlink to a directory is as good as the directory.
    ASSERT_EQ(::symlink((dir / "a").c_str(), (dir / "alias").c_str()), 0);
    EXPECT_TRUE(SafeFile::createDirectories(dir / "alias/b/d", 0700));
    EXPECT_TRUE(fs::is_directory(dir / "a/b/d"));

    struct stat st {};
    ASSERT_EQ(::stat((dir / "a/b/c").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 077, 0u);
}

TEST(SafeFileDirectories, FileInTheWayFails) {
    TempDir dir;
    writeFile(dir / "file", "data");
    EXPECT_FALSE(SafeFile::createDirectories(dir / "file", 0700).error().empty());
    EXPECT_FALSE(SafeFile::createDirectories(dir / "file/sub", 0700));
    EXPECT_EQ(readFile(dir / "file"), "data");
    EXPECT_FALSE(SafeFile::createDirectories("", 0700));
}

}  // namespace
}  // namespace velko::test
