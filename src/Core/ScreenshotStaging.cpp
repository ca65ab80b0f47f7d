#include "Core/ScreenshotStaging.h"

#include <cstdio>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>

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
    const std::string json = metadataJson(filename, isoTimestamp(now_()), ocrText, isVideo, data.size);
    if (!files_.writeAtomically(base + ".json", json))
        std::fprintf(stderr, "velko-helper: could not write the metadata of \"%s\" in %s\n", filename.c_str(),
                     directory.c_str());
    return identifier;
}

std::string ScreenshotStaging::isoTimestamp(std::chrono::system_clock::time_point moment) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
    const std::time_t t = std::chrono::system_clock::to_time_t(seconds);
    std::tm utc{};
    gmtime_r(&t, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::string ScreenshotStaging::metadataJson(const std::string& filename, const std::string& timestamp,
                                            const std::optional<std::string>& ocrText, bool isVideo,
                                            std::uint64_t fileSize) {
    const std::map<std::string, std::string> members{
        {"filename", filename},
        {"timestamp", timestamp},
        {"ocrText", ocrText.value_or("")},
        {"isVideo", isVideo ? "true" : "false"},
        {"fileSize", std::to_string(fileSize)},
    };
    return nlohmann::json(members).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace velko
