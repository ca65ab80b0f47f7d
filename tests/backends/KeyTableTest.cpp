#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <memory>
#include <set>
#include <string>

#include "xkb/KeyTable.h"

namespace velko {
namespace {

// Every virtual key the helper maps, with the US keysym of the key at its position.
struct NamedKey {
    KeyCode keyCode;
    const char* keysym;
};
constexpr NamedKey namedKeys[] = {
    {0, "a"},        {1, "s"},          {2, "d"},
    {3, "f"},        {4, "h"},          {5, "g"},
    {6, "z"},        {7, "x"},          {8, "c"},
    {9, "v"},        {11, "b"},         {12, "q"},
    {13, "w"},       {14, "e"},         {15, "r"},
    {16, "y"},       {17, "t"},         {18, "1"},
    {19, "2"},       {20, "3"},         {21, "4"},
    {22, "6"},       {23, "5"},         {24, "equal"},
    {25, "9"},       {26, "7"},         {27, "minus"},
    {28, "8"},       {29, "0"},         {30, "bracketright"},
    {31, "o"},       {32, "u"},         {33, "bracketleft"},
    {34, "i"},       {35, "p"},         {36, "Return"},
    {37, "l"},       {38, "j"},         {39, "apostrophe"},
    {40, "k"},       {41, "semicolon"}, {42, "backslash"},
    {43, "comma"},   {44, "slash"},     {45, "n"},
    {46, "m"},       {47, "period"},    {48, "Tab"},
    {49, "space"},   {50, "grave"},     {51, "BackSpace"},
    {53, "Escape"},  {54, "Control_R"}, {55, "Control_L"},
    {56, "Shift_L"}, {57, "Caps_Lock"}, {58, "Alt_L"},
    {59, "Super_L"}, {60, "Shift_R"},   {61, "Alt_R"},
    {62, "Super_R"}, {96, "F5"},        {97, "F6"},
    {98, "F7"},      {99, "F3"},        {100, "F8"},
    {101, "F9"},     {103, "F11"},      {109, "F10"},
    {111, "F12"},    {115, "Home"},     {116, "Prior"},
    {117, "Delete"}, {118, "F4"},       {119, "End"},
    {120, "F2"},     {121, "Next"},     {122, "F1"},
    {123, "Left"},   {124, "Right"},    {125, "Down"},
    {126, "Up"},
};

constexpr EventFlags allModifierFlags[] = {Flags::capsLock, Flags::shift, Flags::control, Flags::option,
                                           Flags::command};

TEST(KeyTableKeys, EveryMappedKeyRoundTripsAndNothingElseIsMapped) {
    std::set<KeyCode> expected;
    for (const auto& key : namedKeys) {
        SCOPED_TRACE(key.keysym);
        expected.insert(key.keyCode);
        const auto x = KeyTable::xKeycode(key.keyCode);
        ASSERT_TRUE(x.has_value());
        EXPECT_EQ(KeyTable::evdevCode(key.keyCode), *x - 8);  // X numbers evdev keys from 8
        EXPECT_EQ(KeyTable::keyCodeForXKeycode(*x), key.keyCode);
    }
    std::set<KeyCode> mapped;
    for (int code = 0; code <= 0xFFFF; ++code)
        if (KeyTable::xKeycode(static_cast<KeyCode>(code))) mapped.insert(static_cast<KeyCode>(code));
    EXPECT_EQ(mapped, expected);
    // No two virtual keys may share an X key, or taps could not tell them apart.
    std::set<KeyCode> reverse;
    for (int x = 0; x <= 255; ++x)
        if (const auto keyCode = KeyTable::keyCodeForXKeycode(static_cast<std::uint8_t>(x))) {
            EXPECT_EQ(KeyTable::xKeycode(*keyCode), x);
            reverse.insert(*keyCode);
        }
    EXPECT_EQ(reverse, expected);
}

TEST(KeyTableKeys, UnknownCodesGiveNothing) {
    for (KeyCode keyCode : {KeyCode{10}, KeyCode{52}, KeyCode{63}, KeyCode{127}, KeyCode{0xFFFF}}) {
        EXPECT_FALSE(KeyTable::evdevCode(keyCode)) << keyCode;
        EXPECT_FALSE(KeyTable::xKeycode(keyCode)) << keyCode;
    }
    // Below the evdev offset, Num Lock, and the top of the range.
    for (int x : {0, 7, 8, KEY_NUMLOCK + 8, 255}) EXPECT_FALSE(KeyTable::keyCodeForXKeycode(x)) << x;
}

struct XkbDeleter {
    void operator()(xkb_context* p) const { xkb_context_unref(p); }
    void operator()(xkb_keymap* p) const { xkb_keymap_unref(p); }
    void operator()(xkb_state* p) const { xkb_state_unref(p); }
};

// The keymap an evdev X server loads by default, built locally so no display is needed.
std::unique_ptr<xkb_keymap, XkbDeleter> usKeymap() {
    std::unique_ptr<xkb_context, XkbDeleter> context{xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES)};
    if (!context) return nullptr;
    const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
    return std::unique_ptr<xkb_keymap, XkbDeleter>{
        xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)};
}

TEST(KeyTableKeys, EveryKeyIsTheOneItIsNamedForOnAUsLayout) {
    const auto keymap = usKeymap();
    if (!keymap) GTEST_SKIP() << "no XKB data installed";
    for (const auto& key : namedKeys) {
        SCOPED_TRACE(key.keysym);
        const auto x = KeyTable::xKeycode(key.keyCode);
        ASSERT_TRUE(x.has_value());
        const xkb_keysym_t* syms = nullptr;
        ASSERT_EQ(xkb_keymap_key_get_syms_by_level(keymap.get(), *x, 0, 0, &syms), 1);
        char name[64];
        xkb_keysym_get_name(syms[0], name, sizeof name);
        EXPECT_STREQ(name, key.keysym);
    }
}

TEST(KeyTableModifiers, EachFlagsKeySetsTheXModifierThatFlagMapsTo) {
    const auto keymap = usKeymap();
    if (!keymap) GTEST_SKIP() << "no XKB data installed";
    for (const EventFlags flag : allModifierFlags) {
        SCOPED_TRACE(flag);
        const auto x = KeyTable::modifierXKeycode(flag);
        ASSERT_TRUE(x.has_value());
        std::unique_ptr<xkb_state, XkbDeleter> state{xkb_state_new(keymap.get())};
        xkb_state_update_key(state.get(), *x, XKB_KEY_DOWN);
        // The first eight xkbcommon modifiers are the X core ones, bit for bit.
        EXPECT_EQ(xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_EFFECTIVE) & 0xFF, KeyTable::xStateMask(flag));
    }
}

TEST(KeyTableModifiers, FlagsPressTheAgreedKeys) {
    EXPECT_EQ(KeyTable::modifierXKeycode(Flags::command), KEY_LEFTCTRL + 8);
    EXPECT_EQ(KeyTable::modifierXKeycode(Flags::option), KEY_LEFTALT + 8);
    EXPECT_EQ(KeyTable::modifierXKeycode(Flags::shift), KEY_LEFTSHIFT + 8);
    EXPECT_EQ(KeyTable::modifierXKeycode(Flags::control), KEY_LEFTMETA + 8);
    EXPECT_EQ(KeyTable::modifierXKeycode(Flags::capsLock), KEY_CAPSLOCK + 8);
    // One key per flag: a combination or a flag without a key gives none.
    EXPECT_FALSE(KeyTable::modifierXKeycode(Flags::command | Flags::shift));
    EXPECT_FALSE(KeyTable::modifierXKeycode(Flags::numericPad));
    EXPECT_FALSE(KeyTable::modifierXKeycode(0));
}

TEST(KeyTableModifiers, BitsWithoutAModifierAreDropped) {
    // The paste requests' masks, with the keypad flag and the bits below the modifiers added.
    EXPECT_EQ(KeyTable::xStateMask(0x100000 | Flags::numericPad | 0xFFFF), 0x4);
    EXPECT_EQ(KeyTable::xStateMask(0x1A0000), 0xD);
    // Num Lock (Mod2), Mod3, AltGr (Mod5) and mouse buttons carry no flag.
    EXPECT_EQ(KeyTable::eventFlags(0xD | 0x10 | 0x20 | 0x80 | 0x100 | 0x400), 0x1A0000u);
}

TEST(KeyTableModifiers, EveryFlagCombinationRoundTrips) {
    for (unsigned combo = 0; combo < 32; ++combo) {
        EventFlags flags = 0;
        for (unsigned i = 0; i < 5; ++i)
            if (combo & (1u << i)) flags |= allModifierFlags[i];
        EXPECT_EQ(KeyTable::eventFlags(KeyTable::xStateMask(flags)), flags) << std::hex << flags;
    }
}

}  // namespace
}  // namespace velko
