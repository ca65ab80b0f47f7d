#include "Core/ScreenshotWatcher.h"
#include "platform/Log.h"

#include "Core/HelperServices.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdio>

#include "Core/GroupContainer.h"
#include "Core/HelperConstants.h"
#include "Core/HelperIPCManager.h"
#include "Core/ScreenshotDirectory.h"
#include "Core/UUIDGenerator.h"

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

// Hidden, and not named like the temporary files that the first copy of a run sweeps away.
std::string keptCopyName(const std::string& identifier) { return "." + identifier + ".pending"; }

std::string joinPath(const std::string& directory, const std::string& name) {
    return !directory.empty() && directory.back() == '/' ? directory + name : directory + "/" + name;
}

}  // namespace

ScreenshotWatcher::ScreenshotWatcher(Environment environment)
    : env_(environment), staging_(env_.files, env_.wallClock), journal_(env_.journal) {}

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
    // Their copies are in the staging folder, so they are finished even without a screenshot folder.
    resume();
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
        log::warning("%s; screenshots are not picked up", started.error().c_str());
        return;
    }
    if (*started == WatchStart::waiting) {
        inactiveReason = "waiting for " + shown(directory) + " to exist";
        log::info("no screenshot directory yet (%s does not exist); waiting for it", directory.c_str());
        return;
    }
    isActive = true;
    watchedBefore_ = true;
    log::info("watching %s for screenshots", directory.c_str());
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
            log::warning("%s was deleted or moved away; waiting for it to exist again", directory.c_str());
            return;
        case DirectoryEvent::back:
            if (isActive) return;
            // What it holds when it comes back was not seen arriving: taken as already there.
            knownFiles_.clear();
            rememberContents(directory);
            isActive = true;
            inactiveReason = "";
            log::info("watching %s for screenshots%s", directory.c_str(), watchedBefore_ ? " again" : "");
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
        const char* reason = look.kind == FileLook::Kind::missing   ? "it went away before it was complete"
                             : look.kind == FileLook::Kind::symlink ? "a symbolic link, not followed"
                                                                    : "not a regular file";
        log::warning("skipped \"%s\": %s", file.filename.c_str(), reason);
        pending_.erase(it);
        return;
    }
    // Without a way to see writers, an unchanged file across one interval counts as complete.
    const bool complete = look.writers == FileLook::Writers::none ||
                          (look.writers == FileLook::Writers::unknown && file.lastLook && *file.lastLook == look);
    if (complete) {
        PendingCapture entry{UUIDGenerator::random(), path, file.filename, file.isVideo, look};
        pending_.erase(it);
        begin(std::move(entry));
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

std::string ScreenshotWatcher::stagingDirectory() const {
    return GroupContainer(env_.fileSystem.homeDirectory()).stagingPath();
}

std::string ScreenshotWatcher::keptCopyPath(const std::string& identifier) const {
    return stagingDirectory() + "/" + keptCopyName(identifier);
}

void ScreenshotWatcher::resume() {
    for (const auto& entry : journal_.load()) {
        const char* name = entry.filename.c_str();
        Capture capture;
        capture.entry = entry;
        if (env_.files.look(stagingDirectory() + "/" + entry.identifier + ".json").kind == FileLook::Kind::regular) {
            log::info("\"%s\" was already staged as %s", name, entry.identifier.c_str());
            journal_.remove(entry.identifier);
            continue;
        }
        if (const FileLook kept = env_.files.look(keptCopyPath(entry.identifier));
            kept.kind == FileLook::Kind::regular) {
            capture.copied = true;
            capture.size = kept.size;
        } else if (!PendingCapture::sameFile(env_.files.look(entry.source), entry.seen)) {
            log::warning(
                "dropped \"%s\", left unstaged by the last run: its copy is gone and the file "
                "is gone or changed",
                name);
            journal_.remove(entry.identifier);
            continue;
        }
        log::info("staging \"%s\", left unstaged by the last run", name);
        const std::string identifier = entry.identifier;
        captures_.emplace(identifier, std::move(capture));
        retry(identifier);
    }
}

void ScreenshotWatcher::begin(PendingCapture entry) {
    const std::string identifier = entry.identifier;
    // Noted before anything is read, so that a capture is never lost between two runs.
    journal_.add(entry);
    captures_[identifier].entry = std::move(entry);
    copy(identifier);
}

void ScreenshotWatcher::copy(const std::string& identifier) {
    // The copy is kept under its own name: should the helper stop before it is staged, the next
    // run finds it there.
    env_.background.async([fileSystem = &env_.fileSystem, files = &env_.files, queue = &env_.mainQueue,
                           weakSelf = std::weak_ptr(self_), identifier,
                           source = captures_.at(identifier).entry.source] {
        // Made again for each capture, off the main thread, in case the folder was removed.
        const std::string directory = HelperConstants::screenshotStagingURL(*fileSystem);
        CopyResult result = files->copyInto(source, directory + "/" + keptCopyName(identifier));
        queue->async([weakSelf, identifier, result = std::move(result)] {
            if (const auto self = weakSelf.lock()) (*self)->copied(identifier, result);
        });
    });
}

void ScreenshotWatcher::copied(const std::string& identifier, const CopyResult& result) {
    const auto it = captures_.find(identifier);
    if (it == captures_.end()) return;
    Capture& capture = it->second;
    if (result.failure == CopyResult::Failure::source) {
        log::warning("skipped \"%s\": %s", capture.entry.filename.c_str(), result.error.c_str());
        finish(identifier);
        return;
    }
    if (result.failure == CopyResult::Failure::destination) {
        holdBack(identifier, "cannot copy it into " + stagingDirectory() + ": " + result.error);
        return;
    }
    capture.copied = true;
    capture.size = result.copy->size;
    recognize(identifier);
}

void ScreenshotWatcher::recognize(const std::string& identifier) {
    Capture& capture = captures_.at(identifier);
    if (capture.entry.isVideo || capture.recognized) {
        stage(identifier);
        return;
    }
    env_.background.async([recognizer = &env_.recognizer, queue = &env_.mainQueue, weakSelf = std::weak_ptr(self_),
                           identifier, path = keptCopyPath(identifier), filename = capture.entry.filename] {
        recognizer->recognizeText(path, filename, [queue, weakSelf, identifier](auto observations) {
            auto text = observations ? std::optional(joinRecognizedLines(*observations)) : std::nullopt;
            queue->async([weakSelf, identifier, text = std::move(text)] {
                const auto self = weakSelf.lock();
                if (!self) return;
                const auto it = (*self)->captures_.find(identifier);
                if (it == (*self)->captures_.end()) return;
                it->second.recognized = true;
                it->second.text = text;
                (*self)->stage(identifier);
            });
        });
    });
}

void ScreenshotWatcher::stage(const std::string& identifier) {
    const Capture& capture = captures_.at(identifier);
    const std::string directory = stagingDirectory();
    const auto staged =
        staging_.stage(directory, identifier, capture.entry.filename, FileCopy{keptCopyPath(identifier), capture.size},
                       capture.text, capture.entry.isVideo);
    if (!staged) {
        holdBack(identifier, "cannot stage it in " + directory + ": " + staged.error());
        return;
    }
    // Announced only now, when both files are whole in place.
    env_.notifications.post(HelperConstants::Notification::screenshotCaptured, capture.entry.filename);
    log::info("staged \"%s\" as %s", capture.entry.filename.c_str(), identifier.c_str());
    finish(identifier);
}

void ScreenshotWatcher::holdBack(const std::string& identifier, const std::string& failure) {
    Capture& capture = captures_.at(identifier);
    // Once per capture: a full disk would otherwise fill the log at every try.
    if (!capture.failureSaid)
        log::warning("\"%s\" is not staged yet: %s; trying again until it works", capture.entry.filename.c_str(),
                     failure.c_str());
    capture.failureSaid = true;
    capture.retryInterval =
        capture.retryInterval == 0 ? firstRetryInterval : std::min(maxRetryInterval, capture.retryInterval * 2);
    env_.mainQueue.asyncAfter(capture.retryInterval, [weakSelf = std::weak_ptr(self_), identifier] {
        if (const auto self = weakSelf.lock()) (*self)->retry(identifier);
    });
}

void ScreenshotWatcher::retry(const std::string& identifier) {
    const auto it = captures_.find(identifier);
    if (it == captures_.end()) return;
    Capture& capture = it->second;
    // The staging folder may have been removed, copy and all.
    if (capture.copied && env_.files.look(keptCopyPath(identifier)).kind != FileLook::Kind::regular)
        capture.copied = false;
    if (capture.copied)
        recognize(identifier);
    else
        copy(identifier);
}

void ScreenshotWatcher::finish(const std::string& identifier) {
    captures_.erase(identifier);
    journal_.remove(identifier);
}

}  // namespace velko
