#include "velkoctl/ControlOutput.h"

#include <cstdio>
#include <ctime>

#include <nlohmann/json.hpp>

namespace velko {

namespace {
std::string dump(const nlohmann::ordered_json& json) {
    // Bytes that are not UTF-8 come out as U+FFFD rather than failing the whole listing.
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

std::string joined(const std::vector<std::string>& parts, char separator) {
    std::string out;
    for (const auto& part : parts) {
        if (!out.empty()) out += separator;
        out += part;
    }
    return out;
}
}  // namespace

std::string ControlOutput::escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                if (byte < 0x20 || byte == 0x7f) {
                    char hex[8];
                    std::snprintf(hex, sizeof hex, "\\x%02x", byte);
                    out += hex;
                } else {
                    out += c;
                }
        }
    }
    return out;
}

std::string ControlOutput::utcTime(Time time) {
    using namespace std::chrono;
    const auto ms = time_point_cast<milliseconds>(time).time_since_epoch().count();
    const std::time_t secs = static_cast<std::time_t>(ms >= 0 ? ms / 1000 : (ms - 999) / 1000);
    std::tm tm{};
    gmtime_r(&secs, &tm);
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", tm.tm_year + 1900, tm.tm_mon + 1,
                  tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(ms - secs * 1000LL));
    return buffer;
}

std::string ControlOutput::roundTrip(std::chrono::duration<double> time) {
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "round trip: %.2f ms",
                  std::chrono::duration<double, std::milli>(time).count());
    return buffer;
}

std::string ControlOutput::notification(const std::string& name, const std::string& object, Time time, bool json) {
    if (json) return dump({{"name", name}, {"object", object}, {"time", utcTime(time)}});
    return escaped(name) + "\t" + escaped(object) + "\t" + utcTime(time) + "\n";
}

std::string ControlOutput::triggers(const std::vector<SharedDataReader::SnippetTrigger>& triggers, bool json) {
    if (json) return SharedDataReader::encodeTriggers(triggers) + "\n";
    std::string out;
    for (const auto& t : triggers)
        out += escaped(t.abbreviation) + "\t" + escaped(t.expansion) + "\t" + escaped(t.format) + "\t" +
               escaped(joined(t.appScope, ',')) + "\n";
    return out;
}

std::string ControlOutput::rules(const std::vector<AutoPasteRuleEngine::PasteRule>& rules, bool json) {
    if (json) {
        auto array = nlohmann::ordered_json::array();
        for (const auto& r : rules)
            array.push_back({{"bundleId", r.bundleId}, {"action", AutoPasteRuleEngine::rawValue(r.action)}});
        return dump(array);
    }
    std::string out;
    for (const auto& r : rules)
        out += escaped(r.bundleId) + "\t" + std::string(AutoPasteRuleEngine::rawValue(r.action)) + "\n";
    return out;
}

std::string ControlOutput::screenshots(const std::vector<StagedScreenshot>& screenshots, bool json) {
    if (json) {
        auto array = nlohmann::ordered_json::array();
        for (const auto& s : screenshots)
            array.push_back({{"identifier", s.identifier},
                             {"filename", s.filename},
                             {"timestamp", s.timestamp},
                             {"fileSize", s.fileSize},
                             {"isVideo", s.isVideo},
                             {"ocrText", s.ocrText},
                             {"firstLine", s.firstLine()}});
        return dump(array);
    }
    std::string out;
    for (const auto& s : screenshots)
        out += escaped(s.identifier) + "\t" + escaped(s.timestamp) + "\t" + std::to_string(s.fileSize) + "\t" +
               escaped(s.filename) + "\t" + escaped(s.firstLine()) + "\n";
    return out;
}

std::string ControlOutput::backends(const std::vector<std::string>& lines, bool json) {
    std::string out;
    auto array = nlohmann::ordered_json::array();
    for (const auto& line : lines) {
        const auto colon = line.find(": ");
        const bool split = colon != std::string::npos;
        array.push_back({{"capability", split ? line.substr(0, colon) : line},
                         {"backend", split ? line.substr(colon + 2) : std::string()}});
        out += escaped(line) + "\n";
    }
    return json ? dump(array) : out;
}

}  // namespace velko
