#pragma once
#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "platform/SyntheticKeyboard.h"
#include "x11/X11ActiveKeymap.h"
#include "x11/X11Connection.h"

namespace velko {

// Posts through XTEST, each key where the active layout types its character. Modifiers held at the key-down that the
// stroke does not ask for are lifted and the asked-for ones pressed; both are put back after the key-up.
class X11SyntheticKeyboard : public SyntheticKeyboard {
public:
    explicit X11SyntheticKeyboard(X11Connection& connection) : connection_(connection) {}
    bool hasFrontmostApplication() override;
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;

private:
    struct KeyChange {
        std::uint8_t keycode;
        bool down;
    };
    using Changes = std::vector<KeyChange>;

    std::optional<Changes> modifierChanges(xcb_connection_t* c, EventFlags flags);
    bool send(xcb_connection_t* c, const KeyChange& change);
    bool send(xcb_connection_t* c, const Changes& changes);
    static Changes undoing(const Changes& changes);

    X11Connection& connection_;
    X11ActiveKeymap keymap_{connection_};
    // The virtual key of the last key-down and the X key it pressed.
    std::optional<std::pair<KeyCode, std::uint8_t>> heldKey_;
    // Keycodes of each of the eight X modifiers, as of generation mapGeneration_.
    std::array<std::vector<std::uint8_t>, 8> modifierKeys_;
    std::uint64_t mapGeneration_ = 0;
    std::uint32_t activeWindowAtom_ = 0;
    std::uint64_t atomGeneration_ = 0;
    // What key-downs changed, to be put back after the next key-up.
    Changes pendingRestore_;
    std::uint64_t restoreGeneration_ = 0;
};

}  // namespace velko
