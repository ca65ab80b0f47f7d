#include "xkb/KeyCharacters.h"

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include "posix/PosixUserSession.h"

namespace velko::test {
namespace {

const std::string f700 = "\xEF\x9C\x80";

TEST(KeyCharacters, ModifierKeysAloneReportNothing) {
    for (const auto keysym : {XKB_KEY_Shift_L, XKB_KEY_Control_R, XKB_KEY_Alt_L, XKB_KEY_Super_L, XKB_KEY_Caps_Lock,
                              XKB_KEY_Num_Lock, XKB_KEY_ISO_Level3_Shift, XKB_KEY_ISO_Next_Group, XKB_KEY_Mode_switch})
        EXPECT_EQ(KeyCharacters::forKeysym(keysym, ""), std::nullopt) << std::hex << keysym;
}

TEST(KeyCharacters, EditingKeysReportTheCharactersTheBufferRulesExpect) {
    // xkbcommon says "\b" for BackSpace and "\x7f" for forward Delete; the buffer needs the reverse.
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_BackSpace, "\b"), "\x7f");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_Delete, "\x7f"), "\xEF\x9C\xA8");  // U+F728
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_KP_Delete, "\x7f"), "\xEF\x9C\xA8");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_Return, "\r"), "\r");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_KP_Enter, "\r"), "\x03");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_Tab, "\t"), "\t");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_ISO_Left_Tab, "\t"), "\x19");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_Escape, "\x1b"), "\x1b");
}

TEST(KeyCharacters, NavigationAndFunctionKeysUseThePrivateUseBlock) {
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_Up, ""), f700);
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_KP_Up, ""), f700);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_Right), 0xF703u);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_F1), 0xF704u);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_F12), 0xF70Fu);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_F35), 0xF726u);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_Home), 0xF729u);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_KP_End), 0xF72Bu);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_Page_Down), 0xF72Du);
    EXPECT_EQ(KeyCharacters::functionKeyCharacter(XKB_KEY_a), 0u);
}

TEST(KeyCharacters, OtherKeysReportTheLayoutsTextEvenWhenEmpty) {
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_a, "a"), "a");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_KP_1, "1"), "1");
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_v, "\x16"), "\x16");   // Ctrl+V
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_dead_acute, ""), "");  // empty clears, nothing would not
    EXPECT_EQ(KeyCharacters::forKeysym(XKB_KEY_XF86AudioPlay, ""), "");
}

}  // namespace
}  // namespace velko::test
