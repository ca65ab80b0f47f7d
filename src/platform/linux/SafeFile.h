#pragma once
// File access that stays safe against whatever sits at a path: FIFOs and devices never block
// a read, sizes are capped, and replacements are all-or-nothing.
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Types.h"

namespace velko {

class SafeFile {
public:
    // The whole content of the regular file at path (symlinks followed), or nullopt with a short
    // phrase in error. On failure errno tells the cause apart: ENOENT when nothing is there,
    // EINVAL when it is not a regular file, EFBIG when larger than maxBytes, else the system's.
    static std::optional<Bytes> readRegularFile(const std::string& path, std::size_t maxBytes,
                                                std::string* error = nullptr);

    // Replaces path with exactly contents, or leaves it as it was: the data goes to a temporary
    // file beside it (created with mode, less the umask), is synced, then renamed over path.
    // A symlink at path keeps pointing where it did; its target is what gets replaced.
    static bool writeAtomically(const std::string& path, const Bytes& contents, mode_t mode,
                                std::string* error = nullptr);
    static bool writeAtomically(const std::string& path, std::string_view contents, mode_t mode,
                                std::string* error = nullptr);

    // Creates path and its missing parents with mode; true when it is a directory afterwards.
    static bool createDirectories(const std::string& path, mode_t mode, std::string* error = nullptr);
};

}  // namespace velko
