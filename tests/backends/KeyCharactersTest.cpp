#include "xkb/KeyCharacters.h"

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <vector>

namespace velko::test {
namespace {

TEST(KeyCharacters, EachKindOfKeyReportsTheCharactersTheBufferRulesExpect) {
    struct Case {
        std::uint32_t keysym;
        std::string layoutText;
        std::optional<std::string> expected;
    };
    // Shift, letters, Ctrl+V, BackSpace, Delete, Return, arrows and F1 are typed through both key taps
    // in their tests; these are the keys they do not type.
    const std::vector<Case> cases{
        // Modifier keys alone report nothing.
        {XKB_KEY_ISO_Level3_Shift, "", std::nullopt},
        {XKB_KEY_Mode_switch, "", std::nullopt},
        {XKB_KEY_Num_Lock, "", std::nullopt},
        {XKB_KEY_KP_Enter, "\r", "\x03"},
        {XKB_KEY_ISO_Left_Tab, "\t", "\x19"},
        {XKB_KEY_KP_Up, "", "\xEF\x9C\x80"},  // U+F700
        {XKB_KEY_dead_acute, "", ""},         // empty clears, nothing would not
        {XKB_KEY_XF86AudioPlay, "", ""},
    };
    for (const auto& [keysym, text, expected] : cases)
        EXPECT_EQ(KeyCharacters::forKeysym(keysym, text), expected) << std::hex << keysym;
    for (const auto& [keysym, character] : std::vector<std::pair<std::uint32_t, char32_t>>{
             {XKB_KEY_F1, 0xF704}, {XKB_KEY_F35, 0xF726}, {XKB_KEY_KP_End, 0xF72B}, {XKB_KEY_a, 0}})
        EXPECT_EQ(KeyCharacters::functionKeyCharacter(keysym), character) << std::hex << keysym;
}

}  // namespace
}  // namespace velko::test
