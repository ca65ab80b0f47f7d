#pragma once
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/Result.h"

struct wl_display;
struct wl_interface;
struct wl_registry;
struct wl_seat;

namespace velko {

// A connection of its own to the compositor on $WAYLAND_DISPLAY with the first seat bound, which is
// the user's. Nothing here blocks for longer than the caller allows: a compositor that stops
// answering costs a timeout, not a frozen helper. Main thread only.
class WaylandConnection {
public:
    // Fails without a compositor, without its answer within timeout, or without a seat.
    static Result<std::unique_ptr<WaylandConnection>> open(std::chrono::milliseconds timeout);
    // Flushes what is queued, so the compositor drops our objects now rather than on noticing the closed socket.
    ~WaylandConnection();
    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;

    wl_display* display() const { return display_; }
    wl_seat* seat() const { return seat_; }
    int fd() const;
    // False from the first connection error on, for good.
    bool isAlive() const { return alive_; }

    // The first global of the interface the compositor announced, bound at `version`; nullptr when it has none.
    void* bind(const wl_interface& interface, std::uint32_t version);
    // Reads what arrives within timeout (0: only what is there) and handles the queue; false once gone.
    bool pump(std::chrono::milliseconds timeout);
    // Sends what is queued, waiting up to timeout for room on a full socket; false when gone or too slow.
    bool flush(std::chrono::milliseconds timeout);
    // Waits up to timeout for the compositor to have handled every request sent so far.
    bool roundtrip(std::chrono::milliseconds timeout);
    // The connection's error as text, a protocol error naming its interface.
    std::string errorText() const;

private:
    struct Listeners;
    WaylandConnection() = default;
    bool lost();

    wl_display* display_ = nullptr;
    wl_registry* registry_ = nullptr;
    wl_seat* seat_ = nullptr;
    std::vector<std::pair<std::string, std::uint32_t>> globals_;  // interface, name, as announced
    bool alive_ = false;
};

}  // namespace velko
