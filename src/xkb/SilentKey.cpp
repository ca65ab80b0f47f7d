#include "xkb/SilentKey.h"

#include <xkbcommon/xkbcommon.h>

namespace velko {

std::optional<std::uint16_t> silentKey(const std::shared_ptr<xkb_keymap>& keymap) {
    if (!keymap) return std::nullopt;
    // Kernel codes from Esc up to the last one an XKB keycode can hold (evdev code + 8 <= 255).
    for (std::uint16_t code = 247; code >= 1; --code) {
        const xkb_keycode_t key = code + 8;
        bool types = false;
        for (xkb_layout_index_t layout = 0; !types && layout < xkb_keymap_num_layouts_for_key(keymap.get(), key);
             ++layout)
            for (xkb_level_index_t level = 0;
                 !types && level < xkb_keymap_num_levels_for_key(keymap.get(), key, layout); ++level) {
                const xkb_keysym_t* syms = nullptr;
                types = xkb_keymap_key_get_syms_by_level(keymap.get(), key, layout, level, &syms) > 0;
            }
        if (!types && xkb_keymap_key_get_name(keymap.get(), key)) return code;
    }
    return std::nullopt;
}

}  // namespace velko
