#include "x11/X11FilteringKeyTap.h"
#include "platform/Log.h"

#include <xcb/xcb.h>

#include <QSocketNotifier>
#include <cstdio>
#include <cstdlib>

#include "xkb/KeyTable.h"

namespace velko {
namespace {

constexpr std::uint16_t allModifiers = 0xFF;  // Shift, Lock, Control, Mod1 to Mod5

void roundTrip(xcb_connection_t* c) { std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); }

}  // namespace

X11FilteringKeyTap::X11FilteringKeyTap() = default;

// Closing the connection drops its grabs in the server.
X11FilteringKeyTap::~X11FilteringKeyTap() = default;

std::vector<std::uint16_t> X11FilteringKeyTap::statesContaining(std::uint16_t required) {
    std::vector<std::uint16_t> states;
    for (std::uint16_t state = 0; state <= allModifiers; ++state)
        if ((state & required) == required) states.push_back(state);
    return states;
}

bool X11FilteringKeyTap::create(const std::vector<Combination>& combinations, Callback callback) {
    releaseGrabs();

    std::vector<Grab> wanted;
    for (const auto& combination : combinations) {
        const auto keycode = KeyTable::xKeycode(combination.keyCode);
        if (!keycode) {
            log::warning("key code %u has no X key; no hotkeys", combination.keyCode);
            return false;
        }
        for (const auto state : statesContaining(KeyTable::xStateMask(combination.modifiers)))
            wanted.push_back({*keycode, state});
    }

    xcb_connection_t* c = display_.get();
    if (!c) return false;
    root_ = display_.rootWindow();

    // Issued together, checked after one round trip: a grab another client holds fails with
    // BadAccess only when the server gets to it.
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(wanted.size());
    for (const auto& grab : wanted)
        cookies.push_back(
            xcb_grab_key_checked(c, 0, root_, grab.state, grab.keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    grabbing_ = c;
    grabs_ = wanted;
    bool complete = true;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        xcb_generic_error_t* error = xcb_request_check(c, cookies[i]);
        if (!error) continue;
        if (complete)
            log::warning("X key %u with modifier state 0x%02x is taken (X error %u); no hotkeys", wanted[i].keycode,
                         wanted[i].state, error->error_code);
        complete = false;
        std::free(error);
    }
    if (!complete || xcb_connection_has_error(c)) {
        releaseGrabs();  // all or nothing: a half-grabbed set would answer some combinations only
        return false;
    }

    callback_ = std::move(callback);
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { readEvents(); });
    readEvents();  // the round trips above may have queued events that the socket no longer signals
    return true;
}

void X11FilteringKeyTap::standAside(KeyCode keyCode) {
    const auto keycode = KeyTable::xKeycode(keyCode);
    if (!keycode || !grabbing_ || aside_) return;
    bool grabbed = false;
    for (const auto& grab : grabs_)
        if (grab.keycode == *keycode) {
            xcb_ungrab_key(grabbing_, grab.keycode, root_, grab.state);
            grabbed = true;
        }
    if (!grabbed) return;
    aside_ = *keycode;
    roundTrip(grabbing_);  // gone before the stroke, which travels on another connection
}

void X11FilteringKeyTap::resume() {
    if (!aside_ || !grabbing_) return;
    for (const auto& grab : grabs_)
        if (grab.keycode == aside_)
            xcb_grab_key(grabbing_, 0, root_, grab.state, grab.keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    aside_ = 0;
    roundTrip(grabbing_);  // back before the next press whatever connection sends it
}

void X11FilteringKeyTap::readEvents() {
    xcb_connection_t* c = grabbing_;
    if (!c) return;
    while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
        // Key releases, mapping changes and errors of unchecked requests need nothing: key
        // codes are positional and every modifier state is grabbed.
        if ((event->response_type & 0x7f) == XCB_KEY_PRESS) {
            const auto* press = reinterpret_cast<const xcb_key_press_event_t*>(event);
            // Ends the grab the press started, so that any key pressed while this one is held
            // goes where it would have gone without us (the release would end it anyway).
            xcb_ungrab_keyboard(c, press->time);
            xcb_flush(c);
            try {
                const auto keyCode = KeyTable::keyCodeForXKeycode(press->detail);
                if (keyCode && callback_) callback_(*keyCode, KeyTable::eventFlags(press->state));
            } catch (...) {
                log::warning("a hotkey press could not be answered");
            }
        }
        std::free(event);
    }
    if (xcb_connection_has_error(c)) {
        // The server is gone and its grabs with it; stop listening to a dead socket.
        notifier_.reset();
        grabs_.clear();
        grabbing_ = nullptr;
        log::warning("lost the X connection of the hotkeys");
    }
}

void X11FilteringKeyTap::releaseGrabs() {
    notifier_.reset();
    callback_ = nullptr;
    aside_ = 0;
    xcb_connection_t* c = grabbing_;
    grabbing_ = nullptr;
    if (!c || xcb_connection_has_error(c)) {
        grabs_.clear();
        return;
    }
    // Ungrabbing a combination held by another client leaves that client's grab alone.
    for (const auto& grab : grabs_) xcb_ungrab_key(c, grab.keycode, root_, grab.state);
    grabs_.clear();
    // A press during create() may have started a grab that nobody will end now.
    xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
    roundTrip(c);  // in place before create() returns, so another client may grab them at once
    while (xcb_generic_event_t* event = xcb_poll_for_event(c)) std::free(event);
}

}  // namespace velko
