// Home directory and file-node queries on the real file system.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "fakes/FileContents.h"
#include "fakes/ScopedEnv.h"
#include "fakes/TempDir.h"
#include "posix/PosixFileSystem.h"

namespace velko::test {
namespace {

namespace fs = std::filesystem;

TEST(PosixFileSystemHome, ComesFromHomeOrElseThePasswordDatabase) {
    ScopedEnv slashed("HOME", "/some/home//");
    EXPECT_EQ(PosixFileSystem().homeDirectory(), "/some/home");

    const passwd* entry = ::getpwuid(::getuid());
    ASSERT_TRUE(entry);
    std::string expected = entry->pw_dir;
    while (expected.size() > 1 && expected.back() == '/') expected.pop_back();
    {
        ScopedEnv empty("HOME", "");
        EXPECT_EQ(PosixFileSystem().homeDirectory(), expected);
    }
    ScopedEnv unset("HOME", nullptr);
    EXPECT_EQ(PosixFileSystem().homeDirectory(), expected);
}

TEST(PosixFileSystemNodes, ExistsFollowsSymlinks) {
    TempDir dir;
    PosixFileSystem fileSystem;
    writeFile(dir / "file", "x");
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    fs::create_symlink(dir / "file", dir / "link");
    fs::create_symlink(dir / "gone", dir / "dangling");

    for (const std::string& path : {dir / "file", dir.path(), dir / "fifo", dir / "link"})
        EXPECT_TRUE(fileSystem.exists(path)) << path;
    for (const std::string& path : {dir / "dangling", dir / "gone", std::string()})
        EXPECT_FALSE(fileSystem.exists(path)) << path;
    EXPECT_TRUE(fileSystem.createDirectories(dir / "a/b"));
    EXPECT_TRUE(fs::is_directory(dir / "a/b"));
    EXPECT_FALSE(fileSystem.createDirectories(dir / "file/sub"));
}

}  // namespace
}  // namespace velko::test
