#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "platform/Result.h"
#include "platform/SyntheticKeyboard.h"

struct zwp_virtual_keyboard_manager_v1;
struct zwp_virtual_keyboard_v1;

namespace velko {

class WaylandConnection;

// Posts through the compositor's zwp_virtual_keyboard_v1, a keyboard of its own with the "us" keymap,
// so a key lands on its position whatever the user's layout, and its modifier state is the stroke's
// alone: keys held on other keyboards do not reach the stroke.
class WaylandVirtualKeyboard : public SyntheticKeyboard {
public:
    // A keyboard on $WAYLAND_DISPLAY; the why when there is none (no compositor, no protocol, refused).
    static Result<std::unique_ptr<WaylandVirtualKeyboard>> connect();
    ~WaylandVirtualKeyboard() override;
    WaylandVirtualKeyboard(const WaylandVirtualKeyboard&) = delete;
    WaylandVirtualKeyboard& operator=(const WaylandVirtualKeyboard&) = delete;

    // Wayland does not say which window has the focus: true while the compositor connection works.
    bool hasFrontmostApplication() override;
    // Sets the modifiers to exactly `flags`, then the key; false (nothing posted) for an unknown key or no compositor.
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;

    // Uploads the keyboard's own keymap again, after the compositor replaced it with the person's
    // (sway does at a change of its keyboard settings); false when the compositor is gone.
    bool restoreKeymap();
    // The name of the keymap's layout, as the compositor reports it ("English (US)").
    const std::string& layoutName() const { return layoutName_; }

    // False from the first connection error on, for good: a new compositor needs a new keyboard.
    bool isAlive() const { return alive_; }
    // The compositor socket, for the caller's loop to call dispatch() when it is readable.
    int fd() const;
    // Reads and handles what the compositor sent, without blocking; false once the connection is gone.
    bool dispatch();

private:
    struct ModifierMasks {
        std::uint32_t control = 0, mod1 = 0, shift = 0, mod4 = 0, lock = 0;
    };

    WaylandVirtualKeyboard();
    // The plain "us" layout as text, whatever XKB_DEFAULT_* or the desktop says; empty on failure.
    static std::string compileUsKeymap(ModifierMasks& masks, std::string& layoutName);
    bool uploadKeymap();

    std::unique_ptr<WaylandConnection> connection_;  // first, so that it closes last
    zwp_virtual_keyboard_manager_v1* manager_ = nullptr;
    zwp_virtual_keyboard_v1* keyboard_ = nullptr;
    ModifierMasks masks_;
    std::string keymap_;
    std::string layoutName_;
    bool alive_ = false;
};

}  // namespace velko
