#include "posix/PosixCaptureFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "fakes/FileContents.h"
#include "fakes/ScopedEnv.h"
#include "fakes/TempDir.h"
#include "posix/PosixCaptureJournal.h"
#include "posix/SafeFile.h"

namespace velko::test {
namespace {

namespace fs = std::filesystem;

// How a FIFO, a folder and a capture still being written look to the watcher is shown end to end by
// the screenshots integration test: nothing stalls, and a slow capture is staged whole.
TEST(CaptureCopy, StreamsARegularFileIntoAPrivateHiddenFileAndBlamesTheRightSide) {
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

    // FIFOs, devices and vanished files fail at once, leaving nothing.
    ASSERT_EQ(::mkfifo((source / "Screenshot 2.png").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("/dev/zero", (source / "Screenshot 3.png").c_str()), 0);
    for (const auto* name : {"Screenshot 2.png", "Screenshot 3.png", "missing.png"}) {
        bool sourceAtFault = false;
        EXPECT_FALSE(SafeFile::copyIntoDirectory(source / name, staging.path(), 0600, &sourceAtFault));
        EXPECT_TRUE(sourceAtFault) << name;
    }
    EXPECT_EQ(entries(staging.path()).size(), 1u);
    bool sourceAtFault = true;
    EXPECT_FALSE(SafeFile::copyIntoDirectory(source / "Screenshot 1.mov", staging / "missing", 0600, &sourceAtFault));
    EXPECT_FALSE(sourceAtFault);
}

// Whatever a name in the screenshot folder leads to, only the user's own file behind that very
// name is read; the reason for a refusal is said.
TEST(CaptureCopy, OnlyTheUsersOwnFileWithOneNameIsReadNeverThroughALink) {
    TempDir source, staging, elsewhere;
    writeFile(elsewhere / "id_rsa", "PRIVATE KEY");
    writeFile(source / "own.png", "png");
    const std::vector<std::pair<std::string, std::string>> refused{
        {"Screenshot key.png", "a symbolic link"},         {"capture env.mov", "a symbolic link"},
        {"Screenshot fifo.png", "not a regular file"},     {"Screenshot hard.png", "a hard link"},
        {"Screenshot other.png", "owned by another user"},
    };
    ASSERT_EQ(::symlink((elsewhere / "id_rsa").c_str(), (source / "Screenshot key.png").c_str()), 0);
    ASSERT_EQ(::symlink("/proc/self/environ", (source / "capture env.mov").c_str()), 0);
    ASSERT_EQ(::mkfifo((source / "Screenshot fifo.png").c_str(), 0600), 0);
    ASSERT_EQ(::link((elsewhere / "id_rsa").c_str(), (source / "Screenshot hard.png").c_str()), 0);
    writeFile(source / "Screenshot other.png", "someone else's");
    const bool canChown = ::chown((source / "Screenshot other.png").c_str(), 65534, 65534) == 0;

    PosixCaptureFiles files;
    EXPECT_EQ(files.look(source / "Screenshot key.png").kind, FileLook::Kind::symlink);
    for (const auto& [name, reason] : refused) {
        if (name == "Screenshot other.png" && !canChown) continue;
        const auto result = files.copyInto(source / name, staging / ".A.pending");
        EXPECT_FALSE(result.copy) << name;
        EXPECT_EQ(result.failure, CopyResult::Failure::source) << name;
        EXPECT_NE(result.error.find(reason), std::string::npos) << name << ": " << result.error;
    }
    EXPECT_TRUE(entries(staging.path()).empty());
    const auto own = files.copyInto(source / "own.png", staging / ".A.pending");
    ASSERT_TRUE(own.copy);
    EXPECT_EQ(readFile(own.copy->path), "png");
}

// Copies kept for a capture not yet staged are not unfinished: the next run needs them.
TEST(CaptureCopy, TheFirstCopyIntoAFolderRemovesUnfinishedCopiesOfAnEarlierRunButNotKeptOnes) {
    TempDir source, staging;
    writeFile(source / "Screenshot 1.png", "png");
    writeFile(staging / ".capture.tmp-0123456789abcdef", "left by a run that was stopped");
    writeFile(staging / ".A.json.tmp-fedcba9876543210", "{");
    writeFile(staging / ".hidden", "not ours");
    writeFile(staging / "A.json", "{}");
    writeFile(staging / ".K.pending", "kept by an earlier run");
    PosixCaptureFiles files;
    const auto first = files.copyInto(source / "Screenshot 1.png", staging / ".B.pending");
    ASSERT_TRUE(first.copy);
    EXPECT_EQ(first.copy->path, staging / ".B.pending");
    EXPECT_EQ(readFile(staging / ".B.pending"), "png");
    EXPECT_EQ(first.source.kind, FileLook::Kind::regular);
    EXPECT_EQ(entries(staging.path()).size(), 4u);
    EXPECT_EQ(readFile(staging / ".K.pending"), "kept by an earlier run");
    // A kept copy is never replaced, and a failed copy leaves nothing.
    const auto again = files.copyInto(source / "Screenshot 1.png", staging / ".K.pending");
    EXPECT_EQ(again.failure, CopyResult::Failure::destination);
    EXPECT_EQ(readFile(staging / ".K.pending"), "kept by an earlier run");
    EXPECT_EQ(entries(staging.path()).size(), 4u);
}

TEST(CaptureStaging, PublishesWithoutReplacing) {
    TempDir dir;
    PosixCaptureFiles files;
    writeFile(dir / ".copy", "new");
    writeFile(dir / "taken.data", "old");
    EXPECT_EQ(files.moveInto(dir / ".copy", dir / "taken.data").cause(), EEXIST);
    EXPECT_EQ(readFile(dir / "taken.data"), "old");
    EXPECT_TRUE(files.moveInto(dir / ".copy", dir / "free.data"));
    EXPECT_EQ(readFile(dir / "free.data"), "new");
}

// The journal is private, lives in the state folder (made when missing), and a FIFO in its place
// reads as no journal rather than stalling the start.
TEST(CaptureJournal, PrivateInTheStateFolderAndNeverBlocking) {
    TempDir home;
    const ScopedEnv noState("XDG_STATE_HOME", nullptr);
    PosixCaptureJournal journal(home.path());
    EXPECT_EQ(journal.path(), home / ".local/state/velko-helper/pending-captures.json");
    EXPECT_EQ(journal.load(), "");
    ASSERT_TRUE(journal.save("[1]"));
    EXPECT_EQ(journal.load(), "[1]");
    EXPECT_EQ(fs::status(journal.path()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::status(home / ".local/state/velko-helper").permissions() & fs::perms::all, fs::perms::owner_all);

    fs::remove(journal.path());
    ASSERT_EQ(::mkfifo(journal.path().c_str(), 0600), 0);
    EXPECT_EQ(journal.load(), "");
}

}  // namespace
}  // namespace velko::test
