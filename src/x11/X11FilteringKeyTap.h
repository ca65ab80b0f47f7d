#pragma once
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/FilteringKeyTap.h"
#include "x11/X11Connection.h"

class QSocketNotifier;

namespace velko {

// Synchronous passive key grabs on the root window, read on the main loop. Each grabbed press
// freezes the keyboard until it is answered, so every press is answered before the next is read:
// replayed to the focused window on pass, thawed and released on drop.
class X11FilteringKeyTap : public FilteringKeyTap {
public:
    X11FilteringKeyTap();
    ~X11FilteringKeyTap() override;
    bool create(const std::vector<Combination>& combinations, Callback callback) override;

    // The helper has just posted a synthetic key-down: X cannot tell it from the user's, so when
    // it would hit a grab it is replayed to the focused window without asking the core.
    void letThrough(KeyCode keyCode, EventFlags flags);

    // Every X modifier state that holds all of `required`: grabbing a key under each of them lets
    // it match whatever else is held (Caps Lock, Num Lock, Alt, AltGr, ...).
    static std::vector<std::uint16_t> statesContaining(std::uint16_t required);

private:
    struct Grab {
        std::uint8_t keycode;
        std::uint16_t state;
    };

    struct OwnPress {
        std::uint8_t keycode;
        std::chrono::steady_clock::time_point expires;
    };

    bool isOwnPress(std::uint8_t keycode);
    void readEvents();
    void releaseGrabs();

    X11Connection display_;  // its own connection: nobody else reads its events
    xcb_connection_t* grabbing_ = nullptr;
    std::uint32_t root_ = 0;
    std::vector<Grab> grabs_;
    Callback callback_;
    std::vector<OwnPress> ownPresses_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace velko
