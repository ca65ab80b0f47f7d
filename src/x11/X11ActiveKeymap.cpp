#include "x11/X11ActiveKeymap.h"

#include "x11/Xcb.h"

// xcb's XKB header names a field "explicit", which C++ reserves.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include "xkb/KeyTable.h"
#include "xkb/LayoutKeys.h"

namespace velko {

bool X11ActiveKeymap::setUp(xcb_connection_t* c) {
    keymap_.reset();
    context_.reset();
    device_ = -1;
    generation_ = connection_.generation();
    if (!xkb_x11_setup_xkb_extension(c, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &firstEvent_, nullptr))
        return false;
    device_ = xkb_x11_get_core_keyboard_device_id(c);
    context_.reset(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (device_ < 0 || !context_) return false;
    // Only the rare whole-keymap changes are sent; the group is asked for with each stroke.
    const std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    const std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS;
    xcb_xkb_select_events_details_t details{};
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
    xcb_xkb_select_events_aux(c, static_cast<xcb_xkb_device_spec_t>(device_), events, 0, 0, mapParts, mapParts,
                              &details);
    load(c);
    return true;
}

void X11ActiveKeymap::load(xcb_connection_t* c) {
    keymap_.reset(xkb_x11_keymap_new_from_device(context_.get(), c, device_, XKB_KEYMAP_COMPILE_NO_FLAGS));
}

std::optional<std::uint8_t> X11ActiveKeymap::keycode(xcb_connection_t* c, KeyCode keyCode) {
    const auto position = KeyTable::xKeycode(keyCode);
    if (!position) return std::nullopt;
    if (generation_ != connection_.generation() && !setUp(c)) return position;
    if (device_ < 0) return position;
    xcb::Reply<xcb_xkb_get_state_reply_t> state{
        xcb_xkb_get_state_reply(c, xcb_xkb_get_state(c, static_cast<xcb_xkb_device_spec_t>(device_)), nullptr)};
    if (!state) return position;
    // Notifications sent before the reply are queued by now, so a keymap changed just before the
    // stroke is already seen.
    bool changed = false;
    while (const xcb::Event event{xcb_poll_for_event(c)}) {
        if ((event->response_type & 0x7f) == firstEvent_) {
            const std::uint8_t type = reinterpret_cast<const std::uint8_t*>(event.get())[1];
            changed = changed || type == XCB_XKB_NEW_KEYBOARD_NOTIFY || type == XCB_XKB_MAP_NOTIFY;
        }
    }
    if (changed || !keymap_) load(c);
    const auto key = LayoutKeys::keycode(keymap_.get(), state->group, keyCode);
    if (!key || *key > 255) return position;
    return static_cast<std::uint8_t>(*key);
}

}  // namespace velko
