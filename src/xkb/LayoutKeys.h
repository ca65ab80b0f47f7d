#pragma once
// Which key types a virtual key's character in a given keymap. Applications read a shortcut by
// the letter the layout gives, so Ctrl+V has to go out on the key that types `v`, wherever the
// layout puts it.
#include <xkbcommon/xkbcommon.h>

#include <optional>

#include "platform/Types.h"

namespace velko {

class LayoutKeys {
public:
    // The XKB keycode whose first level types the character of `keyCode` on a US keyboard: in layout
    // `active` first, then in the keymap's other layouts in order; else the key at the US position
    // (a non-Latin layout alone, where toolkits match shortcuts by position). Keys that type no
    // character (modifiers, arrows) always go by position. nullopt for an unknown key; a null
    // keymap gives the position.
    static std::optional<xkb_keycode_t> keycode(xkb_keymap* keymap, xkb_layout_index_t active, KeyCode keyCode);
};

}  // namespace velko
