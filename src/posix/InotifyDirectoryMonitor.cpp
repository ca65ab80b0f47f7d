#include "posix/InotifyDirectoryMonitor.h"
#include "platform/Log.h"

#include <dirent.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <set>
#include <thread>

namespace velko {
namespace {

// Entries added, removed or renamed; writes into existing files do not count.
constexpr std::uint32_t entryChanges = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t itselfGone = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t directoryMask = entryChanges | itselfGone | IN_ONLYDIR;
// Moving a parent takes the directory away from its path without a word to the directory's watch.
constexpr std::uint32_t parentMovedMask = IN_MOVE_SELF | IN_ONLYDIR;
// While waiting: the next step of the path made or moved in, or the parent itself gone.
constexpr std::uint32_t awaitedMask = IN_CREATE | IN_MOVED_TO | itselfGone | IN_ONLYDIR;
// A path that keeps changing while it is resolved is waited on as it stands after this many tries.
constexpr int resolveTries = 8;
constexpr std::chrono::milliseconds firstRetry{1000}, maxRetry{60000}, never{-1};

// /a/b/c gives /a/b, /a and /; a relative a/b gives a and ".".
std::vector<std::string> parentsOf(std::string path) {
    std::vector<std::string> parents;
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    for (;;) {
        const auto slash = path.find_last_of('/');
        if (slash == std::string::npos) {
            if (path != ".") parents.emplace_back(".");
            return parents;
        }
        path.erase(slash == 0 ? 1 : slash);
        while (path.size() > 1 && path.back() == '/') path.pop_back();
        parents.push_back(path);
        if (path == "/") return parents;
    }
}

std::string lastName(const std::string& path) {
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
    const auto slash = trimmed.find_last_of('/');
    return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

bool missing(int error) { return error == ENOENT || error == ENOTDIR; }

}  // namespace

// One watched path and the thread that follows it.
class InotifyDirectoryMonitor::Watch {
public:
    Watch(std::string path, std::function<void(DirectoryEvent)> handler, int inotify)
        : path_(std::move(path)), handler_(std::move(handler)), inotify_(inotify) {}
    ~Watch() {
        if (thread_.joinable()) thread_.join();
        ::close(inotify_);
    }
    // Watches the directory at the path, else the nearest existing parent for the next step of it.
    Result<WatchStart> resolve();
    void start(int stopEvent) { thread_ = std::thread(&Watch::run, this, stopEvent); }

private:
    void run(int stopEvent);
    void forget();
    // Reads everything queued into what it means; false when nothing was there.
    bool drain(bool& changed, bool& gone, bool& moved, bool& awaited);
    bool stillThere() const;

    const std::string path_;
    const std::function<void(DirectoryEvent)> handler_;
    const int inotify_;
    std::thread thread_;
    int directory_ = -1;     // the directory's watch; -1 while waiting
    std::set<int> parents_;  // while watching: the parents' watches for their moves
    int awaited_ = -1;       // while waiting: the nearest existing parent's watch
    std::string awaitedName_;
    // The next step is there but no folder (a file, a link to nothing): no event in the parent
    // tells when a folder is reachable there, so it is looked at from time to time.
    bool blocked_ = false;
    struct stat identity_ = {};  // of the directory being watched
};

void InotifyDirectoryMonitor::Watch::forget() {
    for (const int wd : parents_) ::inotify_rm_watch(inotify_, wd);
    if (directory_ >= 0) ::inotify_rm_watch(inotify_, directory_);
    if (awaited_ >= 0) ::inotify_rm_watch(inotify_, awaited_);
    parents_.clear();
    directory_ = awaited_ = -1;
}

Result<WatchStart> InotifyDirectoryMonitor::Watch::resolve() {
    forget();
    blocked_ = false;
    for (int tries = 1;; ++tries) {
        const int wd = ::inotify_add_watch(inotify_, path_.c_str(), directoryMask);
        if (wd >= 0) {
            directory_ = wd;
            if (::stat(path_.c_str(), &identity_) != 0) identity_ = {};
            for (const auto& parent : parentsOf(path_))
                if (const int p = ::inotify_add_watch(inotify_, parent.c_str(), parentMovedMask); p >= 0 && p != wd)
                    parents_.insert(p);
            return WatchStart::watching;
        }
        if (!missing(errno)) return Failure{"cannot watch " + path_ + ": " + std::strerror(errno), errno};
        std::string next = path_;
        for (const auto& parent : parentsOf(path_)) {
            awaited_ = ::inotify_add_watch(inotify_, parent.c_str(), awaitedMask);
            if (awaited_ >= 0) break;
            if (!missing(errno)) return Failure{"cannot watch " + parent + ": " + std::strerror(errno), errno};
            next = parent;
        }
        if (awaited_ < 0) return Failure{"no parent of " + path_ + " exists", ENOENT};
        awaitedName_ = lastName(next);
        // The next step may have been made between the two looks: then the wait would be on the
        // wrong folder. Look deeper instead.
        struct stat made = {};
        if (tries == resolveTries || ::stat(next.c_str(), &made) != 0 || !S_ISDIR(made.st_mode)) {
            blocked_ = ::lstat(next.c_str(), &made) == 0;
            return WatchStart::waiting;
        }
        forget();
    }
}

bool InotifyDirectoryMonitor::Watch::stillThere() const {
    struct stat now = {};
    return ::stat(path_.c_str(), &now) == 0 && S_ISDIR(now.st_mode) && now.st_dev == identity_.st_dev &&
           now.st_ino == identity_.st_ino;
}

bool InotifyDirectoryMonitor::Watch::drain(bool& changed, bool& gone, bool& moved, bool& awaited) {
    alignas(inotify_event) char buffer[16 * 1024];
    bool any = false;
    for (;;) {
        const ssize_t got = ::read(inotify_, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return any;
        any = true;
        for (ssize_t at = 0; at < got;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                // Anything may have happened: list again, and look whether the folder is still there.
                changed = moved = awaited = true;
            } else if (event->wd == directory_) {
                if (event->mask & (itselfGone | IN_IGNORED | IN_UNMOUNT))
                    gone = true;
                else if (event->mask & entryChanges)
                    changed = true;
            } else if (parents_.count(event->wd)) {
                moved = true;
            } else if (event->wd == awaited_) {
                const bool named = event->len > 0 && awaitedName_ == event->name;
                if ((event->mask & (IN_CREATE | IN_MOVED_TO) && named) || event->mask & (itselfGone | IN_IGNORED))
                    awaited = true;
            }  // else the end of a watch let go of
        }
    }
}

void InotifyDirectoryMonitor::Watch::run(int stopEvent) {
    pthread_setname_np(pthread_self(), "velko-watch");
    pollfd fds[2] = {{inotify_, POLLIN, 0}, {stopEvent, POLLIN, 0}};
    // Where no event can tell (a failed resolve, a blocked path): when to look again.
    std::chrono::milliseconds retry = blocked_ ? firstRetry : never;
    bool failing = false;
    for (;;) {
        const int ready = ::poll(fds, 2, static_cast<int>(retry.count()));
        if (ready < 0) {
            if (errno == EINTR) continue;
            log::warning("directory watch stopped: %s", std::strerror(errno));
            return;
        }
        if (fds[1].revents) return;
        bool changed = false, gone = false, moved = false, awaited = ready == 0;
        if (ready > 0 && !drain(changed, gone, moved, awaited)) continue;
        const bool watching = directory_ >= 0;
        if (watching && moved && !gone) gone = !stillThere();
        if (watching && gone) {
            forget();
            handler_(DirectoryEvent::gone);
        } else if (watching && changed) {
            handler_(DirectoryEvent::entriesChanged);
        }
        if (!gone && (watching || !awaited)) continue;
        const auto resolved = resolve();
        if (resolved && *resolved == WatchStart::watching) {
            failing = false;
            retry = never;
            handler_(DirectoryEvent::back);
            continue;
        }
        if (!resolved && !failing) log::warning("%s; trying again from time to time", resolved.error().c_str());
        failing = !resolved;
        retry = failing || blocked_ ? std::min(maxRetry, retry == never ? firstRetry : retry * 2) : never;
    }
}

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

Result<WatchStart> InotifyDirectoryMonitor::watch(const std::string& path,
                                                  std::function<void(DirectoryEvent)> handler) {
    if (stopEvent_ < 0) return Failure{"no event descriptor for the watch threads", EMFILE};
    const int inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify < 0) return Failure{std::string("cannot start inotify: ") + std::strerror(errno), errno};
    auto watch = std::make_unique<Watch>(path, std::move(handler), inotify);
    auto started = watch->resolve();
    if (!started) return started;
    watch->start(stopEvent_);
    std::lock_guard lock(mutex_);
    watches_.push_back(std::move(watch));
    return started;
}

void InotifyDirectoryMonitor::sleep(double seconds) {
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return stopping_; });
}

}  // namespace velko
