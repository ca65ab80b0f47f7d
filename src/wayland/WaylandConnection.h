#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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
    // nullptr with the why in `reason`: no compositor, no answer within timeoutMs, or no seat.
    static std::unique_ptr<WaylandConnection> open(int timeoutMs, std::string& reason);
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
    // Reads what arrives within timeoutMs (0: only what is there) and handles the queue; false once gone.
    bool pump(int timeoutMs);
    // Sends what is queued, waiting up to timeoutMs for room on a full socket; false when gone or too slow.
    bool flush(int timeoutMs);
    // Waits up to timeoutMs for the compositor to have handled every request sent so far.
    bool roundtrip(int timeoutMs);
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
