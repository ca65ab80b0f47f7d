#pragma once
#include <mutex>
#include <set>

#include "platform/CaptureFiles.h"

namespace velko {

// Screenshots read and staged through SafeFile: regular files only, never blocking on a FIFO or
// device, staged files private to the user (0600) and published by rename. The first copy into a
// directory removes the temporary files that a run which ended mid-way left there; copies already
// published under their own names are not temporary and stay.
class PosixCaptureFiles : public CaptureFiles {
public:
    FileLook look(const std::string& path) override;
    CopyResult copyInto(const std::string& source, const std::string& destination) override;
    Result<void> moveInto(const std::string& copyPath, const std::string& destination) override;
    Result<void> writeAtomically(const std::string& path, const std::string& contents) override;
    void discard(const std::string& copyPath) override;

private:
    void sweepOnce(const std::string& directory);

    std::mutex mutex_;
    std::set<std::string> swept_;
};

}  // namespace velko
