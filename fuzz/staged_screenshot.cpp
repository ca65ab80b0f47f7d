// A staged screenshot's metadata as velkoctl reads it from the shared folder: any bytes give a
// record or a reason, and a record written by the helper's own writer reads back the same.
#include <cstddef>
#include <cstdint>

#include "Core/StagedScreenshot.h"
#include "Require.h"

using namespace velko;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string identifier = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
    const auto record = StagedScreenshot::fromMetadata(identifier, Bytes(data, data + size));
    if (!record) {
        fuzz::require(!record.error().empty(), "a refused record says why");
        return 0;
    }
    fuzz::require(record->ocrText.starts_with(record->firstLine()), "the first line begins the text");

    const std::string json = record->toMetadata();
    const auto again = StagedScreenshot::fromMetadata(identifier, Bytes(json.begin(), json.end()));
    fuzz::require(bool(again), "a written record reads back");
    // Compared as written: bytes that are not UTF-8 became U+FFFD in the first writing.
    const auto rewritten = again->toMetadata();
    fuzz::require(rewritten == json, "a written record reads back the same");
    return 0;
}
