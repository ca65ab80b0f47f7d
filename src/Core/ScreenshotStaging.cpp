#include "Core/ScreenshotStaging.h"

#include <cstdio>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "Core/HelperConstants.h"

namespace velko {

ScreenshotStaging::ScreenshotStaging(FileSystem& fileSystem, CaptureFiles& files, WallClock now)
    : fileSystem_(fileSystem), files_(files), now_(std::move(now)) {}

std::string ScreenshotStaging::stage(const std::string& filename, const FileCopy& data,
                                     const std::optional<std::string>& ocrText, bool isVideo) {
    const std::string directory = HelperConstants::screenshotStagingURL(fileSystem_);
    const std::string identifier = newIdentifier();
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

std::string ScreenshotStaging::newIdentifier() {
    thread_local std::mt19937_64 generator{[] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }()};
    std::uint64_t high = generator();
    std::uint64_t low = generator();
    high = (high & ~0xF000ULL) | 0x4000ULL;                       // version 4
    low = (low & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL;  // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%08llX-%04llX-%04llX-%04llX-%012llX", static_cast<unsigned long long>(high >> 32),
                  static_cast<unsigned long long>((high >> 16) & 0xFFFF),
                  static_cast<unsigned long long>(high & 0xFFFF), static_cast<unsigned long long>(low >> 48),
                  static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
    return text;
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
