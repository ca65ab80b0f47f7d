#include "x11/X11SyntheticKeyboard.h"

#include "x11/Xcb.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "xkb/KeyTable.h"

namespace velko {
namespace {

constexpr int lockIndex = 1;
constexpr int mod2Index = 4;

using xcb::Reply;

bool isDown(const xcb_query_keymap_reply_t& keymap, std::uint8_t keycode) {
    return keymap.keys[keycode / 8] & (1u << (keycode % 8));
}

}  // namespace

bool X11SyntheticKeyboard::hasFrontmostApplication() {
    for (int attempt = 0; attempt < 2; ++attempt) {
        xcb_connection_t* c = connection_.get();
        if (!c) return false;
        const xcb_window_t root = connection_.rootWindow();
        if (atomGeneration_ != connection_.generation()) {
            static constexpr const char name[] = "_NET_ACTIVE_WINDOW";
            Reply<xcb_intern_atom_reply_t> atom{
                xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof name - 1, name), nullptr)};
            if (!atom) {
                if (xcb_connection_has_error(c)) continue;
                return false;
            }
            activeWindowAtom_ = atom->atom;
            atomGeneration_ = connection_.generation();
        }
        const auto propertyCookie = xcb_get_property(c, 0, root, activeWindowAtom_, XCB_ATOM_WINDOW, 0, 1);
        const auto focusCookie = xcb_get_input_focus(c);
        Reply<xcb_get_property_reply_t> property{xcb_get_property_reply(c, propertyCookie, nullptr)};
        Reply<xcb_get_input_focus_reply_t> focus{xcb_get_input_focus_reply(c, focusCookie, nullptr)};
        if (!property || !focus) {
            if (xcb_connection_has_error(c)) continue;
            return false;
        }
        // A window manager that keeps _NET_ACTIVE_WINDOW knows better than the focus, which it
        // may park on its own frame; 0 there means it has nothing active.
        if (property->type == XCB_ATOM_WINDOW && property->format == 32 &&
            xcb_get_property_value_length(property.get()) >= 4) {
            xcb_window_t active = 0;
            std::memcpy(&active, xcb_get_property_value(property.get()), sizeof active);
            if (active != XCB_WINDOW_NONE) return true;
        }
        return focus->focus != XCB_INPUT_FOCUS_NONE && focus->focus != XCB_INPUT_FOCUS_POINTER_ROOT;
    }
    return false;
}

bool X11SyntheticKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    if (!KeyTable::xKeycode(keyCode)) return false;

    for (int attempt = 0; attempt < 2; ++attempt) {
        xcb_connection_t* c = connection_.get();
        if (!c) return false;
        const xcb_query_extension_reply_t* xtest = xcb_get_extension_data(c, &xcb_test_id);
        if (!xtest || !xtest->present) {
            if (xcb_connection_has_error(c)) continue;
            return false;
        }
        // A key-up goes to the key its key-down pressed, even if the layout changed in between.
        const bool held =
            !keyDown && heldKey_ && heldKey_->first == keyCode && restoreGeneration_ == connection_.generation();
        const auto key = held ? heldKey_->second : keymap_.keycode(c, keyCode);
        if (!key) {
            if (xcb_connection_has_error(c)) continue;
            return false;
        }
        heldKey_.reset();
        if (keyDown) heldKey_.emplace(keyCode, *key);
        const xcb_setup_t* setup = xcb_get_setup(c);
        if (*key < setup->min_keycode || *key > setup->max_keycode) return false;

        const auto changes = modifierChanges(c, flags);
        if (!changes) {
            if (xcb_connection_has_error(c)) continue;
            return false;
        }
        // What a key-down changed on a server that has since gone means nothing to the new one.
        if (restoreGeneration_ != connection_.generation()) pendingRestore_.clear();
        restoreGeneration_ = connection_.generation();
        if (keyDown) {
            // Ahead of what earlier key-downs changed: put back in the reverse order of change.
            const Changes undo = undoing(*changes);
            pendingRestore_.insert(pendingRestore_.begin(), undo.begin(), undo.end());
            return send(c, *changes) && send(c, KeyChange{*key, true});
        }
        Changes restore = undoing(*changes);
        restore.insert(restore.end(), pendingRestore_.begin(), pendingRestore_.end());
        pendingRestore_.clear();
        if (!send(c, *changes) || !send(c, KeyChange{*key, false}) || !send(c, restore)) return false;
        // The server drops requests still unread when a client goes, which could leave a modifier
        // down; the round trip also tells whether the stroke arrived at all.
        Reply<xcb_get_input_focus_reply_t> sync{xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)};
        return static_cast<bool>(sync);
    }
    return false;
}

std::optional<X11SyntheticKeyboard::Changes> X11SyntheticKeyboard::modifierChanges(xcb_connection_t* c,
                                                                                   EventFlags flags) {
    const bool mapStale = mapGeneration_ != connection_.generation();
    const auto mapCookie = mapStale ? xcb_get_modifier_mapping(c) : xcb_get_modifier_mapping_cookie_t{};
    const auto keymapCookie = xcb_query_keymap(c);
    const auto pointerCookie = xcb_query_pointer(c, connection_.rootWindow());
    Reply<xcb_get_modifier_mapping_reply_t> map{mapStale ? xcb_get_modifier_mapping_reply(c, mapCookie, nullptr)
                                                         : nullptr};
    Reply<xcb_query_keymap_reply_t> keymap{xcb_query_keymap_reply(c, keymapCookie, nullptr)};
    Reply<xcb_query_pointer_reply_t> pointer{xcb_query_pointer_reply(c, pointerCookie, nullptr)};
    if ((mapStale && !map) || !keymap || !pointer) return std::nullopt;

    if (mapStale) {
        const int perModifier = map->keycodes_per_modifier;
        const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(map.get());
        for (int m = 0; m < 8; ++m) {
            modifierKeys_[m].clear();
            for (int k = 0; k < perModifier; ++k)
                if (const auto code = codes[m * perModifier + k]) modifierKeys_[m].push_back(code);
        }
        mapGeneration_ = connection_.generation();
    }

    const std::uint16_t wanted = KeyTable::xStateMask(flags);
    Changes lifts;
    Changes presses;
    for (int m = 0; m < 8; ++m) {
        // Lock and NumLock are latched states, not keys held down.
        if (m == lockIndex || m == mod2Index) continue;
        const std::uint16_t bit = 1u << m;
        bool held = false;
        for (const std::uint8_t code : modifierKeys_[m]) {
            if (!isDown(*keymap, code)) continue;
            held = true;
            const bool listed =
                std::any_of(lifts.begin(), lifts.end(), [&](const KeyChange& l) { return l.keycode == code; });
            if (!(wanted & bit) && !listed) lifts.push_back({code, false});
        }
        if ((wanted & bit) && !held) {
            if (const auto code = KeyTable::modifierXKeycode(KeyTable::eventFlags(bit)))
                presses.push_back({*code, true});
        }
    }
    Changes changes = lifts;
    // Caps Lock toggles on a full tap, so one tap sets it and a second one after the stroke clears it.
    // Tapped before the asked-for modifiers go down so it does not combine with them into a shortcut.
    const std::uint16_t lockBit = 1u << lockIndex;
    if ((wanted & lockBit) != (pointer->mask & lockBit)) {
        if (const auto code = KeyTable::modifierXKeycode(Flags::capsLock)) {
            changes.push_back({*code, true});
            changes.push_back({*code, false});
        }
    }
    changes.insert(changes.end(), presses.begin(), presses.end());
    return changes;
}

bool X11SyntheticKeyboard::send(xcb_connection_t* c, const KeyChange& change) {
    xcb_test_fake_input(c, change.down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, change.keycode, XCB_CURRENT_TIME,
                        XCB_WINDOW_NONE, 0, 0, 0);
    return xcb_flush(c) > 0;
}

bool X11SyntheticKeyboard::send(xcb_connection_t* c, const Changes& changes) {
    for (const auto& change : changes)
        if (!send(c, change)) return false;
    return true;
}

X11SyntheticKeyboard::Changes X11SyntheticKeyboard::undoing(const Changes& changes) {
    Changes undo;
    for (auto it = changes.rbegin(); it != changes.rend(); ++it) undo.push_back({it->keycode, !it->down});
    return undo;
}

}  // namespace velko
