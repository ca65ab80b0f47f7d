#include "x11/DisplayProbe.h"

#include "x11/Xcb.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace velko {

namespace {
struct Attempt {
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    bool abandoned = false;
    xcb_connection_t* connection = nullptr;
};
}  // namespace

DisplayProbe::Answer DisplayProbe::connect(const std::string& display, std::chrono::milliseconds deadline) {
    auto attempt = std::make_shared<Attempt>();
    std::thread([attempt, display] {
        xcb_connection_t* c = xcb::connect(display.c_str());
        std::lock_guard lock(attempt->mutex);
        if (attempt->abandoned) {
            if (c) xcb_disconnect(c);
            return;
        }
        attempt->connection = c;
        attempt->done = true;
        attempt->finished.notify_one();
    }).detach();

    std::unique_lock lock(attempt->mutex);
    if (!attempt->finished.wait_for(lock, deadline, [&] { return attempt->done; })) {
        attempt->abandoned = true;
        return {Outcome::silent, nullptr};
    }
    if (!attempt->connection) return {Outcome::unreachable, nullptr};
    return {Outcome::connected, attempt->connection};
}

}  // namespace velko
