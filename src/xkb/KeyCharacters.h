#pragma once
// What a key-down types, from its keysym and xkbcommon's text for it. Kept free of X and
// xkbcommon state so it can be tested without a display.
#include <cstdint>
#include <optional>
#include <string>

namespace velko {

class KeyCharacters {
public:
    // U+007F for BackSpace; control characters for Return, Tab, Escape; the U+F700-block
    // characters for arrows, function and navigation keys; nullopt for a modifier key;
    // otherwise the layout's text, which is empty for keys that type nothing (dead keys, media keys).
    static std::optional<std::string> forKeysym(std::uint32_t keysym, const std::string& layoutText);
    // Shift, Control, Alt, Super, AltGr, Caps/Num Lock, group switches and the like.
    static bool isModifier(std::uint32_t keysym);
    // The private-use character for a function or navigation key; 0 for other keys.
    static char32_t functionKeyCharacter(std::uint32_t keysym);
};

}  // namespace velko
