#pragma once
// A shortcut trigger as desktops write it, matched against keys by keysym so that it follows the
// layout the way the desktop's own shortcut handling does. Free of xkbcommon state for testing.
#include <cstdint>
#include <optional>
#include <string>

namespace velko {

class ShortcutTrigger {
public:
    enum Modifier : std::uint8_t { shift = 1, control = 2, alt = 4, super = 8 };

    // "CTRL+SHIFT+V" (the XDG shortcuts format), "Ctrl+Shift+Space" (Plasma), "<Control><Shift>v"
    // (GNOME); nullopt for an empty text (a trigger the person left unset) or one not understood.
    static std::optional<ShortcutTrigger> parse(const std::string& text);

    // True when either keysym (the one typed, or the key's unshifted one) is the trigger's key and
    // exactly the trigger's modifiers (Modifier bits) are held; lock keys do not count.
    bool matches(std::uint32_t typedKeysym, std::uint32_t baseKeysym, std::uint8_t heldModifiers) const;

    std::uint32_t keysym = 0;  // lower case
    std::uint8_t modifiers = 0;
    bool operator==(const ShortcutTrigger&) const = default;
};

}  // namespace velko
