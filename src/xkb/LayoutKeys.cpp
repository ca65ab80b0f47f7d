#include "xkb/LayoutKeys.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include "xkb/KeyTable.h"

namespace velko {
namespace {

struct Typed {
    KeyCode keyCode;
    xkb_keysym_t keysym;
};

// What the first level of each key gives on a US keyboard; Latin-1 keysyms equal their characters.
constexpr Typed typed[] = {
    {0, 'a'},
    {1, 's'},
    {2, 'd'},
    {3, 'f'},
    {4, 'h'},
    {5, 'g'},
    {6, 'z'},
    {7, 'x'},
    {8, 'c'},
    {9, 'v'},
    {11, 'b'},
    {12, 'q'},
    {13, 'w'},
    {14, 'e'},
    {15, 'r'},
    {16, 'y'},
    {17, 't'},
    {18, '1'},
    {19, '2'},
    {20, '3'},
    {21, '4'},
    {22, '6'},
    {23, '5'},
    {24, '='},
    {25, '9'},
    {26, '7'},
    {27, '-'},
    {28, '8'},
    {29, '0'},
    {30, ']'},
    {31, 'o'},
    {32, 'u'},
    {33, '['},
    {34, 'i'},
    {35, 'p'},
    {37, 'l'},
    {38, 'j'},
    {39, '\''},
    {40, 'k'},
    {41, ';'},
    {42, '\\'},
    {43, ','},
    {44, '/'},
    {45, 'n'},
    {46, 'm'},
    {47, '.'},
    {49, ' '},
    {50, '`'},
    {36, XKB_KEY_Return},
    {48, XKB_KEY_Tab},
    {51, XKB_KEY_BackSpace},
    {53, XKB_KEY_Escape},
};

std::optional<xkb_keysym_t> usKeysym(KeyCode keyCode) {
    for (const auto& key : typed)
        if (key.keyCode == keyCode) return key.keysym;
    return std::nullopt;
}

std::optional<xkb_keycode_t> find(xkb_keymap* keymap, xkb_layout_index_t layout, xkb_keysym_t keysym) {
    const xkb_keycode_t last = xkb_keymap_max_keycode(keymap);
    for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap); key <= last; ++key) {
        if (layout >= xkb_keymap_num_layouts_for_key(keymap, key)) continue;
        const xkb_keysym_t* syms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap, key, layout, 0, &syms) == 1 && syms[0] == keysym) return key;
    }
    return std::nullopt;
}

}  // namespace

std::optional<xkb_keycode_t> LayoutKeys::keycode(xkb_keymap* keymap, xkb_layout_index_t active, KeyCode keyCode) {
    const auto position = KeyTable::xKeycode(keyCode);
    if (!position) return std::nullopt;
    const auto keysym = usKeysym(keyCode);
    if (!keymap || !keysym) return *position;
    const xkb_layout_index_t layouts = xkb_keymap_num_layouts(keymap);
    if (active < layouts)
        if (const auto key = find(keymap, active, *keysym)) return key;
    for (xkb_layout_index_t layout = 0; layout < layouts; ++layout)
        if (layout != active)
            if (const auto key = find(keymap, layout, *keysym)) return key;
    return *position;
}

}  // namespace velko
