#include "posix/InotifyDirectoryMonitor.h"

#include <dirent.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

namespace velko {

struct InotifyDirectoryMonitor::Watch {
    int inotify = -1;
    std::thread thread;
    ~Watch() {
        if (thread.joinable()) thread.join();
        if (inotify >= 0) ::close(inotify);
    }
};

namespace {

// Entries added, removed or renamed; writes into existing files do not count.
constexpr std::uint32_t entryChanges = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;

// Reads everything queued; true when there was anything. The events need no decoding: the
// handler lists the directory, which covers overflowed queues as well.
bool drain(int inotify) {
    alignas(inotify_event) char buffer[16 * 1024];
    bool any = false;
    for (;;) {
        const ssize_t got = ::read(inotify, buffer, sizeof buffer);
        if (got > 0) {
            any = true;
            continue;
        }
        if (got < 0 && errno == EINTR) continue;
        return any;
    }
}

void runWatch(int inotify, int stopEvent, const std::function<void()>& handler) {
    pthread_setname_np(pthread_self(), "velko-watch");
    pollfd fds[2] = {{inotify, POLLIN, 0}, {stopEvent, POLLIN, 0}};
    for (;;) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            std::fprintf(stderr, "velko-helper: directory watch stopped: %s\n", std::strerror(errno));
            return;
        }
        if (fds[1].revents) return;
        if (drain(inotify)) handler();
    }
}

}  // namespace

InotifyDirectoryMonitor::InotifyDirectoryMonitor() : stopEvent_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

InotifyDirectoryMonitor::~InotifyDirectoryMonitor() {
    shutdown();
    watches_.clear();
    if (stopEvent_ >= 0) ::close(stopEvent_);
}

void InotifyDirectoryMonitor::shutdown() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (stopEvent_ >= 0) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto ignored = ::write(stopEvent_, &one, sizeof one);
    }
}

std::optional<std::vector<std::string>> InotifyDirectoryMonitor::contentsOfDirectory(const std::string& path) {
    DIR* directory = ::opendir(path.c_str());
    if (!directory) return std::nullopt;
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(directory);
        if (!entry) break;
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..") names.emplace_back(name);
    }
    const int error = errno;
    ::closedir(directory);
    if (error != 0) return std::nullopt;
    return names;
}

bool InotifyDirectoryMonitor::watch(const std::string& path, std::function<void()> handler) {
    if (stopEvent_ < 0) return false;
    auto watch = std::make_unique<Watch>();
    watch->inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch->inotify < 0) return false;
    if (::inotify_add_watch(watch->inotify, path.c_str(), entryChanges) < 0) return false;
    watch->thread = std::thread(runWatch, watch->inotify, stopEvent_, std::move(handler));
    std::lock_guard lock(mutex_);
    watches_.push_back(std::move(watch));
    return true;
}

void InotifyDirectoryMonitor::sleep(double seconds) {
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return stopping_; });
}

}  // namespace velko
