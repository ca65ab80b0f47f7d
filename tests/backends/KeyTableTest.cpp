#include "xkb/KeyTable.h"
#include "xkb/LayoutKeys.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace velko {
namespace {

struct XkbDeleter {
    void operator()(xkb_keymap* p) const { xkb_keymap_unref(p); }
    void operator()(xkb_state* p) const { xkb_state_unref(p); }
};

// The keymap an evdev X server loads by default, built locally so no display is needed.
std::unique_ptr<xkb_keymap, XkbDeleter> usKeymap(const char* layout = "us", const char* variant = "") {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
    if (!context) return nullptr;
    const xkb_rule_names names{"evdev", "pc105", layout, variant, ""};
    std::unique_ptr<xkb_keymap, XkbDeleter> keymap{
        xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS)};
    xkb_context_unref(context);
    return keymap;
}

// Only the keys the helper presses or grabs are checked against a layout: typed keys reach the core
// by their characters, their codes serve only to match the hotkeys.
TEST(KeyTableKeys, EveryMappedKeyRoundTripsWithoutSharingAnXKeyAndTheUsedOnesSitWhereTheyShould) {
    std::set<KeyCode> mapped, reverse;
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
    EXPECT_EQ(mapped, reverse);

    const auto keymap = usKeymap();
    if (!keymap) GTEST_SKIP() << "no XKB data installed";
    for (const auto& [code, keysym] : std::map<KeyCode, std::string>{
             {KeyCodes::s, "s"}, {KeyCodes::v, "v"}, {KeyCodes::space, "space"}, {KeyCodes::backspace, "BackSpace"}}) {
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
        EXPECT_EQ(KeyTable::eventFlags(KeyTable::xStateMask(flag)), flag);
        if (!keymap) continue;
        std::unique_ptr<xkb_state, XkbDeleter> state{xkb_state_new(keymap.get())};
        xkb_state_update_key(state.get(), evdev + 8, XKB_KEY_DOWN);
        // The first eight xkbcommon modifiers are the X core ones, bit for bit.
        EXPECT_EQ(xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_EFFECTIVE) & 0xFF, KeyTable::xStateMask(flag));
    }
    // Num Lock (Mod2), Mod3, AltGr (Mod5) and mouse buttons carry no flag: a key typed with them is no shortcut.
    EXPECT_EQ(KeyTable::eventFlags(0xD | 0x10 | 0x20 | 0x80 | 0x100 | 0x400), 0x1A0000u);
}

// Shortcuts are read by the letter the layout gives: V goes out where the layout types `v`.
TEST(LayoutKeysLookup, AKeyGoesWhereTheActiveLayoutTypesItsCharacterElseAnotherLayoutElseItsPosition) {
    struct Case {
        const char* layout;
        const char* variant;
        xkb_layout_index_t active;
        xkb_keycode_t v, a, backspace, command;
    };
    const Case cases[] = {
        {"us", "", 0, KEY_V + 8, KEY_A + 8, KEY_BACKSPACE + 8, KEY_LEFTCTRL + 8},
        {"us", "dvorak", 0, KEY_DOT + 8, KEY_A + 8, KEY_BACKSPACE + 8, KEY_LEFTCTRL + 8},
        {"fr", "bepo", 0, KEY_U + 8, KEY_A + 8, KEY_BACKSPACE + 8, KEY_LEFTCTRL + 8},
        {"fr", "", 0, KEY_V + 8, KEY_Q + 8, KEY_BACKSPACE + 8, KEY_LEFTCTRL + 8},
        {"us,ru", "dvorak,", 1, KEY_DOT + 8, KEY_A + 8, KEY_BACKSPACE + 8, KEY_LEFTCTRL + 8},
        {"ru,fr", "", 0, KEY_V + 8, KEY_Q + 8, KEY_BACKSPACE + 8, KEY_LEFTCTRL + 8},
        {"ru", "", 0, KEY_V + 8, KEY_A + 8, KEY_BACKSPACE + 8, KEY_LEFTCTRL + 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.layout) + "(" + c.variant + ")");
        const auto keymap = usKeymap(c.layout, c.variant);
        if (!keymap) GTEST_SKIP() << "no XKB data installed";
        EXPECT_EQ(LayoutKeys::keycode(keymap.get(), c.active, KeyCodes::v), c.v);
        EXPECT_EQ(LayoutKeys::keycode(keymap.get(), c.active, 0), c.a);
        EXPECT_EQ(LayoutKeys::keycode(keymap.get(), c.active, KeyCodes::backspace), c.backspace);
        EXPECT_EQ(LayoutKeys::keycode(keymap.get(), c.active, 55), c.command);
    }
    // A layout the keymap does not have, or no keymap at all, is no reason to drop the stroke.
    EXPECT_EQ(LayoutKeys::keycode(usKeymap("us", "dvorak").get(), 7, KeyCodes::v), KEY_DOT + 8);
    EXPECT_EQ(LayoutKeys::keycode(nullptr, 0, KeyCodes::v), KEY_V + 8);
    EXPECT_FALSE(LayoutKeys::keycode(nullptr, 0, 10));
}

}  // namespace
}  // namespace velko
