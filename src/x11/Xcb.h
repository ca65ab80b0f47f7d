#pragma once
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

// Small xcb helpers shared by the X11 classes.
namespace velko::xcb {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
// xcb replies, errors and events are malloc'ed and the caller's to free.
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;
using Event = Reply<xcb_generic_event_t>;

struct Disconnect {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

// A connection of its own to display ($DISPLAY when null); null when it fails, since xcb hands
// back an error object that would otherwise have to be checked and freed by every caller.
inline xcb_connection_t* connect(const char* display = nullptr, int* screen = nullptr) {
    xcb_connection_t* c = xcb_connect(display, screen);
    if (c && xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        return nullptr;
    }
    return c;
}

// XCB_ATOM_NONE when the server does not answer, or with onlyIfExists when nobody made it yet.
inline xcb_atom_t internAtom(xcb_connection_t* c, std::string_view name, bool onlyIfExists = false) {
    Reply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
        c, xcb_intern_atom(c, onlyIfExists, static_cast<std::uint16_t>(name.size()), name.data()), nullptr)};
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// Waits until the server has handled every request sent before; false when it does not answer.
inline bool roundTrip(xcb_connection_t* c) {
    return Reply<xcb_get_input_focus_reply_t>{xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)} != nullptr;
}

// Qt's own connection to the X server; null on any other platform.
inline xcb_connection_t* qtConnection() {
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

}  // namespace velko::xcb
