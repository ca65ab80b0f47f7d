#pragma once
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/SharedDataReader.h"
#include "Core/StagedScreenshot.h"

namespace velko {

// What velkoctl prints. Plain output keeps one record per line with tab-separated fields, so
// that cut and awk work on it; --json output is JSON that jq reads.
class ControlOutput {
public:
    using Time = std::chrono::system_clock::time_point;

    // Backslash, tab, line breaks and other control characters written as escapes, so a field
    // never spans two lines or two columns.
    static std::string escaped(std::string_view text);
    // ISO 8601 in UTC with milliseconds, e.g. 2024-05-01T08:30:12.345Z.
    static std::string utcTime(Time time);
    // "round trip: 1.24 ms"
    static std::string roundTrip(std::chrono::duration<double> time);

    // Each ends with a line break; an empty list prints nothing in plain form and [] as JSON.
    static std::string notification(const std::string& name, const std::string& object, Time time, bool json);
    static std::string triggers(const std::vector<SharedDataReader::SnippetTrigger>& triggers, bool json);
    static std::string rules(const std::vector<AutoPasteRuleEngine::PasteRule>& rules, bool json);
    static std::string screenshots(const std::vector<StagedScreenshot>& screenshots, bool json);
    // The helper's "Capability: backend" lines; as JSON, {"capability","backend"} objects (a line
    // without the separator is all capability).
    static std::string backends(const std::vector<std::string>& lines, bool json);
};

}  // namespace velko
