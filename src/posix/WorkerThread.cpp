#include "posix/WorkerThread.h"

#include <pthread.h>

#include <algorithm>

namespace velko {

WorkerThread::WorkerThread(std::string name, std::size_t maxThreads, std::function<void()> onThreadStart)
    : name_(std::move(name)),
      maxThreads_(std::max<std::size_t>(1, maxThreads)),
      onThreadStart_(std::move(onThreadStart)) {}

WorkerThread::~WorkerThread() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        jobs_.clear();
    }
    ready_.notify_all();
    for (auto& thread : threads_) thread.join();
}

void WorkerThread::async(std::function<void()> fn) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        jobs_.push_back(std::move(fn));
        if (idle_ < jobs_.size() && threads_.size() < maxThreads_) threads_.emplace_back(&WorkerThread::run, this);
    }
    ready_.notify_one();
}

void WorkerThread::run() {
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
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
    }
}

}  // namespace velko
