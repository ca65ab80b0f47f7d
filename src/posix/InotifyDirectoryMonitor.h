#pragma once
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/DirectoryMonitor.h"

namespace velko {

// inotify on a thread of its own per watched path. The thread waits for events, drains everything
// queued, runs the handler, and repeats: whatever arrived while the handler ran is one further run.
// A directory that goes (deleted, moved, replaced, a parent moved) is waited for by watching its
// nearest existing parent for the next step of the path: no polling, and a folder made again is
// watched within a few milliseconds, before a screenshot tool that made it has written much into it.
class InotifyDirectoryMonitor : public DirectoryMonitor {
public:
    InotifyDirectoryMonitor();
    // Wakes every watch thread (and any handler asleep in sleep()) and waits for them to end.
    ~InotifyDirectoryMonitor() override;

    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) override;
    Result<WatchStart> watch(const std::string& path, std::function<void(DirectoryEvent)> handler) override;
    void sleep(double seconds) override;

private:
    class Watch;
    void shutdown();

    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    int stopEvent_ = -1;  // an eventfd that becomes readable at shutdown
    std::vector<std::unique_ptr<Watch>> watches_;
};

}  // namespace velko
