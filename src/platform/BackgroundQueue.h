#pragma once
#include <functional>

namespace velko {

// One background thread for slow file work, so the main loop never waits on a disk.
class BackgroundQueue {
public:
    virtual ~BackgroundQueue() = default;
    // Runs fn later on the background thread, one job at a time, in the order queued.
    // Jobs still queued when the process shuts down are dropped.
    virtual void async(std::function<void()> fn) = 0;
};

}  // namespace velko
