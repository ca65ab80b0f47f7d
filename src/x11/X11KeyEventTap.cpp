#include "x11/X11KeyEventTap.h"
#include "platform/Log.h"

#include "x11/Xcb.h"

#include <sys/socket.h>
#include <xcb/record.h>
#include <xcb/xcb.h>
// xcb's XKB header names a field "explicit", which C++ reserves.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <QSocketNotifier>
#include <array>
#include <cstdio>
#include <cstring>

#include "platform/MainQueue.h"
#include "xkb/KeyCharacters.h"
#include "xkb/KeyTable.h"

namespace velko {
namespace {

constexpr std::uint8_t recordFromServer = 0;
constexpr std::uint8_t recordStartOfData = 4;
constexpr std::uint8_t recordEndOfData = 5;
constexpr KeyCode noKeyCode = 0xFFFF;

}  // namespace

X11KeyEventTap::X11KeyEventTap(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

X11KeyEventTap::~X11KeyEventTap() { close(); }

void X11KeyEventTap::close() {
    self_.reset();
    if (reader_.joinable()) {
        // Wakes the reader from its blocking wait; it then sees the broken connection and ends.
        ::shutdown(xcb_get_file_descriptor(data_.get()), SHUT_RDWR);
        reader_.join();
    }
    // The notifier watches control_'s socket, and the reader is gone before data_ is.
    xkbEvents_.reset();
    state_.reset();
    keymap_.reset();
    xkb_.reset();
    data_.reset();
    control_.reset();
}

bool X11KeyEventTap::start(Handler handler) {
    if (started_) return false;
    started_ = true;
    if (!connect()) {
        log::warning("cannot watch the keyboard (no X display with RECORD and XKB)");
        close();
        return false;
    }
    handler_ = std::move(handler);

    xkbEvents_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(control_.get()), QSocketNotifier::Read);
    QObject::connect(xkbEvents_.get(), &QSocketNotifier::activated, [this] { readXkbEvents(); });

    xcb_connection_t* control = control_.get();
    const std::uint32_t context = xcb_generate_id(control);
    xcb_record_range_t range{};
    range.device_events.first = XCB_KEY_PRESS;
    range.device_events.last = XCB_KEY_PRESS;
    const xcb_record_client_spec_t clients = XCB_RECORD_CS_ALL_CLIENTS;
    if (xcb::Reply<xcb_generic_error_t> error{xcb_request_check(
            control, xcb_record_create_context_checked(control, context, 0, 1, 1, &clients, &range))}) {
        log::warning("cannot watch the keyboard (RECORD refused a context)");
        close();
        return false;
    }
    const auto cookie = xcb_record_enable_context(data_.get(), context);
    // The first reply says that recording has begun: from here on no stroke is missed.
    const xcb::Reply<xcb_record_enable_context_reply_t> first{
        xcb_record_enable_context_reply(data_.get(), cookie, nullptr)};
    if (!first || first->category != recordStartOfData) {
        log::warning("cannot watch the keyboard (RECORD did not start)");
        close();
        return false;
    }
    reader_ = std::thread([data = data_.get(), cookie, &queue = mainQueue_, weak = std::weak_ptr(self_)] {
        while (const xcb::Reply<xcb_record_enable_context_reply_t> reply{
            xcb_record_enable_context_reply(data, cookie, nullptr)}) {
            std::vector<RawKey> keys;
            const bool end = reply->category == recordEndOfData;
            if (reply->category == recordFromServer) {
                const std::uint8_t* bytes = xcb_record_enable_context_data(reply.get());
                const int length = xcb_record_enable_context_data_length(reply.get());
                for (int i = 0; i + 32 <= length; i += 32) {
                    if ((bytes[i] & 0x7f) != XCB_KEY_PRESS) continue;
                    xcb_key_press_event_t press;
                    std::memcpy(&press, bytes + i, sizeof press);
                    keys.push_back({press.detail, press.state});
                }
            }
            if (!keys.empty())
                queue.async([weak, keys = std::move(keys)] {
                    if (const auto self = weak.lock()) (*self)->handle(keys);
                });
            if (end) break;
        }
    });
    return true;
}

bool X11KeyEventTap::connect() {
    control_.reset(xcb::connect());
    data_.reset(xcb::connect());
    if (!control_ || !data_) return false;
    xcb_connection_t* control = control_.get();
    if (const auto* record = xcb_get_extension_data(control, &xcb_record_id); !record || !record->present) return false;
    if (!xkb_x11_setup_xkb_extension(control, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &xkbFirstEvent_, nullptr))
        return false;
    xkb_.reset(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    device_ = xkb_x11_get_core_keyboard_device_id(control);
    if (!xkb_ || device_ < 0 || !loadKeymap()) return false;

    // A new keymap (setxkbmap, a new keyboard) has to be fetched, or keys turn into the wrong
    // text; a switched layout needs nothing, as every press carries its group.
    const std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    const std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                   XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS |
                                   XCB_XKB_MAP_PART_KEY_ACTIONS | XCB_XKB_MAP_PART_VIRTUAL_MODS |
                                   XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
    xcb_xkb_select_events_details_t details{};
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
    const xcb::Reply<xcb_generic_error_t> error{xcb_request_check(
        control, xcb_xkb_select_events_aux_checked(control, static_cast<xcb_xkb_device_spec_t>(device_), events, 0, 0,
                                                   mapParts, mapParts, &details))};
    return !error;
}

bool X11KeyEventTap::loadKeymap() {
    xkb::Keymap keymap{
        xkb_x11_keymap_new_from_device(xkb_.get(), control_.get(), device_, XKB_KEYMAP_COMPILE_NO_FLAGS)};
    if (!keymap) return false;
    xkb::State state{xkb_state_new(keymap.get())};
    if (!state) return false;
    state_ = std::move(state);
    keymap_ = std::move(keymap);
    return true;
}

void X11KeyEventTap::readXkbEvents() {
    // Drained whole on every wake-up: the notifier fires once for everything already read. A new
    // layout arrives as a burst of notifies; the keymap is fetched once for all of them.
    bool keymapChanged = false;
    while (const xcb::Reply<xcb_generic_event_t> event{xcb_poll_for_event(control_.get())}) {
        if ((event->response_type & 0x7f) == xkbFirstEvent_) {
            const std::uint8_t xkbType = reinterpret_cast<const std::uint8_t*>(event.get())[1];
            if (xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY || xkbType == XCB_XKB_MAP_NOTIFY) keymapChanged = true;
        }
    }
    if (keymapChanged) loadKeymap();
    if (xcb_connection_has_error(control_.get())) xkbEvents_->setEnabled(false);
}

void X11KeyEventTap::handle(const std::vector<RawKey>& keys) {
    for (const RawKey& key : keys) {
        // The press's state is the server's from just before the press, held and locked
        // modifiers merged, which is all that choosing a key's level needs. A keymap read from
        // the server keeps the eight core modifiers at indices 0-7, in the order of the state bits.
        const std::uint32_t mods = key.state & 0xFF;
        const std::uint32_t group = (key.state >> 13) & 0x3;
        xkb_state_update_mask(state_.get(), mods, 0, 0, 0, 0, group);
        const xkb_keysym_t keysym = xkb_state_key_get_one_sym(state_.get(), key.keycode);
        std::array<char, 64> text{};
        xkb_state_key_get_utf8(state_.get(), key.keycode, text.data(), text.size());

        KeyEvent event;
        event.keyCode = KeyTable::keyCodeForXKeycode(key.keycode).value_or(noKeyCode);
        event.flags = KeyTable::eventFlags(static_cast<std::uint16_t>(mods));
        event.characters = KeyCharacters::forKeysym(keysym, text.data());
        handler_(event);
    }
}

}  // namespace velko
