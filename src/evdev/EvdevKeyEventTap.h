#pragma once
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "evdev/EvdevKeyTranslator.h"
#include "platform/KeyEventTap.h"

namespace velko {

class MainQueue;

// Watches typed keys where no display server shows them: every keyboard in /dev/input (readable
// by members of the input group), read on a thread of its own and turned into text with the
// session's keymap. Keyboards plugged in later are picked up; one that goes away is dropped.
// The desktop's hotkeys are not delivered, so they leave the typing as it was. Nothing read from
// a keyboard reaches the log.
class EvdevKeyEventTap : public KeyEventTap {
public:
    struct Devices {
        std::string directory = "/dev/input";
        // Whether an opened event device is a keyboard with letter keys.
        std::function<bool(int fd)> isKeyboard = hasLetterKeys;
    };

    // keymapText: the session's XKB keymap; hotkeys: the desktop's triggers, left out of the typing.
    EvdevKeyEventTap(MainQueue& mainQueue, std::string keymapText, std::vector<ShortcutTrigger> hotkeys,
                     Devices devices);
    // Stops the reader and closes every device.
    ~EvdevKeyEventTap() override;
    EvdevKeyEventTap(const EvdevKeyEventTap&) = delete;
    EvdevKeyEventTap& operator=(const EvdevKeyEventTap&) = delete;

    // Once; false (with a log line) when the keymap cannot be used, the directory cannot be
    // watched or no keyboard in it can be read.
    bool start(Handler handler) override;
    // Replaces the hotkeys left out of the typing; callable from any thread.
    void setHotkeys(std::vector<ShortcutTrigger> hotkeys);
    // The desktop switched layouts: keys from now on are read with the keymap's layout of this
    // index. Callable from any thread.
    void setLayout(std::uint32_t layout);

    // EVIOCGBIT: reports key events, letters among them (not a power button, a mouse or a lid).
    static bool hasLetterKeys(int fd);
    // How many keyboards in directory this process can open for reading.
    static int readableKeyboards(const Devices& devices);

private:
    struct Device {
        int id;
        int fd;
        std::string pending;    // the start of a record split across reads (pipes do that)
        bool dropping = false;  // after SYN_DROPPED, until the next SYN_REPORT
    };

    bool open(const std::string& name);
    void close(const std::string& name, const char* why);
    void run();
    void readInotify();
    // False when the device is gone.
    bool readDevice(Device& device, std::vector<KeyEvent>& batch);

    MainQueue& mainQueue_;
    Devices devices_;
    Handler handler_;
    bool started_ = false;
    std::mutex translatorMutex_;  // setHotkeys and setLayout against the reader
    EvdevKeyTranslator translator_;
    std::map<std::string, Device> open_;  // by file name; the reader's alone once it runs
    int nextId_ = 0;
    int inotify_ = -1;
    int wake_ = -1;  // eventfd that ends the reader
    std::thread reader_;
    // Batches still queued when the tap goes away find it gone through this.
    std::shared_ptr<EvdevKeyEventTap*> self_ = std::make_shared<EvdevKeyEventTap*>(this);
};

}  // namespace velko
