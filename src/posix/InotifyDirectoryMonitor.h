#pragma once
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/DirectoryMonitor.h"

namespace velko {

// inotify on a thread of its own per watched directory. The thread waits for entry changes,
// drains everything queued, runs the handler, and repeats: whatever arrived while the handler ran
// is one further run.
class InotifyDirectoryMonitor : public DirectoryMonitor {
public:
    InotifyDirectoryMonitor();
    // Wakes every watch thread (and any handler asleep in sleep()) and waits for them to end.
    ~InotifyDirectoryMonitor() override;

    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) override;
    bool watch(const std::string& path, std::function<void()> handler) override;
    void sleep(double seconds) override;

private:
    struct Watch;
    void shutdown();

    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    int stopEvent_ = -1;  // an eventfd that becomes readable at shutdown
    std::vector<std::unique_ptr<Watch>> watches_;
};

}  // namespace velko
