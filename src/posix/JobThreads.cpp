#include "posix/JobThreads.h"

#include <pthread.h>

#include <algorithm>

namespace velko {

JobThreads::JobThreads(std::string name, std::size_t maxThreads, std::function<void()> onThreadStart)
    : name_(std::move(name)),
      maxThreads_(std::max<std::size_t>(1, maxThreads)),
      onThreadStart_(std::move(onThreadStart)) {}

JobThreads::~JobThreads() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        jobs_.clear();
    }
    ready_.notify_all();
    for (auto& thread : threads_) thread.join();
}

std::uint64_t JobThreads::newTicket() {
    std::lock_guard lock(mutex_);
    return nextTicket_++;
}

void JobThreads::post(std::uint64_t ticket, std::function<void()> job) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        jobs_.emplace(std::make_pair(ticket, nextArrival_++), std::move(job));
        if (idle_ < jobs_.size() && threads_.size() < maxThreads_) threads_.emplace_back(&JobThreads::run, this);
    }
    ready_.notify_one();
}

void JobThreads::run() {
    pthread_setname_np(pthread_self(), name_.substr(0, 15).c_str());
    if (onThreadStart_) onThreadStart_();
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(mutex_);
            ++idle_;
            ready_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            --idle_;
            if (stopping_) return;
            auto first = jobs_.begin();
            job = std::move(first->second);
            jobs_.erase(first);
        }
        job();
    }
}

}  // namespace velko
