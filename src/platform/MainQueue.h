#pragma once
#include <functional>

namespace velko {

// The main thread's run loop. Every service's state is touched only from blocks run here.
class MainQueue {
public:
    virtual ~MainQueue() = default;
    // Runs fn on a later turn of the main loop; callable from any thread.
    virtual void async(std::function<void()> fn) = 0;
    // Runs fn on the main loop once, `seconds` from now; callable from any thread.
    virtual void asyncAfter(double seconds, std::function<void()> fn) = 0;
    // Calls fn on the main loop every `seconds`, first after one interval, until the process ends.
    virtual void scheduleRepeating(double seconds, std::function<void()> fn) = 0;
};

}  // namespace velko
