// A staged screenshot's metadata as velkoctl reads it from the shared folder: any bytes give a
// record or a reason, and a record written by the helper's own writer reads back the same.
#include <cstddef>
#include <cstdint>

#include "Core/ScreenshotStaging.h"
#include "Core/StagedScreenshot.h"
#include "Require.h"

using namespace velko;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string identifier = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
    std::string error;
    const auto record = StagedScreenshot::fromMetadata(identifier, Bytes(data, data + size), error);
    if (!record) {
        fuzz::require(!error.empty(), "a refused record says why");
        return 0;
    }
    fuzz::require(record->ocrText.starts_with(record->firstLine()), "the first line begins the text");

    const std::string json = ScreenshotStaging::metadataJson(record->filename, record->timestamp, record->ocrText,
                                                             record->isVideo, record->fileSize);
    const auto again = StagedScreenshot::fromMetadata(identifier, Bytes(json.begin(), json.end()), error);
    fuzz::require(again.has_value(), "a written record reads back");
    fuzz::require(again->filename == record->filename && again->timestamp == record->timestamp &&
                      again->ocrText == record->ocrText && again->isVideo == record->isVideo &&
                      again->fileSize == record->fileSize,
                  "a written record reads back the same");
    return 0;
}
