#include "xkb/KeyTable.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>

namespace velko {
namespace {

// Every virtual key the helper maps, with the US keysym of the key at its position.
std::map<KeyCode, std::string> namedKeys() {
    std::istringstream in(
        "0 a 1 s 2 d 3 f 4 h 5 g 6 z 7 x 8 c 9 v 11 b 12 q 13 w 14 e 15 r 16 y 17 t 18 1 19 2 20 3 21 4 22 6 23 5 "
        "24 equal 25 9 26 7 27 minus 28 8 29 0 30 bracketright 31 o 32 u 33 bracketleft 34 i 35 p 36 Return 37 l "
        "38 j 39 apostrophe 40 k 41 semicolon 42 backslash 43 comma 44 slash 45 n 46 m 47 period 48 Tab 49 space "
        "50 grave 51 BackSpace 53 Escape 54 Control_R 55 Control_L 56 Shift_L 57 Caps_Lock 58 Alt_L 59 Super_L "
        "60 Shift_R 61 Alt_R 62 Super_R 96 F5 97 F6 98 F7 99 F3 100 F8 101 F9 103 F11 109 F10 111 F12 115 Home "
        "116 Prior 117 Delete 118 F4 119 End 120 F2 121 Next 122 F1 123 Left 124 Right 125 Down 126 Up");
    std::map<KeyCode, std::string> keys;
    KeyCode code = 0;
    std::string keysym;
    while (in >> code >> keysym) keys[code] = keysym;
    return keys;
}

struct XkbDeleter {
    void operator()(xkb_keymap* p) const { xkb_keymap_unref(p); }
    void operator()(xkb_state* p) const { xkb_state_unref(p); }
};

// The keymap an evdev X server loads by default, built locally so no display is needed.
std::unique_ptr<xkb_keymap, XkbDeleter> usKeymap() {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
    if (!context) return nullptr;
    const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
    std::unique_ptr<xkb_keymap, XkbDeleter> keymap{
        xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS)};
    xkb_context_unref(context);
    return keymap;
}

TEST(KeyTableKeys, EveryMappedKeyIsTheOneItIsNamedForAndRoundTripsAndNothingElseIsMapped) {
    const auto keys = namedKeys();
    std::set<KeyCode> mapped, reverse, named;
    for (int code = 0; code <= 0xFFFF; ++code) {
        const auto x = KeyTable::xKeycode(static_cast<KeyCode>(code));
        if (!x) {
            EXPECT_FALSE(KeyTable::evdevCode(static_cast<KeyCode>(code))) << code;
            continue;
        }
        mapped.insert(static_cast<KeyCode>(code));
        EXPECT_EQ(KeyTable::evdevCode(static_cast<KeyCode>(code)), *x - 8);  // X numbers evdev keys from 8
    }
    // No two virtual keys may share an X key, or taps could not tell them apart.
    for (int x = 0; x <= 255; ++x)
        if (const auto keyCode = KeyTable::keyCodeForXKeycode(static_cast<std::uint8_t>(x))) {
            EXPECT_EQ(KeyTable::xKeycode(*keyCode), x);
            reverse.insert(*keyCode);
        }
    for (const auto& [code, keysym] : keys) named.insert(code);
    EXPECT_EQ(mapped, named);
    EXPECT_EQ(reverse, named);

    const auto keymap = usKeymap();
    if (!keymap) GTEST_SKIP() << "no XKB data installed";
    for (const auto& [code, keysym] : keys) {
        const xkb_keysym_t* syms = nullptr;
        ASSERT_EQ(xkb_keymap_key_get_syms_by_level(keymap.get(), *KeyTable::xKeycode(code), 0, 0, &syms), 1);
        char name[64];
        xkb_keysym_get_name(syms[0], name, sizeof name);
        EXPECT_EQ(name, keysym) << code;
    }
}

TEST(KeyTableModifiers, EachFlagPressesItsAgreedKeyWhichSetsTheXModifierTheFlagMapsTo) {
    const std::map<EventFlags, int> agreed{{Flags::command, KEY_LEFTCTRL},
                                           {Flags::option, KEY_LEFTALT},
                                           {Flags::shift, KEY_LEFTSHIFT},
                                           {Flags::control, KEY_LEFTMETA},
                                           {Flags::capsLock, KEY_CAPSLOCK}};
    // One key per flag: a combination or a flag without a key gives none.
    for (const EventFlags none : {Flags::command | Flags::shift, Flags::numericPad, EventFlags{0}})
        EXPECT_FALSE(KeyTable::modifierXKeycode(none)) << none;
    const auto keymap = usKeymap();
    for (const auto& [flag, evdev] : agreed) {
        SCOPED_TRACE(flag);
        EXPECT_EQ(KeyTable::modifierXKeycode(flag), evdev + 8);
        if (!keymap) continue;
        std::unique_ptr<xkb_state, XkbDeleter> state{xkb_state_new(keymap.get())};
        xkb_state_update_key(state.get(), evdev + 8, XKB_KEY_DOWN);
        // The first eight xkbcommon modifiers are the X core ones, bit for bit.
        EXPECT_EQ(xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_EFFECTIVE) & 0xFF, KeyTable::xStateMask(flag));
    }
}

TEST(KeyTableModifiers, EveryFlagCombinationRoundTripsAndOtherBitsAreDropped) {
    for (EventFlags flags = 0; flags <= 0x1F0000; flags += 0x10000)
        EXPECT_EQ(KeyTable::eventFlags(KeyTable::xStateMask(flags)), flags) << std::hex << flags;
    // The paste requests' masks, with the keypad flag and the bits below the modifiers added.
    EXPECT_EQ(KeyTable::xStateMask(0x100000 | Flags::numericPad | 0xFFFF), 0x4);
    EXPECT_EQ(KeyTable::xStateMask(0x1A0000), 0xD);
    // Num Lock (Mod2), Mod3, AltGr (Mod5) and mouse buttons carry no flag.
    EXPECT_EQ(KeyTable::eventFlags(0xD | 0x10 | 0x20 | 0x80 | 0x100 | 0x400), 0x1A0000u);
}

}  // namespace
}  // namespace velko
