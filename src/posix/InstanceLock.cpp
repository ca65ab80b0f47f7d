#include "posix/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "posix/SafeFile.h"

namespace velko {
namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// The runtime folder is only trusted when it is ours alone, as the base directory rules ask.
bool usableRuntimeFolder(const std::string& path) {
    struct stat st {};
    return !path.empty() && path.front() == '/' && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) &&
           st.st_uid == ::getuid() && (st.st_mode & 077) == 0 && ::access(path.c_str(), W_OK) == 0;
}

}  // namespace

InstanceLock::InstanceLock(InstanceLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

InstanceLock::~InstanceLock() {
    if (fd_ >= 0) ::close(fd_);
}

std::string InstanceLock::defaultPath() {
    const std::string runtime = environment("XDG_RUNTIME_DIR");
    if (usableRuntimeFolder(runtime)) return runtime + "/velko-helper.lock";
    std::string state = environment("XDG_STATE_HOME");
    if (state.empty() || state.front() != '/') state = environment("HOME") + "/.local/state";
    return state + "/velko-helper/instance.lock";
}

Result<InstanceLock> InstanceLock::acquire(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) {
        if (auto made = SafeFile::createDirectories(path.substr(0, slash), 0700); !made) return made.failure();
    }
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (fd < 0) return Failure{std::string("cannot open ") + path + ": " + std::strerror(errno), errno};
    InstanceLock lock(fd);
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return Failure{path + " is not a regular file", EINVAL};
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int cause = errno;
        return Failure{cause == EWOULDBLOCK ? "held by another process" : std::strerror(cause), cause};
    }
    // The id is only for the other helper's log line; the lock itself is what counts.
    const std::string id = std::to_string(::getpid()) + "\n";
    const bool written = ::ftruncate(fd, 0) == 0 && ::pwrite(fd, id.data(), id.size(), 0) >= 0;
    static_cast<void>(written);
    return lock;
}

pid_t InstanceLock::holder(const std::string& path) {
    auto content = SafeFile::readRegularFile(path, 32);
    if (!content) return 0;
    const std::string text(content->begin(), content->end());
    return static_cast<pid_t>(std::strtol(text.c_str(), nullptr, 10));
}

}  // namespace velko
