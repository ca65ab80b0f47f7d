#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/CaptureFiles.h"

namespace velko {

// Leaves one screenshot for the main application: <id>.data, then its StagedScreenshot record as
// <id>.json, in the given staging directory. Files are published whole (moved or renamed into
// place), so a reader that lists the directory never sees half of one.
class ScreenshotStaging {
public:
    using WallClock = std::function<std::chrono::system_clock::time_point()>;

    explicit ScreenshotStaging(CaptureFiles& files, WallClock now = std::chrono::system_clock::now);

    // `data` is the private copy to publish; an empty path means no copy could be made and only
    // the metadata is written, with data.size as the file size. Failures are said on stderr and
    // never stop the other write. Returns the identifier used.
    std::string stage(const std::string& directory, const std::string& filename, const FileCopy& data,
                      const std::optional<std::string>& ocrText, bool isVideo);

private:
    CaptureFiles& files_;
    WallClock now_;
};

}  // namespace velko
