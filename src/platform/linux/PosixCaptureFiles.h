#pragma once
#include "platform/CaptureFiles.h"

namespace velko {

// Screenshots read and staged through SafeFile: regular files only, never blocking on a FIFO or
// device, staged files private to the user (0600) and published by rename.
class PosixCaptureFiles : public CaptureFiles {
public:
    FileLook look(const std::string& path) override;
    CopyResult copyInto(const std::string& source, const std::string& directory) override;
    bool moveInto(const std::string& copyPath, const std::string& destination) override;
    bool writeAtomically(const std::string& path, const std::string& contents) override;
    void discard(const std::string& copyPath) override;
};

}  // namespace velko
