#pragma once
#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Result.h"

class QSocketNotifier;

namespace velko {

// Keymap changes sway makes on its keyboards, heard on its IPC socket ($SWAYSOCK). sway applies a
// change of `input type:keyboard xkb_*` (a command, a config reload) to every keyboard, virtual
// ones included, which replaces the keymap a virtual keyboard uploaded for itself.
class SwayInputEvents : public QObject {
public:
    struct KeymapChange {
        std::string identifier;                // "0:0:virtual_keyboard" for every virtual keyboard
        std::vector<std::string> layoutNames;  // "English (Dvorak)", as xkeyboard-config names them
    };
    using Handler = std::function<void(const KeymapChange&)>;

    // Subscribed to sway's input events at socketPath; the why when the socket cannot be reached.
    // handler runs on the Qt loop for each keymap change.
    static Result<std::unique_ptr<SwayInputEvents>> connect(const std::string& socketPath, Handler handler);
    ~SwayInputEvents() override;

    // The messages complete in `buffer` (sway's framing: "i3-ipc", length, type, payload), taken off
    // its front; what is left is the start of the next one.
    struct Message {
        std::uint32_t type;
        std::string payload;
    };
    static std::vector<Message> take(std::string& buffer);
    // The keymap change an input event's payload tells of; false for any other event or bad JSON.
    static bool keymapChange(const std::string& payload, KeymapChange& change);

private:
    SwayInputEvents(int fd, Handler handler);
    void readable();

    int fd_;
    Handler handler_;
    std::string buffer_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace velko
