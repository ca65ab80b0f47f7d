#include "sway/SwayInputEvents.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "platform/Log.h"

namespace velko {
namespace {

constexpr char magic[] = {'i', '3', '-', 'i', 'p', 'c'};
constexpr std::size_t headerSize = sizeof magic + 2 * sizeof(std::uint32_t);
constexpr std::uint32_t subscribe = 2;
constexpr std::uint32_t inputEvent = 0x80000015;
// A reply larger than this is no reply of sway's: the stream is read no further.
constexpr std::uint32_t largestPayload = 16 << 20;

std::string frame(std::uint32_t type, const std::string& payload) {
    std::string out(magic, sizeof magic);
    const auto length = static_cast<std::uint32_t>(payload.size());
    out.append(reinterpret_cast<const char*>(&length), sizeof length);
    out.append(reinterpret_cast<const char*>(&type), sizeof type);
    return out + payload;
}

bool writeAll(int fd, const std::string& data) {
    std::size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

Result<std::unique_ptr<SwayInputEvents>> SwayInputEvents::connect(const std::string& socketPath, Handler handler) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.empty() || socketPath.size() >= sizeof address.sun_path) return Failure{"no usable SWAYSOCK"};
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        !writeAll(fd, frame(subscribe, R"(["input"])"))) {
        const int cause = errno;
        if (fd >= 0) ::close(fd);
        return Failure{socketPath + ": " + std::strerror(cause), cause};
    }
    return std::unique_ptr<SwayInputEvents>(new SwayInputEvents(fd, std::move(handler)));
}

SwayInputEvents::SwayInputEvents(int fd, Handler handler)
    : fd_(fd), handler_(std::move(handler)), notifier_(std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read)) {
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { readable(); });
}

SwayInputEvents::~SwayInputEvents() {
    notifier_.reset();
    ::close(fd_);
}

void SwayInputEvents::readable() {
    char chunk[4096];
    const ssize_t n = ::read(fd_, chunk, sizeof chunk);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0) {
        // sway went away; a new one is a new session, with a new helper.
        notifier_->setEnabled(false);
        return;
    }
    buffer_.append(chunk, static_cast<std::size_t>(n));
    for (const auto& message : take(buffer_)) {
        KeymapChange change;
        if (message.type == inputEvent && keymapChange(message.payload, change))
            handler_(change);
        else if (message.type == subscribe && message.payload.find("true") == std::string::npos)
            log::warning("sway refused to report keymap changes: %s", message.payload.c_str());
    }
    if ((buffer_.size() >= headerSize && buffer_.compare(0, sizeof magic, magic, sizeof magic) != 0) ||
        buffer_.size() > headerSize + largestPayload) {
        log::warning("sway's IPC socket sent something else than its messages; no longer listening");
        notifier_->setEnabled(false);
    }
}

std::vector<SwayInputEvents::Message> SwayInputEvents::take(std::string& buffer) {
    std::vector<Message> messages;
    std::size_t at = 0;
    while (buffer.size() - at >= headerSize && buffer.compare(at, sizeof magic, magic, sizeof magic) == 0) {
        std::uint32_t length = 0, type = 0;
        std::memcpy(&length, buffer.data() + at + sizeof magic, sizeof length);
        std::memcpy(&type, buffer.data() + at + sizeof magic + sizeof length, sizeof type);
        if (length > largestPayload || buffer.size() - at - headerSize < length) break;
        messages.push_back({type, buffer.substr(at + headerSize, length)});
        at += headerSize + length;
    }
    buffer.erase(0, at);
    return messages;
}

bool SwayInputEvents::keymapChange(const std::string& payload, KeymapChange& change) {
    const auto event = nlohmann::json::parse(payload, nullptr, false);
    if (!event.is_object() || event.value("change", "") != "xkb_keymap") return false;
    const auto input = event.find("input");
    if (input == event.end() || !input->is_object()) return false;
    change.identifier = input->value("identifier", "");
    change.layoutNames.clear();
    if (const auto names = input->find("xkb_layout_names"); names != input->end() && names->is_array())
        for (const auto& name : *names) change.layoutNames.push_back(name.is_string() ? name.get<std::string>() : "");
    return true;
}

}  // namespace velko
