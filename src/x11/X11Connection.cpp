#include "x11/X11Connection.h"

#include "x11/Xcb.h"

#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace velko {

X11Connection::~X11Connection() { close(); }

void X11Connection::close() {
    // The server discards what it has not read from a closing client, synthetic key-ups included.
    if (connection_ && !xcb_connection_has_error(connection_.get())) xcb::roundTrip(connection_.get());
    connection_.reset();
    root_ = 0;
}

xcb_connection_t* X11Connection::get() {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) {
        close();
        return nullptr;
    }
    if (connection_ && !xcb_connection_has_error(connection_.get()) && displayName_ == display)
        return connection_.get();

    close();
    int screenNumber = 0;
    xcb::Connection c{xcb::connect(display, &screenNumber)};
    if (!c) return nullptr;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(c.get()));
    for (int i = 0; i < screenNumber && screens.rem; ++i) xcb_screen_next(&screens);
    if (!screens.rem) return nullptr;
    connection_ = std::move(c);
    displayName_ = display;
    root_ = screens.data->root;
    ++generation_;
    return connection_.get();
}

std::uint32_t X11Connection::rootWindow() { return get() ? root_ : 0; }

bool X11Connection::hasInputExtensions() {
    static constexpr std::array<const char*, 3> names{"XTEST", "RECORD", "XKEYBOARD"};
    // The held connection may have outlived its server; one reopen tells a restart from an absence.
    for (int attempt = 0; attempt < 2; ++attempt) {
        xcb_connection_t* c = get();
        if (!c) return false;
        std::array<xcb_query_extension_cookie_t, names.size()> cookies{};
        for (std::size_t i = 0; i < names.size(); ++i)
            cookies[i] = xcb_query_extension(c, static_cast<std::uint16_t>(std::strlen(names[i])), names[i]);
        bool answered = true;
        bool present = true;
        for (const auto& cookie : cookies) {
            const xcb::Reply<xcb_query_extension_reply_t> reply{xcb_query_extension_reply(c, cookie, nullptr)};
            answered = answered && reply;
            present = present && reply && reply->present;
        }
        if (answered) return present;
        if (!xcb_connection_has_error(c)) return false;
    }
    return false;
}

}  // namespace velko
