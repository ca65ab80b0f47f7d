#pragma once
#include <QObject>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "platform/FilteringKeyTap.h"
#include "x11/X11Connection.h"

namespace velko {

// Passive key grabs on the root window, read by a thread of its own. The grabs of combinations
// the core may pass on are synchronous: the server holds the keyboard after such a press until the
// core's verdict, then the press is taken or replayed to the focused window. When the main loop
// has not answered within verdictDeadline the thread takes the press itself (the verdict, when it
// comes, is too late to pass it on), so a busy helper holds the keyboard no longer than that; a
// stopped one holds it until it runs again. Every other grab is asynchronous and never holds the
// keyboard. Each taken press ends the grab it started at once, so keys pressed while it is held
// go to the focused window.
class X11FilteringKeyTap : public FilteringKeyTap {
public:
    // Long enough for a loaded machine's main loop, short enough to pass for a slow key.
    static constexpr std::chrono::milliseconds verdictDeadline{500};

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
        bool sync;
    };

    void startReading();
    void stopReading();
    void read(xcb_connection_t* c, std::vector<std::uint8_t> held);  // on the reading thread
    Verdict await(KeyCode keyCode, EventFlags flags);
    void decide(std::uint64_t press, KeyCode keyCode, EventFlags flags);  // on the main thread
    void releaseGrabs();

    X11Connection display_;  // its own connection: nobody else reads its events
    xcb_connection_t* grabbing_ = nullptr;
    std::uint32_t root_ = 0;
    std::uint32_t wakeWindow_ = 0;  // where a message to the reading thread goes
    std::vector<Grab> grabs_;
    Callback callback_;
    std::uint8_t aside_ = 0;  // the key whose grabs stand aside, 0 for none

    QObject mainThread_;  // the verdicts are asked for through its queue
    std::thread reader_;
    std::mutex mutex_;
    std::condition_variable answered_;
    std::uint64_t awaited_ = 0;  // the press the reader waits on, 0 for none
    std::uint64_t lastPress_ = 0;
    std::optional<Verdict> verdict_;
    bool stopping_ = false;
};

}  // namespace velko
