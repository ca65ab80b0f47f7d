#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace velko {

// What became of a directory watched by its path.
enum class DirectoryEvent {
    entriesChanged,  // entries were added, removed or renamed
    gone,            // deleted, moved away or replaced: no longer watched until one is at the path again
    back,            // a directory is at the path (again) and is watched from now on
};

// Whether a directory is watched now or only its path, until one is made there.
enum class WatchStart { watching, waiting };

// Shallow directory listings and notifications of changed entries.
class DirectoryMonitor {
public:
    virtual ~DirectoryMonitor() = default;
    // The names directly inside path ("." and ".." left out, hidden names kept), in no particular
    // order; nullopt when the directory cannot be read.
    virtual std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) = 0;
    // Watches the directory at path, and path itself for as long as the monitor lives: runs handler
    // on a thread of the monitor's own for each DirectoryEvent. The handler never runs concurrently
    // with itself; changes that arrive while it runs lead to exactly one further run. A Failure
    // (nothing watched, the handler never runs) when path or its parents cannot be watched at all.
    virtual Result<WatchStart> watch(const std::string& path, std::function<void(DirectoryEvent)> handler) = 0;
    // Blocks the calling thread (the handler's); returns early only when the monitor shuts down.
    virtual void sleep(double seconds) = 0;
};

}  // namespace velko
