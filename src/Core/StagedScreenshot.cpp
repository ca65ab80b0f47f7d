#include "Core/StagedScreenshot.h"

#include <charconv>
#include <tuple>

#include <nlohmann/json.hpp>

#include "Core/JsonFields.h"

namespace velko {

std::optional<StagedScreenshot> StagedScreenshot::fromMetadata(const std::string& identifier, const Bytes& json,
                                                               std::string& error) {
    const auto object = nlohmann::json::parse(json.begin(), json.end(), nullptr, false);
    if (object.is_discarded()) {
        error = "not valid JSON";
        return std::nullopt;
    }
    StagedScreenshot s;
    s.identifier = identifier;
    std::string isVideo, fileSize;
    if (!JsonFields::string(object, "filename", s.filename, error) ||
        !JsonFields::string(object, "timestamp", s.timestamp, error) ||
        !JsonFields::string(object, "ocrText", s.ocrText, error) ||
        !JsonFields::string(object, "isVideo", isVideo, error) ||
        !JsonFields::string(object, "fileSize", fileSize, error))
        return std::nullopt;

    if (isVideo != "true" && isVideo != "false") {
        error = "\"isVideo\" is \"" + isVideo + "\", not \"true\" or \"false\"";
        return std::nullopt;
    }
    s.isVideo = isVideo == "true";

    const auto* end = fileSize.data() + fileSize.size();
    const auto [ptr, ec] = std::from_chars(fileSize.data(), end, s.fileSize);
    if (fileSize.empty() || ec != std::errc() || ptr != end) {
        error = "\"fileSize\" is \"" + fileSize + "\", not a byte count";
        return std::nullopt;
    }
    return s;
}

std::string StagedScreenshot::firstLine() const {
    const auto end = ocrText.find_first_of("\r\n");
    return end == std::string::npos ? ocrText : ocrText.substr(0, end);
}

bool StagedScreenshot::operator<(const StagedScreenshot& other) const {
    return std::tie(timestamp, identifier) < std::tie(other.timestamp, other.identifier);
}

}  // namespace velko
