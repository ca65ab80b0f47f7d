// The main application's shared suite, XML or binary, as the helper reads it and velkoctl stores a
// list into it: the lists decode or are refused, and a stored list keeps every other key and
// reads back in the file's own format.
#include <cstddef>
#include <cstdint>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/SharedDataReader.h"
#include "Require.h"
#include "plist/PlistFile.h"

using namespace velko;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    PlistFile suite;
    if (!suite.parse(Bytes(data, data + size))) return 0;

    std::string error;
    std::vector<SharedDataReader::SnippetTrigger> triggers;
    if (const auto json = suite.data(SharedDataReader::triggersKey))
        fuzz::require(SharedDataReader::decodeTriggers(*json, triggers, error) || !error.empty(),
                      "a refused trigger list says why");
    std::vector<AutoPasteRuleEngine::PasteRule> rules;
    error.clear();
    if (const auto json = suite.data(AutoPasteRuleEngine::rulesKey))
        fuzz::require(AutoPasteRuleEngine::decodeRules(*json, rules, error) || !error.empty(),
                      "a refused rule list says why");

    error.clear();
    const Bytes list{'[', ']'};
    fuzz::require(suite.setData(AutoPasteRuleEngine::rulesKey, list), "a list can be stored");
    // A suite that cannot be written so that it reads back is refused with a reason, and then
    // velkoctl leaves the file alone.
    const auto bytes = suite.serialize(suite.format());
    if (!bytes) {
        fuzz::require(!bytes.error().empty(), "a suite that cannot be written says why");
        return 0;
    }
    PlistFile reread;
    fuzz::require(bool(reread.parse(*bytes)), "the written suite reads back");
    fuzz::require(reread.format() == suite.format(), "the suite keeps its format");
    fuzz::require(reread.size() == suite.size(), "the suite keeps every key");
    fuzz::require(reread.data(AutoPasteRuleEngine::rulesKey) == list, "the stored list reads back");
    return 0;
}
