#include "evdev/EvdevKeyEventTap.h"
#include "platform/Log.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/MainQueue.h"

namespace velko {
namespace {

constexpr std::size_t bitsPerLong = sizeof(unsigned long) * CHAR_BIT;

bool testBit(const unsigned long* bits, unsigned bit) { return (bits[bit / bitsPerLong] >> (bit % bitsPerLong)) & 1UL; }

bool isEventName(const char* name) { return std::strncmp(name, "event", 5) == 0; }

int openDevice(const std::string& path) { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }

}  // namespace

EvdevKeyEventTap::EvdevKeyEventTap(MainQueue& mainQueue, std::string keymapText, std::vector<ShortcutTrigger> hotkeys,
                                   Devices devices)
    : mainQueue_(mainQueue), devices_(std::move(devices)), translator_(keymapText) {
    translator_.setHotkeys(std::move(hotkeys));
}

EvdevKeyEventTap::~EvdevKeyEventTap() {
    self_.reset();
    if (reader_.joinable()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(wake_, &one, sizeof one);
        reader_.join();
    }
    for (auto& [name, device] : open_) ::close(device.fd);
    if (inotify_ >= 0) ::close(inotify_);
    if (wake_ >= 0) ::close(wake_);
}

bool EvdevKeyEventTap::hasLetterKeys(int fd) {
    unsigned long types[EV_MAX / bitsPerLong + 1] = {};
    unsigned long keys[KEY_MAX / bitsPerLong + 1] = {};
    if (::ioctl(fd, EVIOCGBIT(0, sizeof types), types) < 0 || !testBit(types, EV_KEY)) return false;
    if (::ioctl(fd, EVIOCGBIT(EV_KEY, sizeof keys), keys) < 0) return false;
    for (const unsigned key : {KEY_A, KEY_Q, KEY_Z, KEY_SPACE})
        if (!testBit(keys, key)) return false;
    return true;
}

int EvdevKeyEventTap::readableKeyboards(const Devices& devices) {
    DIR* dir = ::opendir(devices.directory.c_str());
    if (!dir) return 0;
    int count = 0;
    while (const dirent* entry = ::readdir(dir)) {
        if (!isEventName(entry->d_name)) continue;
        const int fd = openDevice(devices.directory + "/" + entry->d_name);
        if (fd < 0) continue;
        if (devices.isKeyboard(fd)) ++count;
        ::close(fd);
    }
    ::closedir(dir);
    return count;
}

bool EvdevKeyEventTap::start(Handler handler) {
    if (started_) return false;
    started_ = true;
    const auto refuse = [this](const std::string& why) {
        log::warning("cannot watch typed keys: %s", why.c_str());
        for (auto& [name, device] : open_) ::close(device.fd);
        open_.clear();
        return false;
    };
    if (!translator_.valid()) return refuse("the session's keymap cannot be compiled");

    // Watched before the listing, so that a keyboard plugged in between is not missed.
    inotify_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_ < 0 || ::inotify_add_watch(inotify_, devices_.directory.c_str(),
                                            IN_CREATE | IN_ATTRIB | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM) < 0)
        return refuse(devices_.directory + " cannot be watched (" + std::strerror(errno) + ")");
    if (DIR* dir = ::opendir(devices_.directory.c_str())) {
        while (const dirent* entry = ::readdir(dir))
            if (isEventName(entry->d_name)) open(entry->d_name);
        ::closedir(dir);
    }
    if (open_.empty()) return refuse("no keyboard in " + devices_.directory + " can be read");

    wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake_ < 0) return refuse(std::string("no eventfd (") + std::strerror(errno) + ")");
    handler_ = std::move(handler);
    reader_ = std::thread([this] { run(); });
    return true;
}

void EvdevKeyEventTap::setHotkeys(std::vector<ShortcutTrigger> hotkeys) {
    const std::lock_guard lock(translatorMutex_);
    translator_.setHotkeys(std::move(hotkeys));
}

void EvdevKeyEventTap::setLayout(std::uint32_t layout) {
    const std::lock_guard lock(translatorMutex_);
    translator_.setLayout(layout);
}

bool EvdevKeyEventTap::open(const std::string& name) {
    if (open_.count(name)) return true;
    const std::string path = devices_.directory + "/" + name;
    // Unreadable devices are normal (not in the input group yet, or not a keyboard): no line each.
    const int fd = openDevice(path);
    if (fd < 0) return false;
    if (!devices_.isKeyboard(fd)) {
        ::close(fd);
        return false;
    }
    open_.emplace(name, Device{nextId_++, fd, {}, false});
    log::info("typed keys: reading keyboard %s", path.c_str());
    return true;
}

void EvdevKeyEventTap::close(const std::string& name, const char* why) {
    const auto found = open_.find(name);
    if (found == open_.end()) return;
    {
        const std::lock_guard lock(translatorMutex_);
        translator_.forget(found->second.id);
    }
    ::close(found->second.fd);
    open_.erase(found);
    log::info("typed keys: keyboard %s/%s %s", devices_.directory.c_str(), name.c_str(), why);
}

void EvdevKeyEventTap::run() {
    const std::weak_ptr<EvdevKeyEventTap*> weak = self_;
    std::vector<pollfd> fds;
    std::vector<std::string> names;
    for (;;) {
        fds.assign({{wake_, POLLIN, 0}, {inotify_, POLLIN, 0}});
        names.clear();
        for (const auto& [name, device] : open_) {
            fds.push_back({device.fd, POLLIN, 0});
            names.push_back(name);
        }
        if (::poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) continue;
            log::warning("typed keys: stopped watching (%s)", std::strerror(errno));
            return;
        }
        if (fds[0].revents) return;
        std::vector<KeyEvent> batch;
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (!fds[i + 2].revents) continue;
            auto found = open_.find(names[i]);
            if (found != open_.end() && !readDevice(found->second, batch)) close(names[i], "is gone");
        }
        // After the devices, so that the keys a vanished keyboard sent before it went are read.
        if (fds[1].revents) readInotify();
        if (batch.empty()) continue;
        mainQueue_.async([weak, batch = std::move(batch)] {
            const auto self = weak.lock();
            if (!self) return;
            for (const KeyEvent& event : batch) (*self)->handler_(event);
        });
    }
}

bool EvdevKeyEventTap::readDevice(Device& device, std::vector<KeyEvent>& batch) {
    char buffer[256 * sizeof(input_event)];
    for (;;) {
        const ssize_t n = ::read(device.fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno == EAGAIN;  // ENODEV: unplugged
        }
        if (n == 0) return false;
        device.pending.append(buffer, static_cast<std::size_t>(n));
        const std::size_t whole = device.pending.size() / sizeof(input_event);
        const std::lock_guard lock(translatorMutex_);
        for (std::size_t i = 0; i < whole; ++i) {
            input_event record;
            std::memcpy(&record, device.pending.data() + i * sizeof record, sizeof record);
            if (record.type == EV_SYN) {
                // The kernel's buffer overflowed: what follows up to the next report is incomplete,
                // and which keys are still down is unknown.
                if (record.code == SYN_DROPPED) {
                    device.dropping = true;
                    translator_.forget(device.id);
                } else if (record.code == SYN_REPORT) {
                    device.dropping = false;
                }
                continue;
            }
            if (record.type != EV_KEY || device.dropping) continue;
            if (auto event = translator_.key(device.id, record.code, record.value)) batch.push_back(std::move(*event));
        }
        device.pending.erase(0, whole * sizeof(input_event));
    }
}

void EvdevKeyEventTap::readInotify() {
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(inotify_, buffer, sizeof buffer);
        if (n <= 0) return;
        for (ssize_t at = 0; at < n;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                if (DIR* dir = ::opendir(devices_.directory.c_str())) {
                    while (const dirent* entry = ::readdir(dir))
                        if (isEventName(entry->d_name)) open(entry->d_name);
                    ::closedir(dir);
                }
                continue;
            }
            if (!event->len || !isEventName(event->name)) continue;
            if (event->mask & (IN_DELETE | IN_MOVED_FROM))
                close(event->name, "was removed");
            else  // created, or made readable (udev sets the group after the kernel makes the node)
                open(event->name);
        }
    }
}

}  // namespace velko
