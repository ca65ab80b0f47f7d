#include "posix/InotifyDirectoryMonitor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "fakes/FileContents.h"
#include "fakes/TempDir.h"

namespace velko::test {
namespace {

using namespace std::chrono_literals;

// Polls for up to 10 s; the condition, not the time, is what a test asserts.
template <class Condition>
bool eventually(Condition condition) {
    for (int i = 0; i < 200 && !condition(); ++i) std::this_thread::sleep_for(50ms);
    return condition();
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
            std::filesystem::rename(dir / "during 0.png", dir / "renamed.png");
            monitor.sleep(0.2);
        }
    }));
    // Data written into an existing file is no change of the directory's entries.
    writeFile(dir / "existing.png", "more");
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(runs, 0);

    std::filesystem::remove(dir / "existing.png");
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
}

}  // namespace
}  // namespace velko::test
