#include "x11/X11FilteringKeyTap.h"
#include "platform/Log.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QSocketNotifier>

#include "x11/Xcb.h"
#include "xkb/KeyTable.h"

namespace velko {
namespace {

constexpr std::uint16_t allModifiers = 0xFF;  // Shift, Lock, Control, Mod1 to Mod5

}  // namespace

X11FilteringKeyTap::X11FilteringKeyTap() {
    // Often enough that the stroke comes before the modifiers of a quick press are let go.
    releaseCheck_.setInterval(2);
    releaseCheck_.setSingleShot(true);
    QObject::connect(&releaseCheck_, &QTimer::timeout, [this] { passOnWhenReleased(); });
}

X11FilteringKeyTap::~X11FilteringKeyTap() { releaseGrabs(); }

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
        const xcb::Reply<xcb_generic_error_t> error{xcb_request_check(c, cookies[i])};
        if (!error) continue;
        if (complete)
            log::warning("X key %u with modifier state 0x%02x is taken (X error %u); no hotkeys", wanted[i].keycode,
                         wanted[i].state, error->error_code);
        complete = false;
    }
    if (!complete || xcb_connection_has_error(c)) {
        releaseGrabs();  // all or nothing: a half-grabbed set would answer some combinations only
        return false;
    }

    callback_ = std::move(callback);
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { readEvents(); });
    readEvents();  // a press that came with the last reply is already queued, and the socket is quiet
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
    xcb::roundTrip(grabbing_);  // gone before the stroke, which travels on another connection
    readQueuedLater();
}

void X11FilteringKeyTap::resume() {
    if (!aside_ || !grabbing_) return;
    grabAll(aside_);
    aside_ = 0;
    xcb::roundTrip(grabbing_);  // back before the next press whatever connection sends it
    readQueuedLater();
}

// Waiting for a reply may have read presses off the socket into xcb's queue, where the socket
// notifier never sees them.
void X11FilteringKeyTap::readQueuedLater() {
    if (notifier_) QTimer::singleShot(0, notifier_.get(), [this] { readEvents(); });
}

void X11FilteringKeyTap::grabAll(std::uint8_t keycode) {
    for (const auto& grab : grabs_)
        if (grab.keycode == keycode)
            xcb_grab_key(grabbing_, 0, root_, grab.state, grab.keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
}

void X11FilteringKeyTap::readEvents() {
    xcb_connection_t* c = grabbing_;
    if (!c) return;
    while (const xcb::Event event{xcb_poll_for_event(c)}) {
        // Key releases, mapping changes and errors of unchecked requests need nothing: key
        // codes are positional and every modifier state is grabbed.
        if ((event->response_type & 0x7f) != XCB_KEY_PRESS) continue;
        const auto& press = *reinterpret_cast<const xcb_key_press_event_t*>(event.get());
        // Ends the grab the press started, so that any key pressed while this one is held goes
        // where it would have gone without us (the release would end it anyway).
        xcb_ungrab_keyboard(c, press.time);
        xcb_flush(c);
        Verdict verdict = Verdict::drop;
        try {
            const auto keyCode = KeyTable::keyCodeForXKeycode(press.detail);
            if (keyCode && callback_) verdict = callback_(*keyCode, KeyTable::eventFlags(press.state));
        } catch (...) {
            log::warning("a hotkey press could not be answered");
        }
        // One at a time: a key held down repeats, and the stroke posted for it stands for them all.
        if (verdict == Verdict::pass && grabbing_ == c && !passing_.detail) {
            passing_ = press;
            passOnWhenReleased();
        }
    }
    if (xcb_connection_has_error(c) && grabbing_ == c) {
        // The server is gone and its grabs with it; stop listening to a dead socket.
        notifier_.reset();
        releaseCheck_.stop();
        passing_.detail = 0;
        grabs_.clear();
        aside_ = 0;
        grabbing_ = nullptr;
        log::warning("lost the X connection of the hotkeys");
    }
}

void X11FilteringKeyTap::passOnWhenReleased() {
    xcb_connection_t* c = grabbing_;
    const std::uint8_t keycode = passing_.detail;
    if (!c || !keycode) return;
    const auto keymapCookie = xcb_query_keymap(c);
    const auto pointerCookie = xcb_query_pointer(c, root_);
    const auto mappingCookie = xcb_get_modifier_mapping(c);
    const xcb::Reply<xcb_query_keymap_reply_t> keys{xcb_query_keymap_reply(c, keymapCookie, nullptr)};
    const xcb::Reply<xcb_query_pointer_reply_t> pointer{xcb_query_pointer_reply(c, pointerCookie, nullptr)};
    const xcb::Reply<xcb_get_modifier_mapping_reply_t> mapping{
        xcb_get_modifier_mapping_reply(c, mappingCookie, nullptr)};
    readQueuedLater();
    if (!keys || !pointer || !mapping || !mapping->keycodes_per_modifier) {
        passing_.detail = 0;
        return;
    }
    if (keys->keys[keycode / 8] & (1u << (keycode % 8))) {
        releaseCheck_.start();
        return;
    }
    passing_.detail = 0;
    // A modifier let go meanwhile is pressed for the stroke, or the key would arrive as another
    // combination (a bare V types a v). Lock and Num Lock are states, not keys held.
    std::vector<std::uint8_t> pressed;
    const std::uint8_t* modifierKeys = xcb_get_modifier_mapping_keycodes(mapping.get());
    for (const int index : {0, 2, 3, 6})  // Shift, Control, Mod1, Mod4
        if ((passing_.state & ~pointer->mask) & (1u << index))
            if (const std::uint8_t key = modifierKeys[index * mapping->keycodes_per_modifier]) pressed.push_back(key);
    for (const auto& grab : grabs_)
        if (grab.keycode == keycode) xcb_ungrab_key(c, grab.keycode, root_, grab.state);
    const auto post = [c](std::uint8_t type, std::uint8_t key) {
        xcb_test_fake_input(c, type, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    };
    for (const auto key : pressed) post(XCB_KEY_PRESS, key);
    post(XCB_KEY_PRESS, keycode);
    post(XCB_KEY_RELEASE, keycode);
    for (const auto key : pressed) post(XCB_KEY_RELEASE, key);
    xcb::roundTrip(c);  // delivered before the grabs are back, so it never comes back to us
    readQueuedLater();
    if (aside_ != keycode) grabAll(keycode);
    xcb_flush(c);
}

void X11FilteringKeyTap::releaseGrabs() {
    notifier_.reset();
    releaseCheck_.stop();
    passing_.detail = 0;
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
    xcb::roundTrip(c);  // in place before create() returns, so another client may grab them at once
    while (const xcb::Event event{xcb_poll_for_event(c)}) {
    }
}

}  // namespace velko
