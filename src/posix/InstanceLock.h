#pragma once
#include <sys/types.h>

#include <string>

#include "platform/Result.h"

namespace velko {

// One helper per user's runtime folder, whatever happens to the session bus: an flock on a file
// that the kernel lets go of when the holder ends, however it ends.
class InstanceLock {
public:
    InstanceLock(InstanceLock&& other) noexcept;
    InstanceLock& operator=(InstanceLock&&) = delete;
    ~InstanceLock();

    // $XDG_RUNTIME_DIR/velko-helper.lock, or where there is no usable runtime folder
    // $XDG_STATE_HOME/velko-helper/instance.lock (~/.local/state by default).
    static std::string defaultPath();
    // Holds the lock at path and writes this process's id into it; a failure with EWOULDBLOCK when
    // another process holds it, else with the system's cause (folder missing, not writable).
    static Result<InstanceLock> acquire(const std::string& path);
    // The process id written by the holder of the lock at path; 0 when it cannot be read.
    static pid_t holder(const std::string& path);

private:
    explicit InstanceLock(int fd) : fd_(fd) {}
    int fd_;
};

}  // namespace velko
