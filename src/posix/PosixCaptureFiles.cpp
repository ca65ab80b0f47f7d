#include "posix/PosixCaptureFiles.h"

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

}  // namespace

void PosixCaptureFiles::sweepOnce(const std::string& directory) {
    {
        std::lock_guard lock(mutex_);
        if (!swept_.insert(directory).second) return;
    }
    if (const int removed = SafeFile::removeTemporaryFiles(directory); removed > 0)
        std::fprintf(stderr, "velko-helper: removed %d unfinished copies left in %s\n", removed, directory.c_str());
}

FileLook PosixCaptureFiles::look(const std::string& path) {
    FileLook look;
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return look;
    if (!S_ISREG(st.st_mode)) {
        look.kind = S_ISLNK(st.st_mode) ? FileLook::Kind::symlink : FileLook::Kind::other;
        return look;
    }
    look.kind = FileLook::Kind::regular;
    look.device = st.st_dev;
    look.inode = st.st_ino;
    look.size = static_cast<std::uint64_t>(st.st_size);
    look.modifiedNanoseconds = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    look.writers = writersOf(path);
    return look;
}

CopyResult PosixCaptureFiles::copyInto(const std::string& source, const std::string& directory) {
    sweepOnce(directory);
    CopyResult result;
    bool sourceAtFault = false;
    if (const auto copy = SafeFile::copyIntoDirectory(source, directory, privateFile, &sourceAtFault)) {
        result.copy = FileCopy{copy->path, copy->size};
    } else {
        result.error = copy.error();
        result.failure = sourceAtFault ? CopyResult::Failure::source : CopyResult::Failure::destination;
    }
    return result;
}

bool PosixCaptureFiles::moveInto(const std::string& copyPath, const std::string& destination) {
    const auto moved = SafeFile::renameWithoutReplacing(copyPath, destination);
    if (!moved) std::fprintf(stderr, "velko-helper: %s\n", moved.error().c_str());
    return bool(moved);
}

bool PosixCaptureFiles::writeAtomically(const std::string& path, const std::string& contents) {
    const auto written = SafeFile::writeAtomically(path, std::string_view(contents), privateFile);
    if (!written) std::fprintf(stderr, "velko-helper: %s\n", written.error().c_str());
    return bool(written);
}

void PosixCaptureFiles::discard(const std::string& copyPath) { ::unlink(copyPath.c_str()); }

}  // namespace velko
