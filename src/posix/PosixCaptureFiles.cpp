#include "posix/PosixCaptureFiles.h"
#include "platform/Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "posix/SafeFile.h"

namespace velko {
namespace {

constexpr mode_t privateFile = 0600;

FileLook::Writers writersOf(const std::string& path) {
    // Non-blocking in case the path was swapped for a FIFO since it was looked at; a lease is
    // refused on anything but a regular file, so that reads as unknown.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW);
    if (fd < 0) return FileLook::Writers::unknown;
    const std::optional<bool> writers = SafeFile::hasWriters(fd);
    ::close(fd);
    if (!writers) return FileLook::Writers::unknown;
    return *writers ? FileLook::Writers::some : FileLook::Writers::none;
}

FileLook lookOf(const struct stat& st) {
    FileLook look;
    if (!S_ISREG(st.st_mode)) {
        look.kind = S_ISLNK(st.st_mode) ? FileLook::Kind::symlink : FileLook::Kind::other;
        return look;
    }
    look.kind = FileLook::Kind::regular;
    look.device = st.st_dev;
    look.inode = st.st_ino;
    look.size = static_cast<std::uint64_t>(st.st_size);
    look.modifiedNanoseconds = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    return look;
}

}  // namespace

void PosixCaptureFiles::sweepOnce(const std::string& directory) {
    {
        std::lock_guard lock(mutex_);
        if (!swept_.insert(directory).second) return;
    }
    if (const int removed = SafeFile::removeTemporaryFiles(directory); removed > 0)
        log::info("removed %d unfinished copies left in %s", removed, directory.c_str());
}

FileLook PosixCaptureFiles::look(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return FileLook{};
    FileLook look = lookOf(st);
    if (look.kind == FileLook::Kind::regular) look.writers = writersOf(path);
    return look;
}

CopyResult PosixCaptureFiles::copyInto(const std::string& source, const std::string& destination) {
    const auto slash = destination.find_last_of('/');
    const std::string directory = slash == std::string::npos ? "." : destination.substr(0, slash);
    sweepOnce(directory);
    CopyResult result;
    bool sourceAtFault = false;
    const auto copy = SafeFile::copyIntoDirectory(source, directory, privateFile, &sourceAtFault);
    if (!copy) {
        result.error = copy.error();
        result.failure = sourceAtFault ? CopyResult::Failure::source : CopyResult::Failure::destination;
        return result;
    }
    result.source = lookOf(copy->source);
    if (const auto moved = SafeFile::renameWithoutReplacing(copy->path, destination); !moved) {
        ::unlink(copy->path.c_str());
        result.error = moved.error();
        result.failure = CopyResult::Failure::destination;
        return result;
    }
    result.copy = FileCopy{destination, copy->size};
    return result;
}

Result<void> PosixCaptureFiles::moveInto(const std::string& copyPath, const std::string& destination) {
    return SafeFile::renameWithoutReplacing(copyPath, destination);
}

Result<void> PosixCaptureFiles::writeAtomically(const std::string& path, const std::string& contents) {
    return SafeFile::writeAtomically(path, std::string_view(contents), privateFile);
}

void PosixCaptureFiles::discard(const std::string& copyPath) { ::unlink(copyPath.c_str()); }

}  // namespace velko
