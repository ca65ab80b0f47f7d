#include "Core/ScreenshotWatcher.h"

#include "Core/HelperServices.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdio>

#include "Core/HelperConstants.h"
#include "Core/HelperIPCManager.h"
#include "Core/ScreenshotDirectory.h"

namespace velko {
namespace {

bool isValidUtf8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < length;) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) return false;
    }
    return true;
}

// Canonically equivalent spellings share a key. A name that is not UTF-8 keeps its bytes: decoding
// it would let two different names collide, and the second would never be picked up.
std::string nameKey(const std::string& name) {
    if (!isValidUtf8(name)) return name;
    UErrorCode status = U_ZERO_ERROR;
    const auto* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) return name;
    const auto composed = nfc->normalize(icu::UnicodeString::fromUTF8(name), status);
    if (U_FAILURE(status)) return name;
    std::string key;
    return composed.toUTF8String(key);
}

std::string lowerCased(const std::string& name) {
    std::string lower;
    // The root locale: the same mapping whatever the user's language.
    return icu::UnicodeString::fromUTF8(name).toLower(icu::Locale::getRoot()).toUTF8String(lower);
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

std::string joinPath(const std::string& directory, const std::string& name) {
    return !directory.empty() && directory.back() == '/' ? directory + name : directory + "/" + name;
}

}  // namespace

ScreenshotWatcher::ScreenshotWatcher(Environment environment)
    : env_(environment), staging_(env_.files, env_.wallClock) {}

ScreenshotWatcher::~ScreenshotWatcher() = default;

ScreenshotWatcher& ScreenshotWatcher::shared() { return *HelperServices::current().screenshots; }

std::string ScreenshotWatcher::detectScreenshotDirectory() {
    return ScreenshotDirectory::detect(env_.fileSystem, env_.locationSetting);
}

void ScreenshotWatcher::start() {
    if (started_) return;
    started_ = true;
    // Off the main loop, which goes on answering the link while the setting is read.
    env_.background.async([fileSystem = &env_.fileSystem, setting = &env_.locationSetting, queue = &env_.mainQueue,
                           weakSelf = std::weak_ptr(self_)] {
        std::string directory = ScreenshotDirectory::toWatch(*fileSystem, *setting);
        queue->async([weakSelf, directory = std::move(directory)] {
            if (const auto self = weakSelf.lock()) (*self)->watch(directory);
        });
    });
}

void ScreenshotWatcher::watch(const std::string& directory) {
    watchedDirectory = directory;
    // Whatever is there now was taken before the helper ran and is never handed on.
    rememberContents(directory);

    std::weak_ptr<ScreenshotWatcher*> weakSelf = self_;
    const auto started = env_.monitor.watch(
        directory, [monitor = &env_.monitor, queue = &env_.mainQueue, weakSelf](DirectoryEvent event) {
            // A burst of new entries settles first; the folder going or coming back is told at once.
            if (event == DirectoryEvent::entriesChanged) monitor->sleep(changeDelay);
            queue->async([weakSelf, event] {
                if (const auto self = weakSelf.lock()) (*self)->directoryChanged(event);
            });
        });
    if (!started) {
        inactiveReason = started.error();
        std::fprintf(stderr, "velko-helper: %s; screenshots are not picked up\n", started.error().c_str());
        return;
    }
    if (*started == WatchStart::waiting) {
        inactiveReason = "waiting for " + shown(directory) + " to exist";
        std::fprintf(stderr, "velko-helper: no screenshot directory yet (%s does not exist); waiting for it\n",
                     directory.c_str());
        return;
    }
    isActive = true;
    watchedBefore_ = true;
    std::fprintf(stderr, "velko-helper: watching %s for screenshots\n", directory.c_str());
}

void ScreenshotWatcher::directoryChanged(DirectoryEvent event) {
    const std::string directory = watchedDirectory.get().value_or("");
    switch (event) {
        case DirectoryEvent::entriesChanged:
            checkForNewScreenshots();
            return;
        case DirectoryEvent::gone:
            if (!isActive) return;
            isActive = false;
            inactiveReason = "waiting for " + shown(directory) + " to exist again";
            std::fprintf(stderr, "velko-helper: %s was deleted or moved away; waiting for it to exist again\n",
                         directory.c_str());
            return;
        case DirectoryEvent::back:
            if (isActive) return;
            // What it holds when it comes back was not seen arriving: taken as already there.
            knownFiles_.clear();
            rememberContents(directory);
            isActive = true;
            inactiveReason = "";
            std::fprintf(stderr, "velko-helper: watching %s for screenshots%s\n", directory.c_str(),
                         watchedBefore_ ? " again" : "");
            watchedBefore_ = true;
            return;
    }
}

void ScreenshotWatcher::rememberContents(const std::string& directory) {
    if (const auto names = env_.monitor.contentsOfDirectory(directory))
        for (const auto& name : *names) knownFiles_.insert(nameKey(name));
}

std::string ScreenshotWatcher::shown(const std::string& path) const {
    return ScreenshotDirectory::shown(path, env_.fileSystem.homeDirectory());
}

std::string ScreenshotWatcher::summary() const {
    if (isActive) return "on, watching " + shown(watchedDirectory.get().value_or(""));
    return inactiveReason.get().empty() ? "off" : "off, " + inactiveReason.get();
}

ScreenshotWatcher::NameKind ScreenshotWatcher::classifyName(const std::string& name) {
    const std::string lower = lowerCased(name);
    const bool screenshotLike = std::any_of(screenshotNamePatterns.begin(), screenshotNamePatterns.end(),
                                            [&](std::string_view p) { return lower.find(p) != std::string::npos; });
    if (!screenshotLike) return NameKind::rejected;
    if (endsWith(lower, ".png")) return NameKind::image;
    if (endsWith(lower, ".mov")) return NameKind::video;
    return NameKind::rejected;
}

std::string ScreenshotWatcher::joinRecognizedLines(const std::vector<TextObservation>& observations) {
    std::string text;
    bool first = true;
    for (const auto& observation : observations) {
        if (observation.candidates.empty()) continue;
        if (!first) text += '\n';
        text += observation.candidates.front();
        first = false;
    }
    return text;
}

void ScreenshotWatcher::checkForNewScreenshots() {
    if (!isActive || !watchedDirectory.get()) return;
    const std::string directory = *watchedDirectory.get();
    const auto names = env_.monitor.contentsOfDirectory(directory);
    if (!names) return;  // the next change tries again; knownFiles stays, so nothing doubles

    std::set<std::string> listed;
    std::vector<std::string> arrived;
    for (const auto& name : *names) {
        auto key = nameKey(name);
        if (!knownFiles_.count(key)) arrived.push_back(name);
        listed.insert(std::move(key));
    }
    // Replaced, not extended: a name that left and comes back is new again.
    knownFiles_ = std::move(listed);

    for (const auto& name : arrived) {
        const auto kind = classifyName(name);
        if (kind == NameKind::rejected) continue;
        processScreenshot(joinPath(directory, name), name, kind == NameKind::video);
    }
}

void ScreenshotWatcher::processScreenshot(const std::string& path, const std::string& filename, bool isVideo) {
    // Already waiting for this file to be complete: that wait picks up the new state.
    if (!pending_.emplace(path, PendingFile{filename, isVideo, std::nullopt, 0}).second) return;
    lookAgain(path);
}

void ScreenshotWatcher::lookAgain(const std::string& path) {
    const auto it = pending_.find(path);
    if (it == pending_.end()) return;
    PendingFile& file = it->second;
    const FileLook look = env_.files.look(path);

    if (look.kind != FileLook::Kind::regular) {
        std::fprintf(
            stderr, "velko-helper: skipped \"%s\": %s\n", file.filename.c_str(),
            look.kind == FileLook::Kind::missing ? "it went away before it was complete" : "not a regular file");
        pending_.erase(it);
        return;
    }
    // Without a way to see writers, an unchanged file across one interval counts as complete.
    const bool complete = look.writers == FileLook::Writers::none ||
                          (look.writers == FileLook::Writers::unknown && file.lastLook && *file.lastLook == look);
    if (complete) {
        const PendingFile done = std::move(file);
        pending_.erase(it);
        copyAndRecognize(path, done.filename, done.isVideo, look.size);
        return;
    }
    file.lastLook = look;
    const double interval =
        std::min(maxLookInterval, firstLookInterval * static_cast<double>(1 << std::min(file.looks, 8)));
    ++file.looks;
    std::weak_ptr<ScreenshotWatcher*> weakSelf = self_;
    env_.mainQueue.asyncAfter(interval, [weakSelf, path] {
        if (const auto self = weakSelf.lock()) (*self)->lookAgain(path);
    });
}

void ScreenshotWatcher::copyAndRecognize(const std::string& path, const std::string& filename, bool isVideo,
                                         std::uint64_t size) {
    std::weak_ptr<ScreenshotWatcher*> weakSelf = self_;
    env_.background.async([fileSystem = &env_.fileSystem, files = &env_.files, recognizer = &env_.recognizer,
                           queue = &env_.mainQueue, weakSelf, path, filename, isVideo, size] {
        // Made again for each capture, off the main thread, in case the folder was removed.
        const std::string stagingDirectory = HelperConstants::screenshotStagingURL(*fileSystem);
        CopyResult result = files->copyInto(path, stagingDirectory);
        if (result.failure == CopyResult::Failure::source) {
            std::fprintf(stderr, "velko-helper: skipped \"%s\": %s\n", filename.c_str(), result.error.c_str());
            return;
        }
        if (result.failure == CopyResult::Failure::destination)
            std::fprintf(stderr, "velko-helper: could not copy \"%s\" into %s: %s\n", filename.c_str(),
                         stagingDirectory.c_str(), result.error.c_str());
        const FileCopy copy = result.copy.value_or(FileCopy{"", size});
        auto finish = [files, queue, weakSelf, stagingDirectory, filename, isVideo,
                       copy](std::optional<std::string> text) {
            queue->async([files, weakSelf, stagingDirectory, filename, isVideo, copy, text = std::move(text)] {
                if (const auto self = weakSelf.lock())
                    (*self)->handOver(stagingDirectory, filename, copy, text, isVideo);
                else if (!copy.path.empty())
                    files->discard(copy.path);
            });
        };
        if (isVideo || copy.path.empty()) {
            finish(std::nullopt);
            return;
        }
        recognizer->recognizeText(
            copy.path, filename, [finish](std::optional<std::vector<TextObservation>> observations) {
                finish(observations ? std::optional(joinRecognizedLines(*observations)) : std::nullopt);
            });
    });
}

void ScreenshotWatcher::handOver(const std::string& stagingDirectory, const std::string& filename, const FileCopy& data,
                                 const std::optional<std::string>& ocrText, bool isVideo) {
    const std::string identifier = staging_.stage(stagingDirectory, filename, data, ocrText, isVideo);
    env_.notifications.post(HelperConstants::Notification::screenshotCaptured, filename);
    std::fprintf(stderr, "velko-helper: staged \"%s\" as %s\n", filename.c_str(), identifier.c_str());
}

}  // namespace velko
