#include "posix/SafeFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>
#include <vector>

namespace velko {
namespace {

Failure systemFailure(int cause, const std::string& what) { return Failure{what + ": " + std::strerror(cause), cause}; }

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

// An open descriptor of a regular file. O_NONBLOCK so that a FIFO with no writer is refused at
// once instead of waiting for one.
Result<int> openRegularFile(const std::string& path, struct stat* st) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.get() < 0) return systemFailure(errno, "cannot open");
    if (::fstat(file.get(), st) != 0) return systemFailure(errno, "cannot stat");
    if (!S_ISREG(st->st_mode)) return Failure{"not a regular file", EINVAL};
    return file.release();
}

// The copy must come from the very file that was checked, so the checks are made on the descriptor
// and the name is only compared with it: a symlink planted under a screenshot's name, or a hard
// link to another file, would otherwise leak whatever it points at.
Result<int> openOwnFile(const std::string& path, struct stat* st) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW));
    if (file.get() < 0) {
        if (errno == ELOOP) return Failure{"a symbolic link, not followed", ELOOP};
        return systemFailure(errno, "cannot open");
    }
    if (::fstat(file.get(), st) != 0) return systemFailure(errno, "cannot stat");
    if (!S_ISREG(st->st_mode)) return Failure{"not a regular file", EINVAL};
    if (st->st_uid != ::geteuid()) return Failure{"owned by another user", EPERM};
    if (st->st_nlink != 1) return Failure{"a hard link (the file has other names)", EMLINK};
    struct stat named {};
    if (::lstat(path.c_str(), &named) != 0 || named.st_dev != st->st_dev || named.st_ino != st->st_ino)
        return Failure{"replaced while it was opened", ESTALE};
    return file.release();
}

std::string parentOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string baseNameOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::uint64_t uniqueSuffix() {
    std::uint64_t value = 0;
    if (::getrandom(&value, sizeof value, GRND_NONBLOCK) == sizeof value) return value;
    // Without entropy (early boot) O_EXCL still guarantees uniqueness; this only avoids collisions.
    static std::atomic<std::uint64_t> counter{0};
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return (static_cast<std::uint64_t>(::getpid()) << 40) ^ static_cast<std::uint64_t>(now.tv_nsec) ^ (++counter << 20);
}

// Writing through a symlink would replace the link with a plain file, which breaks dotfile setups.
std::string replacementTarget(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

// Temporary files are ".<base>.tmp-" and 16 lower-case hexadecimal digits.
constexpr std::string_view temporaryMark = ".tmp-";
constexpr std::size_t temporarySuffixLength = 16;

bool isTemporaryName(std::string_view name) {
    const auto mark = name.rfind(temporaryMark);
    if (name.empty() || name.front() != '.' || mark == std::string_view::npos ||
        name.size() - mark != temporaryMark.size() + temporarySuffixLength)
        return false;
    return name.substr(mark + temporaryMark.size()).find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// A new, empty file beside the others in dir under a hidden unique name, its name in *temp.
Result<int> createTemporary(const std::string& dir, const std::string& base, mode_t mode, std::string* temp) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[temporarySuffixLength + 1];
        std::snprintf(suffix, sizeof suffix, "%016llx", static_cast<unsigned long long>(uniqueSuffix()));
        *temp = dir + "/." + base + std::string(temporaryMark) + suffix;
        const int fd = ::open(temp->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
        if (fd >= 0) return fd;
        if (errno != EEXIST) return systemFailure(errno, "cannot create a file in " + dir);
    }
    return Failure{"no free temporary name in " + dir, EEXIST};
}

bool writeAll(int fd, const std::uint8_t* data, std::size_t size, int* cause) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) continue;
            *cause = errno;
            return false;
        }
        if (written == 0) {
            *cause = EIO;
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

Result<void> writeAtomicallyImpl(const std::string& path, const std::uint8_t* data, std::size_t size, mode_t mode) {
    if (path.empty() || path.back() == '/') return Failure{"not a file path", EINVAL};
    const std::string target = replacementTarget(path);
    const std::string dir = parentOf(target);
    // Leaves room for the prefix and suffix within NAME_MAX.
    const std::string base = baseNameOf(target).substr(0, 200);

    std::string temp;
    const auto created = createTemporary(dir, base, mode, &temp);
    if (!created) return created.failure();
    Descriptor file(*created);
    const auto abandon = [&](int cause, const std::string& what) -> Result<void> {
        if (file.get() >= 0) ::close(file.release());
        ::unlink(temp.c_str());
        return systemFailure(cause, what);
    };

    int cause = 0;
    if (!writeAll(file.get(), data, size, &cause)) return abandon(cause, "cannot write " + temp);
    if (::fsync(file.get()) != 0) return abandon(errno, "cannot sync " + temp);
    // Linux closes the descriptor even when close reports EINTR, so only real errors count.
    if (::close(file.release()) != 0 && errno != EINTR) return abandon(errno, "cannot close " + temp);
    if (::rename(temp.c_str(), target.c_str()) != 0) return abandon(errno, "cannot replace " + target);

    // Makes the rename itself durable; some filesystems refuse a directory fsync, which is harmless.
    const int dirFd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return {};
}

}  // namespace

Result<Bytes> SafeFile::readRegularFile(const std::string& path, std::size_t maxBytes) {
    struct stat st {};
    const auto opened = openRegularFile(path, &st);
    if (!opened) return opened.failure();
    Descriptor file(*opened);
    const Failure tooLarge{"larger than " + std::to_string(maxBytes) + " bytes", EFBIG};
    if (static_cast<std::uintmax_t>(st.st_size) > maxBytes) return tooLarge;

    // The size is only a hint: the file may grow or shrink while it is read. One byte past the cap
    // is enough to tell that it grew too large.
    const std::size_t limit = maxBytes == SIZE_MAX ? maxBytes : maxBytes + 1;
    Bytes contents(std::min(limit, static_cast<std::size_t>(st.st_size) + 1));
    std::size_t used = 0;
    for (;;) {
        if (used == contents.size()) {
            if (used > maxBytes) return tooLarge;
            contents.resize(std::min(limit, std::max<std::size_t>(used * 2, 4096)));
        }
        const ssize_t got = ::read(file.get(), contents.data() + used, contents.size() - used);
        if (got < 0) {
            if (errno == EINTR) continue;
            return systemFailure(errno, "cannot read");
        }
        if (got == 0) break;
        used += static_cast<std::size_t>(got);
    }
    if (used > maxBytes) return tooLarge;
    contents.resize(used);
    return contents;
}

Result<void> SafeFile::writeAtomically(const std::string& path, const Bytes& contents, mode_t mode) {
    return writeAtomicallyImpl(path, contents.data(), contents.size(), mode);
}

Result<void> SafeFile::writeAtomically(const std::string& path, std::string_view contents, mode_t mode) {
    return writeAtomicallyImpl(path, reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size(), mode);
}

Result<SafeFile::Copy> SafeFile::copyIntoDirectory(const std::string& source, const std::string& directory, mode_t mode,
                                                   bool* sourceAtFault) {
    bool ignored = false;
    bool& sourceFault = sourceAtFault ? *sourceAtFault : ignored;
    sourceFault = true;
    struct stat st {};
    const auto opened = openOwnFile(source, &st);
    if (!opened) return opened.failure();
    Descriptor in(*opened);

    std::string temp;
    const auto created = createTemporary(directory, "capture", mode, &temp);
    if (!created) {
        sourceFault = false;
        return created.failure();
    }
    Descriptor out(*created);
    const auto abandon = [&](bool sourceCause, int cause, const std::string& what) -> Result<Copy> {
        if (out.get() >= 0) ::close(out.release());
        ::unlink(temp.c_str());
        sourceFault = sourceCause;
        return systemFailure(cause, what);
    };

    // Until end of file rather than the size seen above, so that nothing appended is cut off.
    std::vector<std::uint8_t> buffer(256 * 1024);
    std::uint64_t total = 0;
    for (;;) {
        const ssize_t got = ::read(in.get(), buffer.data(), buffer.size());
        if (got < 0) {
            if (errno == EINTR) continue;
            return abandon(true, errno, "cannot read");
        }
        if (got == 0) break;
        int cause = 0;
        if (!writeAll(out.get(), buffer.data(), static_cast<std::size_t>(got), &cause))
            return abandon(false, cause, "cannot write " + temp);
        total += static_cast<std::uint64_t>(got);
    }
    if (::fsync(out.get()) != 0) return abandon(false, errno, "cannot sync " + temp);
    if (::close(out.release()) != 0 && errno != EINTR) return abandon(false, errno, "cannot close " + temp);
    return Copy{temp, total, st};
}

int SafeFile::removeTemporaryFiles(const std::string& directory) {
    DIR* dir = ::opendir(directory.c_str());
    if (!dir) return 0;
    int removed = 0;
    while (const dirent* entry = ::readdir(dir))
        if (isTemporaryName(entry->d_name) && ::unlinkat(::dirfd(dir), entry->d_name, 0) == 0) ++removed;
    ::closedir(dir);
    return removed;
}

std::optional<bool> SafeFile::hasWriters(int fd) {
    // A read lease is refused while anyone has the file open for writing. It is dropped at once;
    // should a writer open the file in between, the break is signalled with SIGURG, which is
    // ignored unless handled, rather than SIGIO, which would end the process.
    if (::fcntl(fd, F_SETSIG, SIGURG) != 0) return std::nullopt;
    if (::fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(fd, F_SETLEASE, F_UNLCK);
        return false;
    }
    if (errno == EAGAIN) return true;
    return std::nullopt;
}

Result<void> SafeFile::renameWithoutReplacing(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
    if (errno != EINVAL && errno != ENOSYS) return systemFailure(errno, "cannot rename to " + to);
    // Filesystems without the flag: a hard link refuses an existing name just the same.
    if (::link(from.c_str(), to.c_str()) != 0) return systemFailure(errno, "cannot rename to " + to);
    ::unlink(from.c_str());
    return {};
}

Result<void> SafeFile::createDirectories(const std::string& path, mode_t mode) {
    if (path.empty()) return Failure{"empty directory path", ENOENT};
    std::size_t end = 0;
    while (end != std::string::npos) {
        end = path.find('/', end + 1);
        const std::string prefix = path.substr(0, end);
        if (prefix.empty() || prefix.back() == '/') continue;
        struct stat st {};
        if (::stat(prefix.c_str(), &st) == 0) {
            if (!S_ISDIR(st.st_mode)) return Failure{prefix + " is not a directory", ENOTDIR};
            continue;
        }
        if (errno != ENOENT) return systemFailure(errno, "cannot look at " + prefix);
        // EEXIST here means another process won the race; the stat below settles what it made.
        if (::mkdir(prefix.c_str(), mode) != 0 && errno != EEXIST)
            return systemFailure(errno, "cannot create " + prefix);
    }
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return systemFailure(errno, "cannot look at " + path);
    if (!S_ISDIR(st.st_mode)) return Failure{path + " is not a directory", ENOTDIR};
    return {};
}

}  // namespace velko
