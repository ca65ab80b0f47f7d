#pragma once
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/BackgroundQueue.h"

namespace velko {

// Threads that run queued jobs. A thread starts only when a job finds none idle, up to
// maxThreads; with one thread the jobs run in order.
class WorkerThread : public BackgroundQueue {
public:
    // onThreadStart runs first on each new thread (its priority, its thread-wide settings).
    explicit WorkerThread(std::string name, std::size_t maxThreads = 1, std::function<void()> onThreadStart = {});
    // Lets the running jobs finish, drops the queued ones.
    ~WorkerThread() override;
    void async(std::function<void()> fn) override;

private:
    void run();

    const std::string name_;
    const std::size_t maxThreads_;
    const std::function<void()> onThreadStart_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> jobs_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool stopping_ = false;
};

}  // namespace velko
