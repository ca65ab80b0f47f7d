#pragma once
#include <QTimer>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/FilteringKeyTap.h"
#include "x11/X11Connection.h"

class QSocketNotifier;

namespace velko {

// Passive key grabs on the root window, read on the main loop. They are asynchronous: the keyboard
// never waits for the helper, so a busy or stopped helper cannot freeze it. A press the core
// passes on is posted again through XTEST with that key's grabs stepped aside, once the person has
// let go of the key (the server drops a second key-down of a key that is down), with the press's
// modifiers held. Each press ends the grab it started at once, so keys pressed while it is held go
// to the focused window.
class X11FilteringKeyTap : public FilteringKeyTap {
public:
    X11FilteringKeyTap();
    ~X11FilteringKeyTap() override;
    bool create(const std::vector<Combination>& combinations, Callback callback) override;

    // The helper is about to post a stroke of this key: its grabs step aside until resume(), so
    // that a paste of Ctrl+Shift+V reaches the focused window instead of firing the hotkey.
    void standAside(KeyCode keyCode);
    void resume();

    // Every X modifier state that holds all of `required`: grabbing a key under each of them lets
    // it match whatever else is held (Caps Lock, Num Lock, Alt, AltGr, ...).
    static std::vector<std::uint16_t> statesContaining(std::uint16_t required);

private:
    struct Grab {
        std::uint8_t keycode;
        std::uint16_t state;
    };

    void readEvents();
    void passOnWhenReleased();
    void readQueuedLater();
    void grabAll(std::uint8_t keycode);
    void releaseGrabs();

    X11Connection display_;  // its own connection: nobody else reads its events
    xcb_connection_t* grabbing_ = nullptr;
    std::uint32_t root_ = 0;
    std::vector<Grab> grabs_;
    Callback callback_;
    std::uint8_t aside_ = 0;  // the key whose grabs stand aside, 0 for none
    std::unique_ptr<QSocketNotifier> notifier_;
    xcb_key_press_event_t passing_{};  // the press to pass on, detail 0 for none
    QTimer releaseCheck_;
};

}  // namespace velko
