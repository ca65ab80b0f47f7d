#include "posix/InotifyDirectoryMonitor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <thread>

#include "fakes/FileContents.h"
#include "fakes/TempDir.h"

namespace velko::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

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
    std::atomic<int> runs{0};
    ASSERT_EQ(*monitor.watch(dir.path(),
                             [&](DirectoryEvent) {
                                 if (++runs == 1) {
                                     for (int i = 0; i < 5; ++i)
                                         writeFile(dir / ("during " + std::to_string(i) + ".png"), "y");
                                     fs::rename(dir / "during 0.png", dir / "renamed.png");
                                     monitor.sleep(0.2);
                                 }
                             }),
              WatchStart::watching);
    // Data written into an existing file is no change of the directory's entries.
    writeFile(dir / "existing.png", "more");
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(runs, 0);

    fs::remove(dir / "existing.png");
    EXPECT_TRUE(eventually([&] { return runs >= 2; }));
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(runs, 2);
}

// The events a watch reported, as letters: c(hanged), g(one), b(ack).
struct Recorder {
    std::mutex mutex;
    std::string events;
    std::function<void(DirectoryEvent)> handler() {
        return [this](DirectoryEvent event) {
            std::lock_guard lock(mutex);
            events += "cgb"[static_cast<int>(event)];
        };
    }
    // Waits for exactly `expected` since the last call.
    bool saw(const std::string& expected) {
        const auto now = [&] {
            std::lock_guard lock(mutex);
            return events;
        };
        const bool ok = eventually([&] { return now().size() >= expected.size(); });
        std::this_thread::sleep_for(100ms);  // anything more would show up here
        std::lock_guard lock(mutex);
        const bool same = ok && events == expected;
        if (!same) ADD_FAILURE() << "expected \"" << expected << "\", saw \"" << events << "\"";
        events.clear();
        return same;
    }
};

TEST(DirectoryWatch, AFolderDeletedMovedOrReplacedIsWatchedAgainOnceOneIsAtItsPath) {
    TempDir dir;
    const std::string shots = dir / "Pictures/Screenshots";
    fs::create_directories(shots);
    InotifyDirectoryMonitor monitor;
    Recorder recorder;
    ASSERT_EQ(*monitor.watch(shots, recorder.handler()), WatchStart::watching);

    fs::remove_all(shots);
    recorder.saw("g");
    fs::create_directory(shots);
    recorder.saw("b");
    writeFile(shots + "/a.png", "");
    recorder.saw("c");

    // Moved away, and what happens in it there is no business of the watch.
    fs::rename(shots, dir / "old");
    recorder.saw("g");
    writeFile(dir / "old/b.png", "");
    fs::create_directory(shots);
    recorder.saw("b");

    // Replaced in one step, and taken away with its parent.
    fs::create_directory(dir / "new");
    fs::rename(dir / "new", shots);
    recorder.saw("gb");
    fs::rename(dir / "Pictures", dir / "Pictures moved");
    recorder.saw("g");
    fs::rename(dir / "Pictures moved", dir / "Pictures");
    recorder.saw("b");
    writeFile(shots + "/c.png", "");
    recorder.saw("c");
}

TEST(DirectoryWatch, AFolderMadeAfterTheWatchBeganIsWatchedFromThen) {
    TempDir dir;
    writeFile(dir / "file", "");
    InotifyDirectoryMonitor monitor;
    Recorder recorder;
    ASSERT_EQ(*monitor.watch(dir / "a/b/Screenshots", recorder.handler()), WatchStart::waiting);
    ASSERT_EQ(*monitor.watch(dir / "file", [](DirectoryEvent) {}), WatchStart::waiting) << "not a folder (yet)";
    EXPECT_FALSE(monitor.watch(dir / std::string(300, 'x'), [](DirectoryEvent) {})) << "a name too long";

    fs::create_directories(dir / "a/b");
    fs::create_directory(dir / "a/b/other");
    recorder.saw("");
    fs::create_directory(dir / "a/b/Screenshots");
    recorder.saw("b");
    writeFile(dir / "a/b/Screenshots/a.png", "");
    recorder.saw("c");

    // Reached through a link to a disk that goes: no event says when it is back, so it is looked for.
    fs::create_directories(dir / "disk/Screenshots");
    fs::create_directory_symlink(dir / "disk", dir / "link");
    Recorder linked;
    ASSERT_EQ(*monitor.watch(dir / "link/Screenshots", linked.handler()), WatchStart::watching);
    fs::remove_all(dir / "disk");
    linked.saw("g");
    fs::create_directories(dir / "disk/Screenshots");
    linked.saw("b");
}

TEST(DirectoryWatch, ShuttingDownWakesAHandlerAsleep) {
    TempDir dir;
    std::atomic<bool> asleep{false};
    {
        InotifyDirectoryMonitor monitor;
        ASSERT_TRUE(monitor.watch(dir.path(), [&](DirectoryEvent) {
            asleep = true;
            monitor.sleep(3600);
        }));
        writeFile(dir / "a.png", "");
        ASSERT_TRUE(eventually([&] { return asleep.load(); }));
    }  // would hang for an hour if the sleep were not interrupted
}

}  // namespace
}  // namespace velko::test
