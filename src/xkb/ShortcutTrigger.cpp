#include "xkb/ShortcutTrigger.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

namespace velko {
namespace {

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

std::optional<std::uint8_t> modifierNamed(std::string_view name) {
    const std::string n = lower(name);
    if (n == "shift") return ShortcutTrigger::shift;
    if (n == "ctrl" || n == "control" || n == "primary") return ShortcutTrigger::control;
    if (n == "alt" || n == "mod1") return ShortcutTrigger::alt;
    if (n == "logo" || n == "super" || n == "meta" || n == "mod4") return ShortcutTrigger::super;
    return std::nullopt;
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
    return s;
}

// The character when text is exactly one UTF-8 character, else 0.
char32_t singleCharacter(const std::string& text) {
    const auto* b = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    if (n == 1 && b[0] < 0x80) return b[0];
    if (n == 2 && (b[0] & 0xE0) == 0xC0) return char32_t(b[0] & 0x1F) << 6 | (b[1] & 0x3F);
    if (n == 3 && (b[0] & 0xF0) == 0xE0)
        return char32_t(b[0] & 0x0F) << 12 | char32_t(b[1] & 0x3F) << 6 | (b[2] & 0x3F);
    return 0;
}

}  // namespace

std::optional<ShortcutTrigger> ShortcutTrigger::parse(const std::string& text) {
    std::string_view rest = trimmed(text);
    ShortcutTrigger trigger;
    // GNOME's accelerator form puts each modifier in angle brackets before the key.
    while (!rest.empty() && rest.front() == '<') {
        const auto close = rest.find('>');
        if (close == std::string_view::npos) return std::nullopt;
        const auto modifier = modifierNamed(rest.substr(1, close - 1));
        if (!modifier) return std::nullopt;
        trigger.modifiers |= *modifier;
        rest.remove_prefix(close + 1);
    }
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        // "Ctrl++" names the plus key: a '+' right after a separator belongs to the key.
        auto plus = rest.find('+', start);
        if (plus == start && plus + 1 == rest.size()) plus = std::string_view::npos;
        parts.push_back(trimmed(rest.substr(start, plus == std::string_view::npos ? plus : plus - start)));
        if (plus == std::string_view::npos) break;
        start = plus + 1;
    }
    const std::string key(parts.back());
    parts.pop_back();
    for (const auto part : parts) {
        const auto modifier = modifierNamed(part);
        if (!modifier) return std::nullopt;
        trigger.modifiers |= *modifier;
    }
    if (key.empty()) return std::nullopt;
    // A key named by the character it types ("+", "1", "é") rather than by its keysym name.
    xkb_keysym_t sym = XKB_KEY_NoSymbol;
    if (const char32_t c = singleCharacter(key)) sym = xkb_utf32_to_keysym(c);
    if (sym == XKB_KEY_NoSymbol) sym = xkb_keysym_from_name(key.c_str(), XKB_KEYSYM_NO_FLAGS);
    if (sym == XKB_KEY_NoSymbol) sym = xkb_keysym_from_name(key.c_str(), XKB_KEYSYM_CASE_INSENSITIVE);
    if (sym == XKB_KEY_NoSymbol) return std::nullopt;
    trigger.keysym = xkb_keysym_to_lower(sym);
    return trigger;
}

bool ShortcutTrigger::matches(std::uint32_t typedKeysym, std::uint32_t baseKeysym, std::uint8_t heldModifiers) const {
    if (heldModifiers != modifiers) return false;
    return xkb_keysym_to_lower(typedKeysym) == keysym || xkb_keysym_to_lower(baseKeysym) == keysym;
}

}  // namespace velko
