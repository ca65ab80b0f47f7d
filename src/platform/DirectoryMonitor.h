#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velko {

// Shallow directory listings and notifications of changed entries.
class DirectoryMonitor {
public:
    virtual ~DirectoryMonitor() = default;
    // The names directly inside path ("." and ".." left out, hidden names kept), in no particular
    // order; nullopt when the directory cannot be read.
    virtual std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) = 0;
    // Runs handler on a thread of the monitor's own after entries of path are added, removed or
    // renamed. The handler never runs concurrently with itself; changes that arrive while it runs
    // lead to exactly one further run. False (nothing watched) when path cannot be watched.
    virtual bool watch(const std::string& path, std::function<void()> handler) = 0;
    // Blocks the calling thread (the handler's); returns early only when the monitor shuts down.
    virtual void sleep(double seconds) = 0;
};

}  // namespace velko
