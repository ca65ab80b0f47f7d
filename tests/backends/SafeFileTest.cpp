#include "posix/SafeFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "fakes/FileContents.h"
#include "fakes/TempDir.h"

namespace velko::test {
namespace {

namespace fs = std::filesystem;

TEST(SafeFileRead, ReadsRegularFilesAndRefusesEverythingElseWithoutBlockingOrReadingIt) {
    TempDir dir;
    const std::string binary("\0\x01\xff text", 8);
    writeFile(dir / "file", binary);
    writeFile(dir / "empty", "");
    writeFile(dir / "huge", "");
    ASSERT_EQ(::truncate((dir / "huge").c_str(), off_t{8} << 30), 0);
    ASSERT_EQ(::mkdir((dir / "dir").c_str(), 0700), 0);
    // Nobody ever writes to this FIFO: a blocking open would hang the test for good.
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(::symlink((dir / "file").c_str(), (dir / "link").c_str()), 0);
    ASSERT_EQ(::symlink((dir / "fifo").c_str(), (dir / "link-to-fifo").c_str()), 0);

    struct Case {
        std::string path;
        std::size_t cap;
        int cause;  // 0: read in full
    };
    // The cap is inclusive; /dev/zero would never reach end of file if it were read.
    for (const auto& [path, cap, cause] : std::vector<Case>{{dir / "file", 8, 0},
                                                            {dir / "link", 8, 0},
                                                            {dir / "empty", 8, 0},
                                                            {dir / "file", 7, EFBIG},
                                                            {dir / "huge", 64 << 20, EFBIG},
                                                            {dir / "nothing", 8, ENOENT},
                                                            {dir / "dir", 8, EINVAL},
                                                            {dir / "fifo", 8, EINVAL},
                                                            {dir / "link-to-fifo", 8, EINVAL},
                                                            {"/dev/null", 8, EINVAL},
                                                            {"/dev/zero", 1 << 20, EINVAL}}) {
        SCOPED_TRACE(path + " within " + std::to_string(cap));
        const auto read = SafeFile::readRegularFile(path, cap);
        if (cause == 0) {
            ASSERT_TRUE(read) << read.error();
            EXPECT_EQ(read.value(), bytesOf(path == dir / "empty" ? "" : binary));
        } else {
            EXPECT_FALSE(read);
            EXPECT_EQ(read.cause(), cause);
            EXPECT_FALSE(read.error().empty());
        }
    }
}

TEST(SafeFileWrite, ReplacesContentsCompletelyWithItsModeAndNothingElse) {
    TempDir dir;
    const auto written = SafeFile::writeAtomically(dir / "out", std::string_view("hello"), 0600);
    ASSERT_TRUE(written) << written.error();
    EXPECT_EQ(readFile(dir / "out"), "hello");
    struct stat st {};
    ASSERT_EQ(::stat((dir / "out").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    Bytes large(10 * 1000 * 1000);
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<std::uint8_t>(i * 31 + i / 251);
    ASSERT_TRUE(SafeFile::writeAtomically(dir / "out", large, 0600));
    EXPECT_EQ(SafeFile::readRegularFile(dir / "out", large.size()).value(), large);
    // Shorter than before: nothing of the old contents may survive past the end.
    ASSERT_TRUE(SafeFile::writeAtomically(dir / "out", Bytes{}, 0600));
    EXPECT_EQ(readFile(dir / "out"), "");

    // Through a symlink, the target is replaced and the link stays.
    ASSERT_EQ(::mkdir((dir / "real").c_str(), 0700), 0);
    writeFile(dir / "real/file", "old");
    ASSERT_EQ(::symlink("real/file", (dir / "link").c_str()), 0);
    ASSERT_TRUE(SafeFile::writeAtomically(dir / "link", std::string_view("new"), 0600));
    EXPECT_TRUE(fs::is_symlink(dir / "link"));
    EXPECT_EQ(readFile(dir / "real/file"), "new");
    EXPECT_EQ(entries(dir / "real"), std::vector<std::string>{"file"});
    EXPECT_EQ(entries(dir.path()), (std::vector<std::string>{"link", "out", "real"}));
}

TEST(SafeFileWrite, FailuresKeepTheOldFileAndLeaveNoTemporaryBehind) {
    TempDir dir;
    const auto missing = SafeFile::writeAtomically(dir / "missing/out", std::string_view("x"), 0600);
    EXPECT_FALSE(missing);
    EXPECT_FALSE(missing.error().empty());
    EXPECT_FALSE(SafeFile::writeAtomically(dir.path() + "/", std::string_view("x"), 0600));
    EXPECT_TRUE(entries(dir.path()).empty());

    // The temporary file is written in full before the rename onto a directory fails.
    ASSERT_EQ(::mkdir((dir / "target").c_str(), 0700), 0);
    writeFile(dir / "target/kept", "kept");
    EXPECT_FALSE(SafeFile::writeAtomically(dir / "target", std::string_view("x"), 0600));
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"target"});
    EXPECT_EQ(readFile(dir / "target/kept"), "kept");

    if (::geteuid() == 0) return;  // root ignores directory permissions
    ASSERT_EQ(::chmod((dir / "target").c_str(), 0500), 0);
    EXPECT_FALSE(SafeFile::writeAtomically(dir / "target/kept", std::string_view("new"), 0600));
    ::chmod((dir / "target").c_str(), 0700);
    EXPECT_EQ(readFile(dir / "target/kept"), "kept");
    EXPECT_EQ(entries(dir / "target"), std::vector<std::string>{"kept"});
}

// New levels' private mode is checked where the defaults and the staging folder are made.
TEST(SafeFileDirectories, GoThroughASymlinkedDirectoryAndFailOnAFileInTheWay) {
    TempDir dir;
    // A symlinked ~/.config, say, is as good as the directory.
    ASSERT_EQ(::mkdir((dir / "a").c_str(), 0700), 0);
    ASSERT_EQ(::symlink((dir / "a").c_str(), (dir / "alias").c_str()), 0);
    const auto made = SafeFile::createDirectories(dir / "alias/b//d/", 0700);
    ASSERT_TRUE(made) << made.error();
    EXPECT_TRUE(fs::is_directory(dir / "a/b/d"));

    writeFile(dir / "file", "data");
    const auto inTheWay = SafeFile::createDirectories(dir / "file", 0700);
    EXPECT_FALSE(inTheWay);
    EXPECT_FALSE(inTheWay.error().empty());
    EXPECT_FALSE(SafeFile::createDirectories(dir / "file/sub", 0700));
    EXPECT_EQ(readFile(dir / "file"), "data");
}

}  // namespace
}  // namespace velko::test
