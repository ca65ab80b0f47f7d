#include "Core/ScreenshotWatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Core/GroupContainer.h"
#include "Core/HelperConstants.h"
#include "fakes/FakeScreenshotPlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

using Kind = ScreenshotWatcher::NameKind;

const std::string shots = "/home/ada/Pictures/Screenshots";
const std::string desktop = "/home/ada/Desktop";
const std::string captured = HelperConstants::Notification::screenshotCaptured;

TEST(ScreenshotNames, PatternAnywhereAndAPngOrMovEndingIgnoringCase) {
    const std::vector<std::pair<std::string, Kind>> table{
        {"Screenshot 2024-05-01 at 10.00.00.png", Kind::image},
        {".Screenshot 1.png", Kind::image},
        {"ekranoplan.PnG", Kind::image},  // a pattern anywhere in the name
        {"ZRZUT EKRANU.MOV", Kind::video},
        {"Snímek obrazovky.png", Kind::rejected},  // the accent breaks "snimek"
        {"Screenshot.jpg", Kind::rejected},
        {"Screen Recording 2024.mov", Kind::rejected},
        {"Screenshot.png.part", Kind::rejected},
        {"Screenshot.png ", Kind::rejected},
    };
    for (const auto& [name, kind] : table) EXPECT_EQ(ScreenshotWatcher::classifyName(name), kind) << name;
}

// The screenshots integration test shows what the user sees (a capture written slowly is staged whole
// and once, a video unread, FIFOs and folders skipped); here, what it cannot make happen.
struct ScreenshotWatcherTest : ::testing::Test {
    Log log;
    VirtualClock clock;
    FakeNotificationCenter center{&log};
    FakeFileSystem fs;
    FakeLocationSetting setting;
    FakeDirectoryMonitor monitor;
    FakeCaptureFiles files{&log};
    FakeBackgroundQueue background;
    FakeRecognizer recognizer{files, background};
    FakeCaptureJournal journal;
    std::unique_ptr<ScreenshotWatcher> watcher;

    void SetUp() override {
        setting.set(shots + "\n");
        fs.directories.insert(shots);
        monitor.directory = shots;
    }
    ScreenshotWatcher& make() {
        watcher = std::make_unique<ScreenshotWatcher>(ScreenshotWatcher::Environment{
            clock, center, fs, setting, monitor, files, background, recognizer, journal,
            [] { return std::chrono::system_clock::time_point(std::chrono::seconds(1714552212)); }});
        return *watcher;
    }
    void start() {
        make().start();
        while (background.runOne()) clock.runPending();
    }
    void add(const std::string& name, const std::string& content = "",
             FileLook::Writers writers = FileLook::Writers::none) {
        files.entries[shots + "/" + name] = {FileLook::Kind::regular, content.empty() ? "bytes of " + name : content, 1,
                                             writers};
        monitor.names.push_back(name);
    }
    void remove(const std::string& name) {
        files.entries.erase(shots + "/" + name);
        monitor.names.erase(std::find(monitor.names.begin(), monitor.names.end(), name));
    }
    // Runs main-queue blocks, background jobs and recognitions as time passes.
    void settle(double seconds = 10.0) {
        for (double t = 0; t < seconds; t += 0.05) {
            clock.advance(0.05);
            while (background.runOne()) clock.runPending();
        }
    }
    void change() {
        monitor.fire();
        settle();
    }
    std::vector<std::string> announced() const { return center.postedObjects(captured); }
    std::vector<nlohmann::json> records() const {
        std::vector<nlohmann::json> out;
        for (const auto& [path, text] : files.stagedWith("json")) out.push_back(nlohmann::json::parse(text));
        return out;
    }
};

TEST_F(ScreenshotWatcherTest, DetectsTheSettingsPathWhenItExistsElseTheDesktop) {
    fs.directories.insert("/home/ada/Shots");
    const auto detected = [&](std::optional<std::string> output) {
        setting.output.reset();
        if (output) setting.set(*output);
        return make().detectScreenshotDirectory();
    };
    EXPECT_EQ(detected("/home/ada/Shots\n"), "/home/ada/Shots");
    EXPECT_EQ(detected("\xC2\xA0 /home/ada/Shots\t\xE2\x80\xA8"), "/home/ada/Shots");  // Unicode spaces trimmed
    EXPECT_EQ(detected("~/Shots"), desktop) << "a tilde is not expanded";
    EXPECT_EQ(detected(std::nullopt), desktop);
    EXPECT_EQ(detected(" \n"), desktop);
    EXPECT_EQ(detected("/home/ada/Gone"), desktop);
    EXPECT_EQ(detected("/home/ada/Shots\xff"), desktop) << "not UTF-8";
}

TEST_F(ScreenshotWatcherTest, AMissingFolderIsWaitedForAndAFailedWatchSaysWhy) {
    // Neither the setting's folder nor the Desktop: the setting's is the one a tool will make.
    fs.directories.clear();
    monitor.present = false;
    start();
    EXPECT_FALSE(watcher->isActive);
    EXPECT_EQ(monitor.watched, (std::vector<std::string>{shots}));
    EXPECT_EQ(watcher->summary(), "off, waiting for ~/Pictures/Screenshots to exist");
    // A Desktop there is watched instead, as always; without a setting, the Desktop is waited for.
    fs.directories.insert(desktop);
    start();
    EXPECT_EQ(monitor.watched.back(), desktop);
    fs.directories.clear();
    setting.output.reset();
    start();
    EXPECT_EQ(watcher->inactiveReason.get(), "waiting for ~/Desktop to exist");

    setting.set(shots);
    monitor.refuseWatch = true;
    start();
    EXPECT_FALSE(watcher->isActive);
    EXPECT_EQ(watcher->summary(), "off, cannot watch " + shots + ": Permission denied");
}

// What a folder holds when it comes (back) was not seen arriving: only later arrivals are new.
TEST_F(ScreenshotWatcherTest, AFolderThatComesOrComesBackIsWatchedWithWhatItHoldsTakenAsOld) {
    monitor.present = false;
    start();
    add("Screenshot made with the folder.png");
    monitor.present = true;
    monitor.fire(DirectoryEvent::back);
    clock.runPending();
    EXPECT_EQ(watcher->summary(), "on, watching ~/Pictures/Screenshots");
    add("Screenshot 1.png");
    change();

    monitor.present = false;
    monitor.fire(DirectoryEvent::gone);
    clock.runPending();
    EXPECT_FALSE(watcher->isActive);
    EXPECT_EQ(watcher->inactiveReason.get(), "waiting for ~/Pictures/Screenshots to exist again");
    EXPECT_EQ(monitor.sleeps, (std::vector<double>{0.5})) << "going and coming back are told at once";
    // Back as another folder, with a capture of the same name as one handed on before.
    monitor.names.clear();
    add("Screenshot moved in.png");
    add("Screenshot 1.png");
    monitor.present = true;
    monitor.fire(DirectoryEvent::back);
    clock.runPending();
    EXPECT_TRUE(watcher->isActive);
    EXPECT_EQ(watcher->inactiveReason.get(), "");
    remove("Screenshot 1.png");
    add("Screenshot 2.png");
    change();
    EXPECT_EQ(announced(), (std::vector<std::string>{"Screenshot 1.png", "Screenshot 2.png"}));
}

// Files there at start are never handed on (the screenshots integration test shows it), unless
// the first listing failed: with nothing known, the first check takes everything.
TEST_F(ScreenshotWatcherTest, AfterAFailedFirstListingTheFirstCheckTakesEverything) {
    add("Screenshot old.png");
    monitor.failListing = true;
    start();
    monitor.failListing = false;
    change();
    EXPECT_EQ(announced(), (std::vector<std::string>{"Screenshot old.png"}));
}

TEST_F(ScreenshotWatcherTest, FolderFoundInTheBackgroundEachChangeSleepsOnTheWatchThreadThenChecksOnTheMainQueue) {
    make().start();
    EXPECT_TRUE(monitor.watched.empty()) << "the setting may take a subprocess: read in the background";
    background.runOne();
    EXPECT_TRUE(monitor.watched.empty()) << "the watch itself begins on the main queue";
    clock.runPending();
    EXPECT_TRUE(watcher->isActive);
    add("Screenshot 1.png");
    const int listings = monitor.listings;
    monitor.fire();
    EXPECT_EQ(monitor.sleeps, (std::vector<double>{0.5}));
    EXPECT_EQ(monitor.listings, listings) << "the listing waits for the main queue";
    clock.runPending();
    EXPECT_EQ(monitor.listings, listings + 1);

    // A check queued for a watcher that is gone does nothing.
    monitor.fire();
    watcher.reset();
    clock.runPending();
    EXPECT_EQ(monitor.listings, listings + 1);
}

TEST_F(ScreenshotWatcherTest, KnownFilesFollowTheLatestSuccessfulListing) {
    start();
    add("Screenshot 1.png");
    change();
    // Gone at one check and back at the next: new again.
    remove("Screenshot 1.png");
    change();
    add("Screenshot 1.png");
    change();
    // Gone and back with no check in between: the same file as far as anyone can tell.
    remove("Screenshot 1.png");
    add("Screenshot 1.png");
    change();
    // A failed listing changes nothing, so nothing is handed on twice after it.
    monitor.failListing = true;
    change();
    monitor.failListing = false;
    change();
    EXPECT_EQ(announced(), (std::vector<std::string>{"Screenshot 1.png", "Screenshot 1.png"}));
}

TEST_F(ScreenshotWatcherTest, CanonicallyEquivalentSpellingsAreOneName) {
    add("Bildschirmfoto \xC3\xA4.png");  // composed ä
    start();
    remove("Bildschirmfoto \xC3\xA4.png");
    add("Bildschirmfoto a\xCC\x88.png");  // a + combining diaeresis
    change();
    EXPECT_TRUE(announced().empty());
    // Names that are not UTF-8 keep their bytes apart.
    add("Screenshot \xff.png");
    add("Screenshot \xfe.png");
    change();
    EXPECT_EQ(announced().size(), 2u);
}

TEST_F(ScreenshotWatcherTest, WithoutKnownWritersAFileMustStayUnchangedForAnInterval) {
    start();
    add("Screenshot 1.png", "part", FileLook::Writers::unknown);
    monitor.fire();
    clock.runPending();
    auto& entry = files.entries[shots + "/Screenshot 1.png"];
    entry.content = "part and more";
    entry.modified = 2;
    clock.advance(0.25);
    EXPECT_EQ(files.copyCount, 0) << "it changed since the first look";
    settle();
    EXPECT_EQ(files.stagedWith("data").begin()->second, "part and more");
}

TEST_F(ScreenshotWatcherTest, FifosDevicesAndVanishedFilesAreSkippedWithoutReading) {
    start();
    monitor.names = {"Screenshot fifo.png", "Screenshot gone.png", "Screenshot dir.png"};
    files.entries[shots + "/Screenshot fifo.png"] = {FileLook::Kind::other, ""};
    files.entries[shots + "/Screenshot dir.png"] = {FileLook::Kind::other, ""};
    change();
    EXPECT_EQ(files.copyCount, 0);
    EXPECT_EQ(files.looks, 3) << "each looked at once, not polled";
    EXPECT_TRUE(announced().empty());
    EXPECT_TRUE(files.staged.empty());
}

TEST_F(ScreenshotWatcherTest, AnImageIsStagedWithItsTextBeforeItIsAnnounced) {
    start();
    add("Screenshot 2026-11-22 at 10.00.00.png", "PNG bytes");
    // The best reading of each line, one line feed apart; a line without any reading adds nothing.
    recognizer.answers["PNG bytes"] = std::vector<TextObservation>{{}, {{"Hello", "Hallo"}}, {{}}, {{"World"}}, {}};
    change();
    EXPECT_EQ(log, (Log{"move data", "write json", "post " + captured}));
    EXPECT_EQ(announced(), (std::vector<std::string>{"Screenshot 2026-11-22 at 10.00.00.png"}));
    EXPECT_EQ(records().at(0)["ocrText"], "Hello\nWorld");
    EXPECT_EQ(records().at(0)["timestamp"], "2024-05-01T08:30:12Z");
    EXPECT_EQ(files.stagedWith("data").begin()->second, "PNG bytes");
    EXPECT_TRUE(files.copies.empty());
}

TEST_F(ScreenshotWatcherTest, FailuresAfterTheNameTestHaveTheirOwnOutcomes) {
    start();
    // Unreadable by the time it is copied: nothing staged, nothing announced.
    add("Screenshot 2.png");
    monitor.fire();
    clock.runPending();
    files.entries.erase(shots + "/Screenshot 2.png");
    settle();
    EXPECT_TRUE(announced().empty());
}

// A full staging folder, at the copy or at the record: nothing half-staged, nothing announced,
// and the capture is tried again, less and less often, until there is room.
TEST_F(ScreenshotWatcherTest, ACaptureThatCannotBeStagedIsHeldBackUntilThereIsRoomThenAnnouncedOnce) {
    start();
    files.failCopy = true;
    add("Screenshot full.png");
    change();
    EXPECT_TRUE(announced().empty());
    EXPECT_TRUE(files.staged.empty() && files.copies.empty());
    settle(60);
    EXPECT_LE(files.copyAttempts, 8) << "backs off";
    EXPECT_GE(files.copyAttempts, 5) << "keeps trying";

    files.failCopy = false;
    files.failWrite = true;
    settle(20);
    EXPECT_TRUE(files.staged.empty());
    EXPECT_EQ(files.copies.size(), 1u) << "the copy waits for the next try";
    EXPECT_TRUE(announced().empty());

    files.failWrite = false;
    settle(20);
    EXPECT_EQ(announced(), (std::vector<std::string>{"Screenshot full.png"}));
    EXPECT_EQ(records().size(), 1u);
    EXPECT_EQ(files.stagedWith("data").size(), 1u);
    EXPECT_TRUE(files.copies.empty());
    EXPECT_EQ(journal.text, "[]");
}

// The helper stops with one capture copied and being read, and two it could not copy yet; at the
// next start the copied one is read from its kept copy, the unchanged one is copied again, and
// the one that changed since is dropped.
TEST_F(ScreenshotWatcherTest, CapturesLeftUnstagedAtExitAreFinishedAtTheNextStart) {
    start();
    add("Screenshot read.png", "read");
    recognizer.answers["read"] = std::vector<TextObservation>{{{"Read"}}};
    monitor.fire();
    clock.runPending();
    background.runOne();  // the copy
    clock.runPending();
    background.jobs.clear();  // recognition, which never answers
    files.failCopy = true;
    add("Screenshot same.png", "same");
    add("Screenshot changed.png", "changed");
    change();
    ASSERT_EQ(files.copies.size(), 1u);
    watcher.reset();
    ASSERT_TRUE(announced().empty());

    files.failCopy = false;
    auto& changed = files.entries[shots + "/Screenshot changed.png"];
    changed.content = "changed again";
    changed.modified = 2;
    start();
    settle();
    auto names = announced();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"Screenshot read.png", "Screenshot same.png"}));
    EXPECT_EQ(files.copyCount, 2) << "the kept copy is not made again";
    const auto texts = records();
    EXPECT_TRUE(std::any_of(texts.begin(), texts.end(), [](const auto& r) { return r["ocrText"] == "Read"; }));
    EXPECT_TRUE(files.copies.empty());
    EXPECT_EQ(journal.text, "[]");

    // Nothing is staged twice after another start.
    start();
    settle();
    EXPECT_EQ(announced().size(), 2u);
}

// A journal entry that cannot be read is left out (and said) without losing the others; an
// identifier that would lead out of the staging folder is such an entry.
TEST_F(ScreenshotWatcherTest, AJournalEntryThatCannotBeReadCostsOnlyItself) {
    const std::string staging = GroupContainer("/home/ada").stagingPath();
    files.copies[staging + "/.G.pending"] = "video";
    files.copies[staging + "/.../../evil.pending"] = "elsewhere";  // where that name leads
    const std::string fields = R"("source":"/x","isVideo":true,"device":0,"inode":0,"size":5,"modified":1)";
    journal.text = R"([42,{"identifier":"../../evil","filename":"Screenshot evil.mov",)" + fields +
                   R"(},{"identifier":"G","filename":"Screenshot g.mov",)" + fields + "}]";
    start();
    settle();
    EXPECT_EQ(announced(), (std::vector<std::string>{"Screenshot g.mov"}));
    EXPECT_EQ(files.staged.at(staging + "/G.data"), "video");
    EXPECT_EQ(journal.text, "[]");
}

}  // namespace
}  // namespace velko::test
