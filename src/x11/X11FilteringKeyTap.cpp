#include "x11/X11FilteringKeyTap.h"
#include "platform/Log.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "xkb/KeyTable.h"

namespace velko {
namespace {

constexpr std::uint16_t allModifiers = 0xFF;  // Shift, Lock, Control, Mod1 to Mod5

void roundTrip(xcb_connection_t* c) { std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); }

std::uint8_t keyboardMode(bool sync) { return sync ? XCB_GRAB_MODE_SYNC : XCB_GRAB_MODE_ASYNC; }

}  // namespace

X11FilteringKeyTap::X11FilteringKeyTap() = default;

// Closing the connection drops its grabs in the server, and with them a frozen keyboard.
X11FilteringKeyTap::~X11FilteringKeyTap() { stopReading(); }

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
            wanted.push_back({*keycode, state, combination.mayPass});
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
            xcb_grab_key_checked(c, 0, root_, grab.state, grab.keycode, XCB_GRAB_MODE_ASYNC, keyboardMode(grab.sync)));
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
    startReading();
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
    for (const auto& g : grabs_)
        if (g.keycode == aside_)
            xcb_grab_key(grabbing_, 0, root_, g.state, g.keycode, XCB_GRAB_MODE_ASYNC, keyboardMode(g.sync));
    aside_ = 0;
    roundTrip(grabbing_);  // back before the next press whatever connection sends it
}

void X11FilteringKeyTap::startReading() {
    xcb_connection_t* c = grabbing_;
    // Events sent to a window with no event mask go to the client that made it: this one.
    wakeWindow_ = xcb_generate_id(c);
    xcb_create_window(c, 0, wakeWindow_, root_, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0,
                      nullptr);
    xcb_flush(c);
    stopping_ = false;
    std::vector<std::uint8_t> held;
    for (const auto& grab : grabs_)
        if (grab.sync) held.push_back(grab.keycode);
    reader_ = std::thread([this, c, held = std::move(held)] { read(c, held); });
}

void X11FilteringKeyTap::stopReading() {
    if (!reader_.joinable()) return;
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    answered_.notify_all();
    xcb_client_message_event_t wake{};
    wake.response_type = XCB_CLIENT_MESSAGE;
    wake.format = 32;
    wake.window = wakeWindow_;
    xcb_send_event(grabbing_, 0, wakeWindow_, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&wake));
    xcb_flush(grabbing_);
    reader_.join();
    xcb_destroy_window(grabbing_, wakeWindow_);
    wakeWindow_ = 0;
}

void X11FilteringKeyTap::read(xcb_connection_t* c, std::vector<std::uint8_t> held) {
    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        // Key releases, mapping changes and errors of unchecked requests need nothing: key
        // codes are positional and every modifier state is grabbed.
        if ((event->response_type & 0x7f) == XCB_KEY_PRESS) {
            const auto* press = reinterpret_cast<const xcb_key_press_event_t*>(event);
            const auto keyCode = KeyTable::keyCodeForXKeycode(press->detail);
            const EventFlags flags = KeyTable::eventFlags(press->state);
            Verdict verdict = Verdict::drop;
            if (keyCode && std::find(held.begin(), held.end(), press->detail) != held.end())
                verdict = await(*keyCode, flags);
            else if (keyCode)  // taken already: the core is told, not asked
                QMetaObject::invokeMethod(&mainThread_, [this, key = *keyCode, flags] { decide(0, key, flags); });
            if (verdict == Verdict::pass) {
                // Delivered again as if never grabbed, to the window that has the focus.
                xcb_allow_events(c, XCB_ALLOW_REPLAY_KEYBOARD, press->time);
            } else {
                // Ends the grab the press started too, so that any key pressed while this one is
                // held goes where it would have gone without us (the release would end it anyway).
                xcb_allow_events(c, XCB_ALLOW_ASYNC_KEYBOARD, press->time);
                xcb_ungrab_keyboard(c, press->time);
            }
            xcb_flush(c);
        }
        std::free(event);
        std::lock_guard lock(mutex_);
        if (stopping_) return;
    }
    // The server is gone and its grabs with it.
    QMetaObject::invokeMethod(&mainThread_, [this, c] {
        if (grabbing_ != c) return;
        log::warning("lost the X connection of the hotkeys");
        grabs_.clear();
        aside_ = 0;
    });
}

FilteringKeyTap::Verdict X11FilteringKeyTap::await(KeyCode keyCode, EventFlags flags) {
    std::unique_lock lock(mutex_);
    // Numbered across readers, so that an answer meant for an earlier tap's press is never taken for this one.
    const std::uint64_t press = ++lastPress_;
    awaited_ = press;
    verdict_.reset();
    QMetaObject::invokeMethod(&mainThread_, [this, press, keyCode, flags] { decide(press, keyCode, flags); });
    answered_.wait_for(lock, verdictDeadline, [this] { return verdict_.has_value() || stopping_; });
    awaited_ = 0;
    return verdict_.value_or(Verdict::drop);
}

void X11FilteringKeyTap::decide(std::uint64_t press, KeyCode keyCode, EventFlags flags) {
    Verdict verdict = Verdict::drop;
    try {
        if (callback_) verdict = callback_(keyCode, flags);
    } catch (...) {
        log::warning("a hotkey press could not be answered");
    }
    {
        std::lock_guard lock(mutex_);
        if (press != 0 && awaited_ != press && verdict == Verdict::pass)
            log::warning("a hotkey press was answered after %lld ms; it was taken, not passed on",
                         static_cast<long long>(verdictDeadline.count()));
        if (press == 0 || awaited_ != press) return;  // never held, or too late: the reader took it
        verdict_ = verdict;
    }
    answered_.notify_all();
}

void X11FilteringKeyTap::releaseGrabs() {
    stopReading();
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
    // A press during create() may have started a grab, and frozen the keyboard, with nobody left to end it.
    xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
    roundTrip(c);  // in place before create() returns, so another client may grab them at once
    while (xcb_generic_event_t* event = xcb_poll_for_event(c)) std::free(event);
}

}  // namespace velko
