#pragma once
#include <linux/input.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/Result.h"
#include "platform/SyntheticKeyboard.h"
#include "xkb/EvdevStroke.h"

namespace velko {

// Posts through a virtual keyboard of the kernel's (/dev/uinput), which the compositor reads like
// any other keyboard, so keys reach Wayland and X11 windows alike. Needs write access to the
// device node, which desktops grant only to some users.
class UinputKeyboard : public SyntheticKeyboard {
public:
    // Creates the virtual keyboard through `path`; the why when the node cannot be opened for
    // writing or refuses the setup.
    static Result<std::unique_ptr<UinputKeyboard>> open(const std::string& path = "/dev/uinput");
    // Writes the records of each event to `fd`, which it closes when done; no device is set up.
    explicit UinputKeyboard(int fd) : fd_(fd) {}
    ~UinputKeyboard() override;
    UinputKeyboard(const UinputKeyboard&) = delete;
    UinputKeyboard& operator=(const UinputKeyboard&) = delete;

    // The records for one event's key changes, each change its own frame (a SYN_REPORT after it).
    static std::vector<input_event> records(const std::vector<EvdevStroke::Change>& changes);

    // Always true: the device reaches whichever window has the focus, which it cannot see.
    bool hasFrontmostApplication() override { return true; }
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;
    // The session's keymap, to send each key where it types its character; by position without.
    void setKeymap(std::shared_ptr<xkb_keymap> keymap, std::uint32_t active = 0) {
        stroke_.setKeymap(std::move(keymap), active);
    }

private:
    int fd_;
    bool created_ = false;
    EvdevStroke stroke_;
};

}  // namespace velko
