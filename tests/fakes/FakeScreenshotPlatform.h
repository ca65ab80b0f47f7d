#pragma once
// In-memory directory, files, background thread and recogniser for the screenshot services.
#include <cerrno>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fakes/FakePlatform.h"
#include "platform/BackgroundQueue.h"
#include "platform/CaptureFiles.h"
#include "platform/CaptureJournal.h"
#include "platform/DirectoryMonitor.h"
#include "platform/ScreenshotLocationSetting.h"
#include "platform/TextRecognizer.h"

namespace velko::test {

class FakeLocationSetting : public ScreenshotLocationSetting {
public:
    std::optional<Bytes> configuredLocation() override { return output; }
    void set(const std::string& text) { output = Bytes(text.begin(), text.end()); }
    std::optional<Bytes> output;
};

// One directory's entries; a change is announced by calling fire() as the watch thread would.
class FakeDirectoryMonitor : public DirectoryMonitor {
public:
    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) override {
        ++listings;
        if (failListing || !present || path != directory) return std::nullopt;
        return names;
    }
    Result<WatchStart> watch(const std::string& path, std::function<void(DirectoryEvent)> h) override {
        if (refuseWatch) return Failure{"cannot watch " + path + ": Permission denied", 13};
        watched.push_back(path);
        handler = std::move(h);
        return present && path == directory ? WatchStart::watching : WatchStart::waiting;
    }
    void sleep(double seconds) override { sleeps.push_back(seconds); }
    std::vector<std::string> watched;
    void fire(DirectoryEvent event = DirectoryEvent::entriesChanged) {
        if (handler) handler(event);
    }

    std::string directory;
    std::vector<std::string> names;
    bool present = true;  // whether the directory is there
    bool failListing = false;
    bool refuseWatch = false;
    int listings = 0;
    std::vector<double> sleeps;
    std::function<void(DirectoryEvent)> handler;
};

class FakeCaptureFiles : public CaptureFiles {
public:
    struct Entry {
        FileLook::Kind kind = FileLook::Kind::regular;
        std::string content;
        std::int64_t modified = 1;
        FileLook::Writers writers = FileLook::Writers::none;
    };
    explicit FakeCaptureFiles(Log* log = nullptr) : log_(log) {}

    // Copies and staged files look like regular files of their own.
    FileLook look(const std::string& path) override {
        ++looks;
        for (const auto* made : {&copies, &staged})
            if (const auto it = made->find(path); it != made->end())
                return FileLook{FileLook::Kind::regular, 1, 0, it->second.size(), 1, FileLook::Writers::none};
        const auto it = entries.find(path);
        if (it == entries.end()) return FileLook{FileLook::Kind::missing};
        const Entry& e = it->second;
        if (e.kind != FileLook::Kind::regular) return FileLook{e.kind};
        return FileLook{e.kind, 0, 0, e.content.size(), e.modified, e.writers};
    }
    CopyResult copyInto(const std::string& source, const std::string& destination) override {
        ++copyAttempts;
        const auto it = entries.find(source);
        if (it == entries.end() || it->second.kind != FileLook::Kind::regular)
            return {std::nullopt, {}, CopyResult::Failure::source, "cannot open"};
        if (failCopy) return {std::nullopt, {}, CopyResult::Failure::destination, "no space left"};
        ++copyCount;
        copies[destination] = it->second.content;
        return {FileCopy{destination, it->second.content.size()}, look(source), CopyResult::Failure::none, ""};
    }
    Result<void> moveInto(const std::string& copyPath, const std::string& destination) override {
        if (log_) log_->push_back("move " + extension(destination));
        auto& from = copies.count(copyPath) ? copies : staged;
        if (failMove || !from.count(copyPath) || staged.count(destination) || copies.count(destination))
            return Failure{"cannot rename", EEXIST};
        (extension(destination) == "data" ? staged : copies)[destination] = from[copyPath];
        from.erase(copyPath);
        return {};
    }
    Result<void> writeAtomically(const std::string& path, const std::string& contents) override {
        if (log_) log_->push_back("write " + extension(path));
        if (failWrite) return Failure{"no space left", ENOSPC};
        staged[path] = contents;
        return {};
    }
    void discard(const std::string& copyPath) override {
        copies.erase(copyPath);
        staged.erase(copyPath);
    }

    // The staged files with the given ending, by path.
    std::map<std::string, std::string> stagedWith(const std::string& ending) const {
        std::map<std::string, std::string> out;
        for (const auto& [path, content] : staged)
            if (extension(path) == ending) out[path] = content;
        return out;
    }

    std::map<std::string, Entry> entries;
    std::map<std::string, std::string> copies;  // temporary copies not yet staged
    std::map<std::string, std::string> staged;
    bool failCopy = false;
    bool failMove = false;
    bool failWrite = false;
    int looks = 0;
    int copyCount = 0;
    int copyAttempts = 0;

private:
    static std::string extension(const std::string& path) { return path.substr(path.rfind('.') + 1); }
    Log* log_;
};

// The journal's text in memory, shared by the watchers of two runs.
class FakeCaptureJournal : public CaptureJournal {
public:
    std::string load() override { return text; }
    bool save(const std::string& contents) override {
        text = contents;
        ++saves;
        return true;
    }
    std::string text;
    int saves = 0;
};

class FakeBackgroundQueue : public BackgroundQueue {
public:
    void async(std::function<void()> fn) override { jobs.push_back(std::move(fn)); }
    bool runOne() {
        if (jobs.empty()) return false;
        auto job = std::move(jobs.front());
        jobs.pop_front();
        job();
        return true;
    }
    std::deque<std::function<void()>> jobs;
};

// Answers from `answers`, keyed by the content of the copy it is asked to read, in a job on `queue`.
class FakeRecognizer : public TextRecognizer {
public:
    FakeRecognizer(FakeCaptureFiles& files, FakeBackgroundQueue& queue) : files_(files), queue_(queue) {}
    using TextRecognizer::recognizeText;
    void recognizeText(const std::string& imagePath, const std::string&, Completion done) override {
        const std::string content = files_.copies.count(imagePath) ? files_.copies[imagePath] : "";
        const auto it = answers.find(content);
        queue_.async([done, answer = it == answers.end() ? std::nullopt : it->second] { done(answer); });
    }
    std::map<std::string, std::optional<std::vector<TextObservation>>> answers;

private:
    FakeCaptureFiles& files_;
    FakeBackgroundQueue& queue_;
};

}  // namespace velko::test
