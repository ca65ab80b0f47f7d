#include "xkb/KeyCharacters.h"

#include <unicode/utf8.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <utility>

namespace velko {
namespace {

std::string utf8(char32_t c) {
    char bytes[U8_MAX_LENGTH];
    std::int32_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, static_cast<UChar32>(c));
    return {bytes, static_cast<std::size_t>(length)};
}

// The characters the clipboard manager's home platform reports for these keys (its function-key
// block starts at U+F700), so that they clear the typing buffer there and here alike.
constexpr std::pair<std::uint32_t, char32_t> functionKeys[] = {
    {XKB_KEY_Up, 0xF700},     {XKB_KEY_KP_Up, 0xF700},     {XKB_KEY_Down, 0xF701},    {XKB_KEY_KP_Down, 0xF701},
    {XKB_KEY_Left, 0xF702},   {XKB_KEY_KP_Left, 0xF702},   {XKB_KEY_Right, 0xF703},   {XKB_KEY_KP_Right, 0xF703},
    {XKB_KEY_Insert, 0xF727}, {XKB_KEY_KP_Insert, 0xF727}, {XKB_KEY_Delete, 0xF728},  {XKB_KEY_KP_Delete, 0xF728},
    {XKB_KEY_Home, 0xF729},   {XKB_KEY_KP_Home, 0xF729},   {XKB_KEY_Begin, 0xF72A},   {XKB_KEY_KP_Begin, 0xF72A},
    {XKB_KEY_End, 0xF72B},    {XKB_KEY_KP_End, 0xF72B},    {XKB_KEY_Prior, 0xF72C},   {XKB_KEY_KP_Prior, 0xF72C},
    {XKB_KEY_Next, 0xF72D},   {XKB_KEY_KP_Next, 0xF72D},   {XKB_KEY_Print, 0xF72E},   {XKB_KEY_Scroll_Lock, 0xF72F},
    {XKB_KEY_Pause, 0xF730},  {XKB_KEY_Sys_Req, 0xF731},   {XKB_KEY_Break, 0xF732},   {XKB_KEY_Menu, 0xF735},
    {XKB_KEY_Clear, 0xF739},  {XKB_KEY_Select, 0xF741},    {XKB_KEY_Execute, 0xF742}, {XKB_KEY_Undo, 0xF743},
    {XKB_KEY_Redo, 0xF744},   {XKB_KEY_Find, 0xF745},      {XKB_KEY_Help, 0xF746},
};

}  // namespace

bool KeyCharacters::isModifier(std::uint32_t keysym) {
    return (keysym >= XKB_KEY_Shift_L && keysym <= XKB_KEY_Hyper_R) ||           // Shift .. Hyper, locks
           (keysym >= XKB_KEY_ISO_Lock && keysym <= XKB_KEY_ISO_Level5_Lock) ||  // level and group keys
           keysym == XKB_KEY_Mode_switch || keysym == XKB_KEY_Num_Lock;
}

char32_t KeyCharacters::functionKeyCharacter(std::uint32_t keysym) {
    if (keysym >= XKB_KEY_F1 && keysym <= XKB_KEY_F35) return 0xF704 + (keysym - XKB_KEY_F1);
    for (const auto& [sym, character] : functionKeys)
        if (sym == keysym) return character;
    return 0;
}

std::optional<std::string> KeyCharacters::forKeysym(std::uint32_t keysym, const std::string& layoutText) {
    if (isModifier(keysym)) return std::nullopt;
    switch (keysym) {
        case XKB_KEY_BackSpace:
            return std::string("\x7f");
        case XKB_KEY_Return:
            return std::string("\r");
        case XKB_KEY_KP_Enter:
            return std::string("\x03");
        case XKB_KEY_Tab:
            return std::string("\t");
        case XKB_KEY_ISO_Left_Tab:
            return std::string("\x19");
        case XKB_KEY_Escape:
            return std::string("\x1b");
        default:
            break;
    }
    if (const char32_t c = functionKeyCharacter(keysym)) return utf8(c);
    return layoutText;
}

}  // namespace velko
