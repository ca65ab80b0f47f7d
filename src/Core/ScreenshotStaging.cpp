#include "Core/ScreenshotStaging.h"

#include <cstdio>

#include "Core/StagedScreenshot.h"
#include "Core/UUIDGenerator.h"

namespace velko {

ScreenshotStaging::ScreenshotStaging(CaptureFiles& files, WallClock now) : files_(files), now_(std::move(now)) {}

std::string ScreenshotStaging::stage(const std::string& directory, const std::string& filename, const FileCopy& data,
                                     const std::optional<std::string>& ocrText, bool isVideo) {
    const std::string identifier = UUIDGenerator::random();
    const std::string base = directory + "/" + identifier;

    if (!data.path.empty() && !files_.moveInto(data.path, base + ".data")) {
        std::fprintf(stderr, "velko-helper: could not stage the data of \"%s\" in %s\n", filename.c_str(),
                     directory.c_str());
        files_.discard(data.path);
    }
    // Taken after the data is in place: the record says when the pair became complete.
    const std::string json = StagedScreenshot{identifier,           filename, StagedScreenshot::timestampOf(now_()),
                                              ocrText.value_or(""), isVideo,  data.size}
                                 .toMetadata();
    if (!files_.writeAtomically(base + ".json", json))
        std::fprintf(stderr, "velko-helper: could not write the metadata of \"%s\" in %s\n", filename.c_str(),
                     directory.c_str());
    return identifier;
}

}  // namespace velko
