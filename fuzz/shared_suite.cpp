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

    if (const auto json = suite.data(SharedDataReader::triggersKey)) {
        const auto triggers = SharedDataReader::decodeTriggers(*json);
        fuzz::require(triggers || !triggers.error().empty(), "a refused trigger list says why");
    }
    if (const auto json = suite.data(AutoPasteRuleEngine::rulesKey)) {
        const auto rules = AutoPasteRuleEngine::decodeRules(*json);
        fuzz::require(rules || !rules.error().empty(), "a refused rule list says why");
    }

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
