#include "Core/StagedScreenshot.h"

#include <charconv>
#include <ctime>
#include <map>
#include <tuple>

#include <nlohmann/json.hpp>

#include "Core/JsonFields.h"

namespace velko {

std::string StagedScreenshot::toMetadata() const {
    const std::map<std::string, std::string> members{
        {"filename", filename},
        {"timestamp", timestamp},
        {"ocrText", ocrText},
        {"isVideo", isVideo ? "true" : "false"},
        {"fileSize", std::to_string(fileSize)},
    };
    return nlohmann::json(members).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

Result<StagedScreenshot> StagedScreenshot::fromMetadata(const std::string& identifier, const Bytes& json) {
    const auto object = nlohmann::json::parse(json.begin(), json.end(), nullptr, false);
    if (object.is_discarded()) return Failure{"not valid JSON"};
    StagedScreenshot s;
    s.identifier = identifier;
    std::string isVideo, fileSize;
    const auto read = JsonFields(object)
                          .string("filename", s.filename)
                          .string("timestamp", s.timestamp)
                          .string("ocrText", s.ocrText)
                          .string("isVideo", isVideo)
                          .string("fileSize", fileSize)
                          .result();
    if (!read) return read.failure();

    if (isVideo != "true" && isVideo != "false")
        return Failure{"\"isVideo\" is \"" + isVideo + "\", not \"true\" or \"false\""};
    s.isVideo = isVideo == "true";

    const auto* end = fileSize.data() + fileSize.size();
    const auto [ptr, ec] = std::from_chars(fileSize.data(), end, s.fileSize);
    if (fileSize.empty() || ec != std::errc() || ptr != end)
        return Failure{"\"fileSize\" is \"" + fileSize + "\", not a byte count"};
    return s;
}

std::string StagedScreenshot::timestampOf(std::chrono::system_clock::time_point moment) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
    const std::time_t t = std::chrono::system_clock::to_time_t(seconds);
    std::tm utc{};
    gmtime_r(&t, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::string StagedScreenshot::firstLine() const {
    const auto end = ocrText.find_first_of("\r\n");
    return end == std::string::npos ? ocrText : ocrText.substr(0, end);
}

bool StagedScreenshot::operator<(const StagedScreenshot& other) const {
    return std::tie(timestamp, identifier) < std::tie(other.timestamp, other.identifier);
}

}  // namespace velko
