#pragma once
#include <bitset>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "platform/KeyEventTap.h"

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;
class QSocketNotifier;

namespace velko {

class MainQueue;

// Listens to every key press and release on the display through the RECORD extension, which
// sees real and XTEST input alike and can neither change nor drop it. RECORD answers on a
// connection of its own that blocks, so a reader thread drains it and hands each batch to the
// main queue; there xkbcommon, fed with the same presses and releases, turns keys into text.
class X11KeyEventTap : public KeyEventTap {
public:
    explicit X11KeyEventTap(MainQueue& mainQueue);
    ~X11KeyEventTap() override;
    X11KeyEventTap(const X11KeyEventTap&) = delete;
    X11KeyEventTap& operator=(const X11KeyEventTap&) = delete;

    // Once; false without a display, RECORD or XKB, and on a second call.
    bool start(Handler handler) override;

    struct RawKey {
        bool press;
        std::uint8_t keycode;
    };

private:
    bool connect();
    bool loadKeymap();
    bool loadState();
    void readXkbEvents();
    void handle(const std::vector<RawKey>& keys);
    void close();

    MainQueue& mainQueue_;
    Handler handler_;
    bool started_ = false;
    xcb_connection_t* control_ = nullptr;
    xcb_connection_t* data_ = nullptr;
    xkb_context* xkb_ = nullptr;
    xkb_keymap* keymap_ = nullptr;
    xkb_state* state_ = nullptr;
    std::int32_t device_ = -1;
    std::uint8_t xkbFirstEvent_ = 0;
    // Keys down as far as the recorded stream tells; a press of a key already down is an auto-repeat.
    std::bitset<256> down_;
    std::unique_ptr<QSocketNotifier> xkbEvents_;
    std::thread reader_;
    // Batches still queued when the tap goes away find it gone through this.
    std::shared_ptr<X11KeyEventTap*> self_ = std::make_shared<X11KeyEventTap*>(this);
};

}  // namespace velko
