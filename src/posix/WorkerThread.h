#pragma once
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "platform/BackgroundQueue.h"

namespace velko {

// A thread that runs queued jobs in order, started by the first job so that an idle helper
// holds no thread it never needed.
class WorkerThread : public BackgroundQueue {
public:
    explicit WorkerThread(std::string name);
    // Lets the running jobs finish, drops the queued ones.
    ~WorkerThread() override;
    void async(std::function<void()> fn) override;

private:
    void run();

    const std::string name_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> jobs_;
    std::thread thread_;
    bool stopping_ = false;
};

}  // namespace velko
