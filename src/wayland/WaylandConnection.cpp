#include "wayland/WaylandConnection.h"

#include <poll.h>
#include <wayland-client.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace velko {

struct WaylandConnection::Listeners {
    static void global(void* data, wl_registry*, std::uint32_t name, const char* interface, std::uint32_t) {
        static_cast<WaylandConnection*>(data)->globals_.emplace_back(interface, name);
    }
    static void globalRemove(void*, wl_registry*, std::uint32_t) {}
    static constexpr wl_registry_listener registry{global, globalRemove};

    static void done(void* data, wl_callback*, std::uint32_t) { *static_cast<bool*>(data) = true; }
    static constexpr wl_callback_listener sync{done};
};

Result<std::unique_ptr<WaylandConnection>> WaylandConnection::open(std::chrono::milliseconds timeout) {
    std::unique_ptr<WaylandConnection> self(new WaylandConnection);
    self->display_ = wl_display_connect(nullptr);
    if (!self->display_) {
        const int cause = errno;
        const char* name = std::getenv("WAYLAND_DISPLAY");
        return Failure{
            std::string("no Wayland compositor at ") + (name ? name : "wayland-0") + ": " + std::strerror(cause),
            cause};
    }
    self->alive_ = true;
    self->registry_ = wl_display_get_registry(self->display_);
    wl_registry_add_listener(self->registry_, &Listeners::registry, self.get());
    if (!self->roundtrip(timeout)) return Failure{"the compositor did not answer: " + self->errorText()};
    // Compositors with several seats are rare and put new devices on the first.
    self->seat_ = static_cast<wl_seat*>(self->bind(wl_seat_interface, 1));
    if (!self->seat_) return Failure{"the compositor has no seat"};
    return self;
}

WaylandConnection::~WaylandConnection() {
    if (seat_) wl_seat_destroy(seat_);
    if (registry_) wl_registry_destroy(registry_);
    if (display_) {
        if (alive_) wl_display_flush(display_);
        wl_display_disconnect(display_);
    }
}

int WaylandConnection::fd() const { return display_ ? wl_display_get_fd(display_) : -1; }

void* WaylandConnection::bind(const wl_interface& interface, std::uint32_t version) {
    for (const auto& [name, id] : globals_)
        if (name == interface.name) return wl_registry_bind(registry_, id, &interface, version);
    return nullptr;
}

bool WaylandConnection::pump(std::chrono::milliseconds timeout) {
    if (!alive_) return false;
    while (wl_display_prepare_read(display_) != 0)
        if (wl_display_dispatch_pending(display_) < 0) return lost();
    pollfd readable{wl_display_get_fd(display_), POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(timeout.count())) > 0) {
        // An error or end of file marks the display as failed.
        if (wl_display_read_events(display_) < 0) return lost();
    } else {
        wl_display_cancel_read(display_);
    }
    if (wl_display_dispatch_pending(display_) < 0) return lost();
    return alive_ = wl_display_get_error(display_) == 0;
}

bool WaylandConnection::flush(std::chrono::milliseconds timeout) {
    if (!alive_) return false;
    while (wl_display_flush(display_) < 0) {
        // A full socket drains as the compositor reads; any other error means it is gone.
        if (errno != EAGAIN) return lost();
        pollfd writable{wl_display_get_fd(display_), POLLOUT, 0};
        if (poll(&writable, 1, static_cast<int>(timeout.count())) <= 0) return false;
    }
    return true;
}

bool WaylandConnection::roundtrip(std::chrono::milliseconds timeout) {
    if (!alive_) return false;
    bool done = false;
    wl_callback* callback = wl_display_sync(display_);
    wl_callback_add_listener(callback, &Listeners::sync, &done);
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    if (flush(timeout)) {
        for (auto left = timeout; !done && left.count() > 0;
             left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()))
            if (!pump(left)) break;
    }
    // An answer that comes later goes to a destroyed proxy, which drops it.
    wl_callback_destroy(callback);
    return done;
}

std::string WaylandConnection::errorText() const {
    const wl_interface* interface = nullptr;
    std::uint32_t id = 0;
    const std::uint32_t code = wl_display_get_protocol_error(display_, &interface, &id);
    if (!interface) return std::strerror(wl_display_get_error(display_));
    return std::string("protocol error ") + std::to_string(code) + " on " + interface->name;
}

bool WaylandConnection::lost() { return alive_ = false; }

}  // namespace velko
