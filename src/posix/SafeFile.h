#pragma once
// File access that stays safe against whatever sits at a path: FIFOs and devices never block
// a read, sizes are capped, and replacements are all-or-nothing.
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Result.h"
#include "platform/Types.h"

namespace velko {

class SafeFile {
public:
    // The whole content of the regular file at path (symlinks followed), or a failure whose cause
    // tells it apart: ENOENT when nothing is there, EINVAL when it is not a regular file, EFBIG
    // when larger than maxBytes, else the system's.
    static Result<Bytes> readRegularFile(const std::string& path, std::size_t maxBytes);

    // Replaces path with exactly contents, or leaves it as it was: the data goes to a temporary
    // file beside it (created with mode, less the umask), is synced, then renamed over path.
    // A symlink at path keeps pointing where it did; its target is what gets replaced.
    static Result<void> writeAtomically(const std::string& path, const Bytes& contents, mode_t mode);
    static Result<void> writeAtomically(const std::string& path, std::string_view contents, mode_t mode);

    struct Copy {
        std::string path;
        std::uint64_t size = 0;
        // The source as it was when opened.
        struct stat source {};
    };
    // Streams the file at source into a new file in directory under a hidden unique name, created
    // with mode (less the umask) and synced. Only a regular file of the user's own with no other
    // name is read, and never through a symlink: it is opened without following one or blocking
    // (a FIFO or device fails at once), and the open file is checked to be the one at source.
    // Never holds more than a small buffer of it in memory. On failure nothing is left behind and
    // *sourceAtFault tells whether source was the cause; the failure's message says why.
    static Result<Copy> copyIntoDirectory(const std::string& source, const std::string& directory, mode_t mode,
                                          bool* sourceAtFault = nullptr);

    // Whether any process holds the regular file behind fd (opened read-only by the caller) open
    // for writing; nullopt when the system cannot tell (no lease support, a file of another owner,
    // not a regular file).
    static std::optional<bool> hasWriters(int fd);

    // Removes the temporary files an interrupted write or copy left in directory; how many.
    static int removeTemporaryFiles(const std::string& directory);

    // Renames from to to, unless something already exists at to (a failure with EEXIST then).
    static Result<void> renameWithoutReplacing(const std::string& from, const std::string& to);

    // Creates path and its missing parents with mode; succeeds when it is a directory afterwards.
    static Result<void> createDirectories(const std::string& path, mode_t mode);
};

}  // namespace velko
