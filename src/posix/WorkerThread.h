#pragma once
#include <functional>
#include <string>

#include "platform/BackgroundQueue.h"
#include "posix/JobThreads.h"

namespace velko {

// A thread that runs queued jobs in order, started by the first job so that an idle helper
// holds no thread it never needed.
class WorkerThread : public BackgroundQueue {
public:
    explicit WorkerThread(std::string name) : thread_(std::move(name), 1) {}
    // Lets the running job finish, drops the queued ones.
    ~WorkerThread() override = default;
    // One ticket for every job: they run in the order posted.
    void async(std::function<void()> fn) override { thread_.post(0, std::move(fn)); }

private:
    JobThreads thread_;
};

}  // namespace velko
