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

    // Publishes the private copy `data` as <identifier>.data and writes its record, both or
    // neither: on failure the record is not there and the copy is back at data.path, to be tried
    // again; the reason is returned, nothing is printed.
    Result<void> stage(const std::string& directory, const std::string& identifier, const std::string& filename,
                       const FileCopy& data, const std::optional<std::string>& ocrText, bool isVideo);

private:
    CaptureFiles& files_;
    WallClock now_;
};

}  // namespace velko
