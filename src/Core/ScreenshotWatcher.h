#pragma once
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Core/PendingCaptures.h"
#include "Core/Published.h"
#include "Core/ScreenshotStaging.h"
#include "platform/CaptureFiles.h"
#include "platform/DirectoryMonitor.h"
#include "platform/TextRecognizer.h"

namespace velko {

class BackgroundQueue;
class FileSystem;
class MainQueue;
class NotificationCenter;
class ScreenshotLocationSetting;

// Watches the screenshot directory and hands every newly arrived screenshot, once complete, to
// recognition and staging; the main application is told of each by name.
class ScreenshotWatcher {
public:
    struct Environment {
        MainQueue& mainQueue;
        NotificationCenter& notifications;
        FileSystem& fileSystem;
        ScreenshotLocationSetting& locationSetting;
        DirectoryMonitor& monitor;
        CaptureFiles& files;
        BackgroundQueue& background;
        TextRecognizer& recognizer;
        CaptureJournal& journal;
        ScreenshotStaging::WallClock wallClock = std::chrono::system_clock::now;
    };
    enum class NameKind { rejected, image, video };

    static constexpr std::array<std::string_view, 14> screenshotNamePatterns{
        "screenshot",  "capture",     "bildschirmfoto", "captura",  "schermafbeelding",
        "skarmavbild", "skjermbilde", "kuvakaappaus",   "snimek",   "zrzut",
        "istantanea",  "ekran",       "screen shot",    "cleanshot"};
    // Lets a burst of changes settle before the directory is listed.
    static constexpr double changeDelay = 0.5;
    // A file that may still be written is looked at again after this, doubling up to the maximum.
    static constexpr double firstLookInterval = 0.25;
    static constexpr double maxLookInterval = 2.0;
    // A capture that could not be copied or staged (a full disk) is tried again after this,
    // doubling up to the maximum, until it is.
    static constexpr double firstRetryInterval = 1.0;
    static constexpr double maxRetryInterval = 16.0;

    explicit ScreenshotWatcher(Environment environment);
    ~ScreenshotWatcher();
    static ScreenshotWatcher& shared();

    // Finds the directory once, on the background queue (the desktop's setting may take a
    // subprocess to read), then on the main queue finishes the captures an earlier run left
    // unstaged, remembers what is already there and starts watching. Once only. A directory that
    // is not there (yet, or any more) is waited for.
    void start();
    // The setting's path when it exists, else ~/Desktop (not checked).
    std::string detectScreenshotDirectory();
    // "on, watching ~/Pictures/Screenshots", "off, waiting for ~/Pictures/Screenshots to exist again".
    std::string summary() const;

    // By name only: a pattern anywhere in the lower-cased name, and ".png" or ".mov" at its end.
    static NameKind classifyName(const std::string& name);
    // The best reading of each observation, one line feed between them.
    static std::string joinRecognizedLines(const std::vector<TextObservation>& observations);

    Published<bool> isActive{false};
    // The directory watched, or waited for while it is not there.
    Published<std::optional<std::string>> watchedDirectory;
    // Why screenshots are not picked up now, as the person is shown it: "waiting for
    // ~/Pictures/Screenshots to exist again". Empty while they are, and before start.
    Published<std::string> inactiveReason;
    // The names of the latest successful listing, canonically composed.
    const std::set<std::string>& knownFiles() const { return knownFiles_; }

private:
    void watch(const std::string& directory);
    void directoryChanged(DirectoryEvent event);
    void rememberContents(const std::string& directory);
    // With the home directory written as "~", as people read it.
    std::string shown(const std::string& path) const;

    struct PendingFile {
        std::string filename;
        bool isVideo = false;
        std::optional<FileLook> lastLook;
        int looks = 0;
    };

    // From the moment it is found complete until its pair is staged and announced.
    struct Capture {
        PendingCapture entry;
        bool copied = false;
        std::uint64_t size = 0;
        bool recognized = false;
        std::optional<std::string> text;
        double retryInterval = 0;
        bool failureSaid = false;
    };

    void checkForNewScreenshots();
    void processScreenshot(const std::string& path, const std::string& filename, bool isVideo);
    void lookAgain(const std::string& path);
    void resume();
    void begin(PendingCapture entry);
    void copy(const std::string& identifier);
    void copied(const std::string& identifier, const CopyResult& result);
    void recognize(const std::string& identifier);
    void stage(const std::string& identifier);
    void holdBack(const std::string& identifier, const std::string& failure);
    void retry(const std::string& identifier);
    void finish(const std::string& identifier);
    std::string stagingDirectory() const;
    std::string keptCopyPath(const std::string& identifier) const;

    Environment env_;
    ScreenshotStaging staging_;
    bool started_ = false;
    bool watchedBefore_ = false;
    std::set<std::string> knownFiles_;
    // Files handed on but not yet complete, by path.
    std::map<std::string, PendingFile> pending_;
    // Captures being copied, recognised or staged, by identifier; each is in the journal too.
    std::map<std::string, Capture> captures_;
    PendingCaptures journal_;
    // Lets queued work and the watch thread's blocks find out that the watcher is gone.
    std::shared_ptr<ScreenshotWatcher*> self_ = std::make_shared<ScreenshotWatcher*>(this);
};

}  // namespace velko
