#pragma once
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "platform/KeyEventTap.h"
#include "x11/Xcb.h"
#include "xkb/XkbHandles.h"

class QSocketNotifier;

namespace velko {

class MainQueue;

// Listens to every key press on the display through the RECORD extension, which sees real and
// XTEST input alike and can neither change nor drop it. RECORD answers on a connection of its
// own that blocks, so a reader thread drains it and hands each batch to the main queue; there
// xkbcommon turns each key into text under the modifiers and layout that the press itself
// carries, so no copy of the keyboard state is kept that could drift from the server's.
class X11KeyEventTap : public KeyEventTap {
public:
    explicit X11KeyEventTap(MainQueue& mainQueue);
    ~X11KeyEventTap() override;
    X11KeyEventTap(const X11KeyEventTap&) = delete;
    X11KeyEventTap& operator=(const X11KeyEventTap&) = delete;

    // Once; false without a display, RECORD or XKB, and on a second call.
    bool start(Handler handler) override;

    struct RawKey {
        std::uint8_t keycode;
        std::uint16_t state;  // the core event's: modifiers in bits 0-7, the XKB group in bits 13-14
    };

private:
    bool connect();
    bool loadKeymap();
    void readXkbEvents();
    void handle(const std::vector<RawKey>& keys);
    void close();

    MainQueue& mainQueue_;
    Handler handler_;
    bool started_ = false;
    xcb::Connection control_;
    xcb::Connection data_;
    xkb::Context xkb_;
    xkb::Keymap keymap_;
    xkb::State state_;
    std::int32_t device_ = -1;
    std::uint8_t xkbFirstEvent_ = 0;
    std::unique_ptr<QSocketNotifier> xkbEvents_;
    std::thread reader_;
    // Batches still queued when the tap goes away find it gone through this.
    std::shared_ptr<X11KeyEventTap*> self_ = std::make_shared<X11KeyEventTap*>(this);
};

}  // namespace velko
