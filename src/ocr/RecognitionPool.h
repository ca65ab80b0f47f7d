#pragma once
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "ocr/TesseractEngine.h"

namespace velko {

// Recogniser threads, each with an engine of its own, taking jobs by ticket: every job of an
// earlier ticket goes before any of a later one, and a ticket's jobs go in the order posted. With
// a ticket per screenshot, one screenshot's lines keep every thread busy while a burst is still
// read in the order it came, each screenshot waiting only for the one being read before it.
// Threads start as jobs need them, up to the limit, at a lower priority and with one core each.
class RecognitionPool {
public:
    using Job = std::function<void(TesseractEngine&)>;

    explicit RecognitionPool(std::size_t maxThreads);
    // Lets running jobs finish and drops the queued ones.
    ~RecognitionPool();

    std::size_t size() const { return maxThreads_; }
    // A ticket later than every one handed out before.
    std::uint64_t newTicket();
    // Queues job under ticket; it runs on one of the threads with that thread's engine. Dropped
    // once the pool is being destroyed.
    void post(std::uint64_t ticket, Job job);

private:
    void run();

    const std::size_t maxThreads_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::map<std::pair<std::uint64_t, std::uint64_t>, Job> jobs_;  // by ticket, then by arrival
    std::uint64_t nextTicket_ = 0, nextArrival_ = 0;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool stopping_ = false;
};

}  // namespace velko
