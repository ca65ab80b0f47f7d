#pragma once
// Key events with modifier flags as kernel key changes, for the backends that speak evdev codes
// (a uinput device, the RemoteDesktop portal). Holds no device, so it is the same for both.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Types.h"

struct xkb_keymap;

namespace velko {

class EvdevStroke {
public:
    struct Change {
        std::uint16_t code;
        bool down;
        bool operator==(const Change&) const = default;
    };

    // The changes that post one key event carrying exactly the Command, Option, Shift and Control
    // modifiers in `flags`; empty (and nothing remembered) when the key has no evdev code.
    std::vector<Change> changes(KeyCode keyCode, EventFlags flags, bool keyDown);
    // Keys go where `keymap` types their characters, layout `active` first; without one, or for a
    // key that only a code outside codes() types, by their US position.
    void setKeymap(std::shared_ptr<xkb_keymap> keymap, std::uint32_t active = 0);
    // The keymap of an XKB keymap text; null when it does not compile.
    static std::shared_ptr<xkb_keymap> compile(const std::string& text);
    // Forgets what earlier key-downs pressed, for a new device; the keymap stays.
    void forget();
    // Every code changes() can produce, for a device that declares its keys before use.
    static std::vector<std::uint16_t> codes();

private:
    std::optional<std::uint16_t> code(KeyCode keyCode, bool keyDown);

    std::shared_ptr<xkb_keymap> keymap_;
    std::uint32_t active_ = 0;
    // The virtual key of the last key-down and the code it pressed, for its key-up.
    std::optional<std::pair<KeyCode, std::uint16_t>> held_;
    // Modifiers that key-downs pressed and the next key-up releases, in the order pressed.
    std::vector<std::uint16_t> pressed_;
};

}  // namespace velko
