#include "xkb/EvdevStroke.h"

#include <algorithm>
#include <array>

#include <xkbcommon/xkbcommon.h>

#include "xkb/KeyTable.h"
#include "xkb/LayoutKeys.h"
#include "xkb/XkbHandles.h"

namespace velko {
namespace {

// Caps Lock is left out: it is a latched state these backends cannot read, so a tap could as
// well turn it off as on.
constexpr std::array<EventFlags, 4> modifierFlags{Flags::command, Flags::option, Flags::shift, Flags::control};

std::vector<std::uint16_t> modifierCodes(EventFlags flags) {
    std::vector<std::uint16_t> codes;
    for (const EventFlags flag : modifierFlags) {
        if (!(flags & flag)) continue;
        if (const auto x = KeyTable::modifierXKeycode(flag)) codes.push_back(*x - KeyTable::xKeycodeOffset);
    }
    return codes;
}

bool contains(const std::vector<std::uint16_t>& codes, std::uint16_t code) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

}  // namespace

void EvdevStroke::setKeymap(std::shared_ptr<xkb_keymap> keymap, std::uint32_t active) {
    keymap_ = std::move(keymap);
    active_ = active;
}

std::shared_ptr<xkb_keymap> EvdevStroke::compile(const std::string& text) {
    if (text.empty()) return nullptr;
    const xkb::Context context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    if (!context) return nullptr;
    return xkb::Keymap(xkb_keymap_new_from_string(context.get(), text.c_str(), XKB_KEYMAP_FORMAT_TEXT_V1,
                                                  XKB_KEYMAP_COMPILE_NO_FLAGS));
}

void EvdevStroke::forget() {
    pressed_.clear();
    held_.reset();
}

std::optional<std::uint16_t> EvdevStroke::code(KeyCode keyCode, bool keyDown) {
    // A key-up goes to the key its key-down pressed, even if the keymap changed in between.
    if (!keyDown && held_ && held_->first == keyCode) return held_->second;
    auto key = KeyTable::evdevCode(keyCode);
    if (!key) return std::nullopt;
    if (keymap_) {
        const auto found = LayoutKeys::keycode(keymap_.get(), active_, keyCode);
        const auto declared = codes();
        if (found && *found >= KeyTable::xKeycodeOffset &&
            std::binary_search(declared.begin(), declared.end(), *found - KeyTable::xKeycodeOffset))
            key = static_cast<std::uint16_t>(*found - KeyTable::xKeycodeOffset);
    }
    held_.reset();
    if (keyDown) held_.emplace(keyCode, *key);
    return key;
}

std::vector<EvdevStroke::Change> EvdevStroke::changes(KeyCode keyCode, EventFlags flags, bool keyDown) {
    const auto key = code(keyCode, keyDown);
    if (!key) return {};
    std::vector<Change> out;
    if (!keyDown) {
        out.push_back({*key, false});
        for (auto it = pressed_.rbegin(); it != pressed_.rend(); ++it) out.push_back({*it, false});
        pressed_.clear();
        return out;
    }
    const auto wanted = modifierCodes(flags);
    // A modifier left down by an earlier key-down without its key-up must not leak into this one.
    for (auto it = pressed_.rbegin(); it != pressed_.rend(); ++it)
        if (!contains(wanted, *it)) out.push_back({*it, false});
    std::erase_if(pressed_, [&](std::uint16_t code) { return !contains(wanted, code); });
    for (const std::uint16_t code : wanted) {
        if (contains(pressed_, code)) continue;
        out.push_back({code, true});
        pressed_.push_back(code);
    }
    out.push_back({*key, true});
    return out;
}

std::vector<std::uint16_t> EvdevStroke::codes() {
    std::vector<std::uint16_t> codes;
    for (unsigned keyCode = 0; keyCode < 128; ++keyCode)
        if (const auto code = KeyTable::evdevCode(static_cast<KeyCode>(keyCode))) codes.push_back(*code);
    std::sort(codes.begin(), codes.end());
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
    return codes;
}

}  // namespace velko
