#include "ocrworker/RecognitionMessages.h"

#include <nlohmann/json.hpp>

namespace velko {
namespace {

using nlohmann::json;

std::string hex(std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const unsigned char byte : bytes) {
        out += digits[byte >> 4];
        out += digits[byte & 0xf];
    }
    return out;
}

std::optional<std::string> unhex(const std::string& text) {
    const auto value = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    if (text.size() % 2 != 0) return std::nullopt;
    std::string out;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = value(text[i]), low = value(text[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        out += static_cast<char>(high << 4 | low);
    }
    return out;
}

std::optional<json> object(std::string_view line) {
    auto parsed = json::parse(line.begin(), line.end(), nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object() || !parsed.contains("id") || !parsed["id"].is_number_unsigned())
        return std::nullopt;
    return parsed;
}

std::string line(const json& message) {
    // Tesseract's text is UTF-8, but a bad byte must cost a character, not the whole result.
    return message.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string RecognitionMessages::request(const Request& request) {
    return line({{"id", request.id}, {"path", hex(request.imagePath)}, {"name", hex(request.name)}});
}

std::string RecognitionMessages::result(const Result& result) {
    json lines = nullptr;
    if (result.observations) {
        lines = json::array();
        for (const auto& observation : *result.observations) lines.push_back(observation.candidates);
    }
    return line({{"id", result.id}, {"lines", lines}});
}

std::optional<RecognitionMessages::Request> RecognitionMessages::readRequest(std::string_view text) {
    const auto message = object(text);
    if (!message || !message->contains("path") || !(*message)["path"].is_string()) return std::nullopt;
    auto path = unhex((*message)["path"].get<std::string>());
    if (!path) return std::nullopt;
    std::optional<std::string> name = *path;
    if (message->contains("name"))
        name = (*message)["name"].is_string() ? unhex((*message)["name"].get<std::string>()) : std::nullopt;
    if (!name) return std::nullopt;
    return Request{(*message)["id"].get<std::uint64_t>(), std::move(*path), std::move(*name)};
}

std::optional<RecognitionMessages::Result> RecognitionMessages::readResult(std::string_view text) {
    const auto message = object(text);
    if (!message || !message->contains("lines")) return std::nullopt;
    Result result{(*message)["id"].get<std::uint64_t>(), std::nullopt};
    const json& lines = (*message)["lines"];
    if (lines.is_null()) return result;
    if (!lines.is_array()) return std::nullopt;
    result.observations.emplace();
    for (const json& candidates : lines) {
        if (!candidates.is_array()) return std::nullopt;
        TextObservation observation;
        for (const json& candidate : candidates) {
            if (!candidate.is_string()) return std::nullopt;
            observation.candidates.push_back(candidate.get<std::string>());
        }
        result.observations->push_back(std::move(observation));
    }
    return result;
}

}  // namespace velko
