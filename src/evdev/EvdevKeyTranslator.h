#pragma once
#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/KeyEventTap.h"
#include "xkb/ShortcutTrigger.h"
#include "xkb/XkbHandles.h"

namespace velko {

// Turns the kernel key codes of any number of keyboards into key-downs with their text. The seat
// has one modifier state, as in the compositor: Shift held on one keyboard shifts the letters of
// another. Not thread-safe: one thread feeds it.
class EvdevKeyTranslator {
public:
    static constexpr std::size_t keyCount = 0x300;  // KEY_CNT

    // keymapText: an XKB keymap in text form; an unreadable one leaves the translator invalid.
    explicit EvdevKeyTranslator(const std::string& keymapText);

    bool valid() const { return state_ != nullptr; }

    // One EV_KEY record of a device (value 1 press, 2 auto-repeat, 0 release): the key-down it
    // makes, auto-repeats included; nullopt for a release, a hotkey's press, an unknown code or
    // an invalid translator.
    std::optional<KeyEvent> key(int device, std::uint16_t code, std::int32_t value);
    // The device is gone or lost events: the keys it held are let go, so a Shift held there does
    // not stay down for the other keyboards.
    void forget(int device);
    // The desktop switched to the keymap's layout (group) of this index; held keys stay held.
    // An index the keymap does not have is ignored.
    void setLayout(std::uint32_t layout);
    // Presses matching one of these are the desktop's hotkeys; they leave the typing alone.
    void setHotkeys(std::vector<ShortcutTrigger> hotkeys) { hotkeys_ = std::move(hotkeys); }

private:
    void release(std::uint16_t code);
    std::uint8_t heldModifiers() const;

    xkb::Context context_;
    xkb::Keymap keymap_;
    xkb::State state_;
    std::map<int, std::bitset<keyCount>> down_;     // per device
    std::array<std::uint8_t, keyCount> holders_{};  // how many devices hold each key
    std::vector<ShortcutTrigger> hotkeys_;
    std::array<std::uint32_t, 4> modifierIndices_{};  // Shift, Control, Alt, Super in the keymap
};

}  // namespace velko
