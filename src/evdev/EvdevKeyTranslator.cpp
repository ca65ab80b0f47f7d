#include "evdev/EvdevKeyTranslator.h"

#include <xkbcommon/xkbcommon.h>

#include "xkb/KeyCharacters.h"
#include "xkb/KeyTable.h"

namespace velko {
namespace {

constexpr KeyCode noKeyCode = 0xFFFF;

}  // namespace

EvdevKeyTranslator::EvdevKeyTranslator(const std::string& keymapText) {
    context_.reset(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    if (!context_) return;
    keymap_.reset(xkb_keymap_new_from_string(context_.get(), keymapText.c_str(), XKB_KEYMAP_FORMAT_TEXT_V1,
                                             XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap_) return;
    state_.reset(xkb_state_new(keymap_.get()));
    xkb_keymap* keymap = keymap_.get();
    // By index: looking a modifier up by name on every key costs more than the rest of the key.
    modifierIndices_ = {
        xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_SHIFT), xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_CTRL),
        xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_ALT), xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_LOGO)};
}

std::uint8_t EvdevKeyTranslator::heldModifiers() const {
    constexpr std::uint8_t bits[] = {ShortcutTrigger::shift, ShortcutTrigger::control, ShortcutTrigger::alt,
                                     ShortcutTrigger::super};
    std::uint8_t held = 0;
    for (std::size_t i = 0; i < modifierIndices_.size(); ++i)
        if (xkb_state_mod_index_is_active(state_.get(), modifierIndices_[i], XKB_STATE_MODS_EFFECTIVE) > 0)
            held |= bits[i];
    return held;
}

std::optional<KeyEvent> EvdevKeyTranslator::key(int device, std::uint16_t code, std::int32_t value) {
    if (!state_ || code >= keyCount) return std::nullopt;
    auto& down = down_[device];
    const xkb_keycode_t keycode = code + KeyTable::xKeycodeOffset;
    if (value == 0) {
        if (down.test(code)) {
            down.reset(code);
            release(code);
        }
        return std::nullopt;
    }

    // The text comes from the state before this key changes it.
    xkb_state* state = state_.get();
    const xkb_keysym_t keysym = xkb_state_key_get_one_sym(state, keycode);
    char text[64] = {};
    xkb_state_key_get_utf8(state, keycode, text, sizeof text);
    const auto xState = static_cast<std::uint16_t>(xkb_state_serialize_mods(state, XKB_STATE_MODS_EFFECTIVE) & 0xFF);
    const xkb_layout_index_t layout = xkb_state_key_get_layout(state, keycode);
    const xkb_keysym_t* base = nullptr;
    const int baseCount = xkb_keymap_key_get_syms_by_level(keymap_.get(), keycode, layout, 0, &base);
    const xkb_keysym_t baseKeysym = baseCount > 0 ? base[0] : XKB_KEY_NoSymbol;

    const std::uint8_t held = heldModifiers();

    // A repeat, or a press the device reports twice, must not press a modifier twice.
    if (!down.test(code)) {
        down.set(code);
        if (holders_[code]++ == 0) xkb_state_update_key(state, keycode, XKB_KEY_DOWN);
    }

    for (const auto& hotkey : hotkeys_)
        if (hotkey.matches(keysym, baseKeysym, held)) return std::nullopt;

    KeyEvent event;
    event.keyCode = keycode <= 0xFF
                        ? KeyTable::keyCodeForXKeycode(static_cast<std::uint8_t>(keycode)).value_or(noKeyCode)
                        : noKeyCode;
    event.flags = KeyTable::eventFlags(xState);
    event.characters = KeyCharacters::forKeysym(keysym, text);
    return event;
}

void EvdevKeyTranslator::release(std::uint16_t code) {
    if (holders_[code] > 0 && --holders_[code] == 0)
        xkb_state_update_key(state_.get(), code + KeyTable::xKeycodeOffset, XKB_KEY_UP);
}

// A fresh state locked to the layout, with the locked modifiers (Caps Lock) and the held keys
// carried over: setting the layout on the state itself would undo what the held keys did.
void EvdevKeyTranslator::setLayout(std::uint32_t layout) {
    if (!state_ || layout >= xkb_keymap_num_layouts(keymap_.get())) return;
    xkb::State fresh{xkb_state_new(keymap_.get())};
    if (!fresh) return;
    xkb_state_update_mask(fresh.get(), 0, 0, xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_LOCKED), 0, 0,
                          layout);
    for (std::uint16_t code = 0; code < keyCount; ++code)
        if (holders_[code] > 0) xkb_state_update_key(fresh.get(), code + KeyTable::xKeycodeOffset, XKB_KEY_DOWN);
    state_ = std::move(fresh);
}

void EvdevKeyTranslator::forget(int device) {
    const auto found = down_.find(device);
    if (found == down_.end()) return;
    for (std::uint16_t code = 0; code < keyCount; ++code)
        if (found->second.test(code) && state_) release(code);
    down_.erase(found);
}

}  // namespace velko
