#pragma once
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "platform/BackgroundQueue.h"

namespace velko {

// One thread, started by the first job, that runs jobs in order.
class WorkerThread : public BackgroundQueue {
public:
    explicit WorkerThread(std::string name);
    // Lets the running job finish, drops the queued ones.
    ~WorkerThread() override;
    void async(std::function<void()> fn) override;

private:
    void run();

    std::string name_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> jobs_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace velko
