#include "Core/ScreenshotStaging.h"

#include "Core/StagedScreenshot.h"

namespace velko {

ScreenshotStaging::ScreenshotStaging(CaptureFiles& files, WallClock now) : files_(files), now_(std::move(now)) {}

Result<void> ScreenshotStaging::stage(const std::string& directory, const std::string& identifier,
                                      const std::string& filename, const FileCopy& data,
                                      const std::optional<std::string>& ocrText, bool isVideo) {
    const std::string base = directory + "/" + identifier;
    if (const auto moved = files_.moveInto(data.path, base + ".data"); !moved) return moved.failure();
    // Taken after the data is in place: the record says when the pair became complete.
    const std::string json = StagedScreenshot{identifier,           filename, StagedScreenshot::timestampOf(now_()),
                                              ocrText.value_or(""), isVideo,  data.size}
                                 .toMetadata();
    if (const auto written = files_.writeAtomically(base + ".json", json); !written) {
        // A rename needs no room, so the copy goes back where the next try finds it.
        if (!files_.moveInto(base + ".data", data.path)) files_.discard(base + ".data");
        return written.failure();
    }
    return {};
}

}  // namespace velko
