#pragma once
#include <string>

#include "platform/CaptureJournal.h"

namespace velko {

// The journal as a file in the helper's state folder: $XDG_STATE_HOME/velko-helper, else
// ~/.local/state/velko-helper. Saved through SafeFile, so a crash leaves the old text or the new.
// Used from the main thread only.
class PosixCaptureJournal : public CaptureJournal {
public:
    explicit PosixCaptureJournal(const std::string& homeDirectory);
    std::string load() override;
    bool save(const std::string& contents) override;
    const std::string& path() const { return path_; }

private:
    std::string path_;
    bool failing_ = false;
};

}  // namespace velko
