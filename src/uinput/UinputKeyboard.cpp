#include "uinput/UinputKeyboard.h"

#include <fcntl.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace velko {
namespace {

input_event record(std::uint16_t type, std::uint16_t code, std::int32_t value) {
    input_event event{};  // the kernel stamps the time itself
    event.type = type;
    event.code = code;
    event.value = value;
    return event;
}

bool writeAll(int fd, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

Result<std::unique_ptr<UinputKeyboard>> UinputKeyboard::open(const std::string& path) {
    auto fail = [&](const char* what) {
        const int cause = errno;
        return Failure{path + ": " + what + ": " + std::strerror(cause), cause};
    };
    const int fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return fail("cannot open for writing");
    auto keyboard = std::make_unique<UinputKeyboard>(fd);
    if (::ioctl(fd, UI_SET_EVBIT, EV_KEY) < 0) return fail("not a uinput device");
    for (const std::uint16_t code : EvdevStroke::codes())
        if (::ioctl(fd, UI_SET_KEYBIT, code) < 0) return fail("refused a key");
    uinput_setup setup{};
    setup.id.bustype = BUS_VIRTUAL;
    std::strncpy(setup.name, "Velko Helper keyboard", UINPUT_MAX_NAME_SIZE - 1);
    if (::ioctl(fd, UI_DEV_SETUP, &setup) < 0) return fail("refused the device setup");
    if (::ioctl(fd, UI_DEV_CREATE) < 0) return fail("could not create the device");
    keyboard->created_ = true;
    return keyboard;
}

UinputKeyboard::~UinputKeyboard() {
    if (created_) ::ioctl(fd_, UI_DEV_DESTROY);
    ::close(fd_);
}

std::vector<input_event> UinputKeyboard::records(const std::vector<EvdevStroke::Change>& changes) {
    std::vector<input_event> out;
    // A frame per change: a reader that takes one frame's keys as simultaneous could otherwise
    // see V before Ctrl.
    for (const auto& change : changes) {
        out.push_back(record(EV_KEY, change.code, change.down ? 1 : 0));
        out.push_back(record(EV_SYN, SYN_REPORT, 0));
    }
    return out;
}

bool UinputKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    const auto changes = stroke_.changes(keyCode, flags, keyDown);
    if (changes.empty()) return false;
    const auto events = records(changes);
    return writeAll(fd_, events.data(), events.size() * sizeof(input_event));
}

}  // namespace velko
