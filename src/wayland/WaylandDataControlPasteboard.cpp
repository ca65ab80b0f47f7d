#include "wayland/WaylandDataControlPasteboard.h"
#include "platform/Log.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "wayland/WaylandConnection.h"
#include "wayland/wlr-data-control-unstable-v1-client-protocol.h"

namespace velko {
namespace {

// Asked for in this order: the ones that say UTF-8 first.
constexpr const char* textTypes[] = {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain"};

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

milliseconds leftUntil(Clock::time_point deadline) { return std::chrono::ceil<milliseconds>(deadline - Clock::now()); }

// Writes all of bytes unless the reader stops taking them for sendStallTimeout, then closes fd.
void writeAndClose(int fd, const Bytes& bytes) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0) fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    // A pipe that holds everything lets the write finish at once, without waiting on the reader.
    if (bytes.size() > 65536) fcntl(fd, F_SETPIPE_SZ, static_cast<int>(std::min<std::size_t>(bytes.size(), 1 << 20)));
    // A reader that went away must not end the process with SIGPIPE.
    sigset_t pipeSignal, previous;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);

    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t n = write(fd, bytes.data() + written, bytes.size() - written);
        if (n > 0) {
            written += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EAGAIN) {
            pollfd writable{fd, POLLOUT, 0};
            if (poll(&writable, 1, static_cast<int>(WaylandDataControlPasteboard::sendStallTimeout.count())) <= 0) {
                log::warning("a program pasting stopped reading; it got %zu of %zu bytes", written, bytes.size());
                break;
            }
        } else if (n < 0 && errno != EINTR) {
            break;  // the reader went away
        }
    }
    close(fd);
    if (!sigismember(&previous, SIGPIPE)) {
        const timespec zero{};
        while (sigtimedwait(&pipeSignal, nullptr, &zero) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }
}
}  // namespace

WaylandDataControlPasteboard::Offer::~Offer() {
    if (proxy) zwlr_data_control_offer_v1_destroy(proxy);
}

struct WaylandDataControlPasteboard::Listeners {
    static WaylandDataControlPasteboard* self(void* data) { return static_cast<WaylandDataControlPasteboard*>(data); }

    static void dataOffer(void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* proxy) {
        auto offer = std::make_unique<Offer>();
        offer->proxy = proxy;
        zwlr_data_control_offer_v1_add_listener(proxy, &Listeners::offer, offer.get());
        self(data)->announced_.push_back(std::move(offer));
    }
    static void selection(void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* proxy) {
        self(data)->select(proxy);
    }
    static void finished(void* data, zwlr_data_control_device_v1*) {
        auto* p = self(data);
        zwlr_data_control_device_v1_destroy(p->device_);
        p->device_ = nullptr;
        log::warning("the Wayland seat went away; the clipboard is out of reach");
        p->alive_ = false;
    }
    static void primarySelection(void*, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1*) {}
    static constexpr zwlr_data_control_device_v1_listener device{dataOffer, selection, finished, primarySelection};

    static void offerType(void* data, zwlr_data_control_offer_v1*, const char* type) {
        static_cast<Offer*>(data)->types.emplace_back(type);
    }
    static constexpr zwlr_data_control_offer_v1_listener offer{offerType};

    static void send(void* data, zwlr_data_control_source_v1* source, const char* type, std::int32_t fd) {
        self(data)->serve(source, type, fd);
    }
    static void cancelled(void* data, zwlr_data_control_source_v1* source) {
        auto* p = self(data);
        if (source == p->ownSource_) {
            p->ownSource_ = nullptr;
            p->ownTypes_.clear();
        }
        zwlr_data_control_source_v1_destroy(source);
    }
    static constexpr zwlr_data_control_source_v1_listener source{send, cancelled};
};

Result<std::unique_ptr<WaylandDataControlPasteboard>> WaylandDataControlPasteboard::connect() {
    std::unique_ptr<WaylandDataControlPasteboard> self(new WaylandDataControlPasteboard);
    auto connection = WaylandConnection::open(replyTimeout);
    if (!connection) return connection.failure();
    self->connection_ = std::move(*connection);
    self->alive_ = true;
    // Version 1: the primary selection is not ours to keep.
    self->manager_ =
        static_cast<zwlr_data_control_manager_v1*>(self->connection_->bind(zwlr_data_control_manager_v1_interface, 1));
    if (!self->manager_) return Failure{"the compositor offers no zwlr_data_control_manager_v1"};
    self->device_ = zwlr_data_control_manager_v1_get_data_device(self->manager_, self->connection_->seat());
    zwlr_data_control_device_v1_add_listener(self->device_, &Listeners::device, self.get());
    // The device reports the clipboard as it is now: the state counting starts from.
    if (!self->roundtrip())
        return Failure{"the compositor refused a clipboard device: " + self->connection_->errorText()};
    self->count_ = 0;
    return self;
}

WaylandDataControlPasteboard::WaylandDataControlPasteboard() = default;

WaylandDataControlPasteboard::~WaylandDataControlPasteboard() {
    announced_.clear();
    current_.reset();
    if (ownSource_) zwlr_data_control_source_v1_destroy(ownSource_);
    if (device_) zwlr_data_control_device_v1_destroy(device_);
    if (manager_) zwlr_data_control_manager_v1_destroy(manager_);
}

int WaylandDataControlPasteboard::fd() const { return connection_ ? connection_->fd() : -1; }

bool WaylandDataControlPasteboard::dispatch() { return pump(milliseconds(0)); }

bool WaylandDataControlPasteboard::pump(milliseconds timeout) {
    return alive_ && (connection_->pump(timeout) || lost());
}

bool WaylandDataControlPasteboard::roundtrip() {
    return alive_ && (connection_->roundtrip(replyTimeout) || (!connection_->isAlive() && lost()));
}

bool WaylandDataControlPasteboard::flush() {
    return alive_ && (connection_->flush(replyTimeout) || (!connection_->isAlive() && lost()));
}

bool WaylandDataControlPasteboard::lost() {
    if (alive_)
        log::warning("the Wayland compositor went away (%s); the clipboard is out of reach",
                     connection_->errorText().c_str());
    alive_ = false;
    return false;
}

void WaylandDataControlPasteboard::select(zwlr_data_control_offer_v1* proxy) {
    current_.reset();
    for (auto& offer : announced_)
        if (proxy && offer->proxy == proxy) current_ = std::move(offer);
    // Offers that were never selected are of no further use.
    announced_.clear();
    ++count_;
}

std::int64_t WaylandDataControlPasteboard::changeCount() {
    // A copy the compositor already handled counts even when its news still waits in the socket.
    roundtrip();
    return count_;
}

int WaylandDataControlPasteboard::ask(const std::string& type) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) return -1;
    // The request carries a duplicate of the write end: ours must go for the end of file to come.
    zwlr_data_control_offer_v1_receive(current_->proxy, type.c_str(), fds[1]);
    close(fds[1]);
    return fds[0];
}

WaylandDataControlPasteboard::Read WaylandDataControlPasteboard::drain(int fd, Bytes& bytes, milliseconds timeout,
                                                                       std::size_t limit) {
    const auto deadline = Clock::now() + timeout;
    std::uint8_t buffer[65536];
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n > 0) {
            if (bytes.size() + static_cast<std::size_t>(n) > limit) return Read::tooLarge;
            bytes.insert(bytes.end(), buffer, buffer + n);
        } else if (n == 0) {
            return Read::done;
        } else if (errno != EINTR && errno != EAGAIN) {
            return Read::failed;
        } else if (errno == EAGAIN) {
            const milliseconds left = leftUntil(deadline);
            if (left.count() <= 0) return Read::silent;
            pollfd readable{fd, POLLIN, 0};
            poll(&readable, 1, static_cast<int>(left.count()));
        }
    }
}

std::variant<std::optional<std::vector<PasteboardItem>>, WaylandDataControlPasteboard::Requested>
WaylandDataControlPasteboard::request() {
    if (!roundtrip()) return std::nullopt;
    std::vector<PasteboardItem> items;
    if (ownsSelection()) {
        items.push_back({ownTypes_});
        return items;
    }
    if (!current_ || current_->types.empty()) return items;
    if (ownerIsSilent()) return std::nullopt;
    // All at once: an owner that answers one request after the other costs no more than asked in turn,
    // and the reading needs no connection.
    Requested requested;
    requested.count = count_;
    for (const std::string& type : current_->types) requested.pipes.emplace_back(type, ask(type));
    if (!flush()) {
        for (const auto& entry : requested.pipes)
            if (entry.second >= 0) close(entry.second);
        return std::nullopt;
    }
    return requested;
}

WaylandDataControlPasteboard::Gathered WaylandDataControlPasteboard::gather(Requested requested) {
    Gathered gathered;
    gathered.count = requested.count;
    PasteboardItem item;
    std::size_t kept = 0;
    const auto end = Clock::now() + snapshotBudget;
    for (auto& [type, fd] : requested.pipes) {
        const milliseconds left = leftUntil(end);
        if (fd < 0) continue;
        if (left.count() <= 0 || gathered.silent) {
            if (!gathered.silent) gathered.late.push_back(type);
            close(fd);
            continue;
        }
        const milliseconds timeout = std::min(typeTimeout, left);
        Bytes bytes;
        const Read read = drain(fd, bytes, timeout, maxSnapshotBytes - kept);
        close(fd);
        if (read == Read::done) {
            kept += bytes.size();
            item.types.emplace_back(type, std::move(bytes));
        } else if (read == Read::tooLarge) {
            log::warning("the clipboard's %s is too large to keep", type.c_str());
        } else if (read == Read::silent) {
            if (item.types.empty() && timeout == typeTimeout)
                gathered.silent = true;
            else
                gathered.late.push_back(type);
        }
    }
    if (!item.types.empty() && !gathered.silent) gathered.items = std::vector<PasteboardItem>{std::move(item)};
    return gathered;
}

std::optional<std::vector<PasteboardItem>> WaylandDataControlPasteboard::settle(Gathered gathered) {
    if (gathered.silent) {
        silentAtCount_ = gathered.count;
        log::warning("the clipboard's owner does not answer; its contents cannot be kept");
    }
    return std::move(gathered.items);
}

std::optional<std::vector<PasteboardItem>> WaylandDataControlPasteboard::items() {
    auto requested = request();
    if (auto* ready = std::get_if<0>(&requested)) return std::move(*ready);
    return settle(gather(std::move(std::get<Requested>(requested))));
}

std::optional<std::string> WaylandDataControlPasteboard::string() {
    if (!roundtrip()) return std::nullopt;
    for (const char* text : textTypes) {
        if (ownsSelection()) {
            for (const auto& [type, bytes] : ownTypes_)
                if (type == text) return std::string(bytes.begin(), bytes.end());
            continue;
        }
        if (!current_ || ownerIsSilent()) return std::nullopt;
        if (std::find(current_->types.begin(), current_->types.end(), text) == current_->types.end()) continue;
        const int fd = ask(text);
        if (fd < 0) return std::nullopt;
        Bytes bytes;
        const Read read = flush() ? drain(fd, bytes, typeTimeout, maxSnapshotBytes) : Read::failed;
        close(fd);
        if (read == Read::done) return std::string(bytes.begin(), bytes.end());
        if (read == Read::silent) settle({std::nullopt, {}, count_, true});
        return std::nullopt;
    }
    return std::nullopt;
}

void WaylandDataControlPasteboard::serve(zwlr_data_control_source_v1* source, const char* type, int fd) {
    if (source == ownSource_)
        for (const auto& [offered, bytes] : ownTypes_)
            if (offered == type) return writeAndClose(fd, bytes);
    close(fd);
}

void WaylandDataControlPasteboard::offer(Types types) {
    if (!alive_ || !device_) return;
    auto* source = zwlr_data_control_manager_v1_create_data_source(manager_);
    zwlr_data_control_source_v1_add_listener(source, &Listeners::source, this);
    for (const auto& entry : types) zwlr_data_control_source_v1_offer(source, entry.first.c_str());
    zwlr_data_control_device_v1_set_selection(device_, source);
    // Already replaced by the new one, so destroying it clears nothing.
    if (ownSource_) zwlr_data_control_source_v1_destroy(ownSource_);
    ownSource_ = source;
    ownTypes_ = std::move(types);
    // The compositor's report of this change arrives now, so the write has counted when the call returns.
    roundtrip();
}

void WaylandDataControlPasteboard::clearContents() {
    if (!alive_ || !device_) return;
    zwlr_data_control_device_v1_set_selection(device_, nullptr);
    if (ownSource_) zwlr_data_control_source_v1_destroy(ownSource_);
    ownSource_ = nullptr;
    ownTypes_.clear();
    roundtrip();
}

void WaylandDataControlPasteboard::writeString(const std::string& text) {
    const Bytes bytes(text.begin(), text.end());
    offer({{"text/plain;charset=utf-8", bytes}, {"text/plain", bytes}, {"UTF8_STRING", bytes}, {"TEXT", bytes}});
}

void WaylandDataControlPasteboard::writeItems(const std::vector<PasteboardItem>& items) {
    Types types;
    for (const auto& item : items)
        for (const auto& entry : item.types)
            if (std::none_of(types.begin(), types.end(), [&](const auto& kept) { return kept.first == entry.first; }))
                types.push_back(entry);
    if (types.empty()) return clearContents();
    offer(std::move(types));
}

}  // namespace velko
