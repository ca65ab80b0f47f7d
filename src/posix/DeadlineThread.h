#pragma once
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace velko {

// For calls that offer no timeout of their own and can block for good (connecting to a server
// that accepts and never answers): the call runs on a thread of its own, which is left behind
// when the deadline passes; whatever it returns later goes to discard on that thread.
class DeadlineThread {
public:
    template <typename T>
    static std::optional<T> run(std::chrono::milliseconds deadline, std::function<T()> work,
                                std::function<void(T&)> discard) {
        struct Attempt {
            std::mutex mutex;
            std::condition_variable finished;
            std::optional<T> result;
            bool abandoned = false;
        };
        auto attempt = std::make_shared<Attempt>();
        std::thread([attempt, work = std::move(work), discard = std::move(discard)] {
            T value = work();
            std::lock_guard lock(attempt->mutex);
            if (attempt->abandoned) {
                discard(value);
                return;
            }
            attempt->result = std::move(value);
            attempt->finished.notify_one();
        }).detach();
        std::unique_lock lock(attempt->mutex);
        if (!attempt->finished.wait_for(lock, deadline, [&] { return attempt->result.has_value(); })) {
            attempt->abandoned = true;
            return std::nullopt;
        }
        return std::move(attempt->result);
    }
};

}  // namespace velko
