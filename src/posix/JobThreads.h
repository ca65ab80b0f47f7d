#pragma once
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velko {

// Threads taking jobs by ticket: every job of an earlier ticket goes before any of a later one,
// and a ticket's jobs go in the order posted. A thread starts only when a job finds none idle,
// up to maxThreads, so an idle program holds no thread it never needed.
class JobThreads {
public:
    // onThreadStart runs first on each new thread (its priority, its thread-wide settings).
    JobThreads(std::string name, std::size_t maxThreads, std::function<void()> onThreadStart = {});
    // Lets running jobs finish and drops the queued ones.
    ~JobThreads();
    JobThreads(const JobThreads&) = delete;
    JobThreads& operator=(const JobThreads&) = delete;

    std::size_t maxThreads() const { return maxThreads_; }
    // A ticket later than every one handed out before.
    std::uint64_t newTicket();
    // Dropped once the threads are being destroyed.
    void post(std::uint64_t ticket, std::function<void()> job);

private:
    void run();

    const std::string name_;
    const std::size_t maxThreads_;
    const std::function<void()> onThreadStart_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::function<void()>> jobs_;  // by ticket, then arrival
    std::uint64_t nextTicket_ = 0, nextArrival_ = 0;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool stopping_ = false;
};

}  // namespace velko
