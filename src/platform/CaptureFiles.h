#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "platform/Result.h"

namespace velko {

// What sits at a path at one moment. Two looks with equal fields saw the same, unchanged file.
struct FileLook {
    enum class Kind { missing, regular, symlink, other };
    enum class Writers { none, some, unknown };
    Kind kind = Kind::missing;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedNanoseconds = 0;
    // Whether any process holds the file open for writing.
    Writers writers = Writers::unknown;

    bool operator==(const FileLook&) const = default;
};

// A private copy of a capture, kept under a hidden name until it is staged.
struct FileCopy {
    std::string path;
    std::uint64_t size = 0;
};

struct CopyResult {
    enum class Failure { none, source, destination };
    std::optional<FileCopy> copy;
    // The source as it was when opened (device and inode tell which file was read).
    FileLook source;
    Failure failure = Failure::none;
    std::string error;
};

// File access on screenshots and the staging directory. Nothing here blocks on a FIFO or device,
// failures are returned rather than printed, and every method may be called from any thread.
class CaptureFiles {
public:
    virtual ~CaptureFiles() = default;
    // What is at path itself (a symlink is not followed) without reading it; kind missing on any error.
    virtual FileLook look(const std::string& path) = 0;
    // Streams the file at source into a new file (mode 0600) at destination, published whole by a
    // rename that replaces nothing, from the very descriptor that was checked to be a regular file
    // of the user's own, opened without following a symlink, with no other name. On failure no copy
    // is left, `failure` says which side was at fault and `error` why.
    virtual CopyResult copyInto(const std::string& source, const std::string& destination) = 0;
    // Renames a copy to destination, replacing nothing that exists; the reason (copy kept) on failure.
    virtual Result<void> moveInto(const std::string& copyPath, const std::string& destination) = 0;
    // Gives path exactly contents (mode 0600); a reader sees the old state or the new, never half.
    // The reason (path untouched, nothing left beside it) on failure.
    virtual Result<void> writeAtomically(const std::string& path, const std::string& contents) = 0;
    // Removes a copy that will not be staged; failures are ignored.
    virtual void discard(const std::string& copyPath) = 0;
};

}  // namespace velko
