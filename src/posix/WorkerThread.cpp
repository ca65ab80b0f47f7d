#include "posix/WorkerThread.h"

#include <pthread.h>

#include <utility>

namespace velko {

WorkerThread::WorkerThread(std::string name) : name_(std::move(name)) {}

WorkerThread::~WorkerThread() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        jobs_.clear();
    }
    ready_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void WorkerThread::async(std::function<void()> fn) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        jobs_.push_back(std::move(fn));
        if (!thread_.joinable()) thread_ = std::thread(&WorkerThread::run, this);
    }
    ready_.notify_one();
}

void WorkerThread::run() {
    pthread_setname_np(pthread_self(), name_.substr(0, 15).c_str());
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(mutex_);
            ready_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            if (stopping_) return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
    }
}

}  // namespace velko
