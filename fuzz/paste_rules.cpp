// The auto-paste rules' JSON from the shared suite: any bytes give the whole list or nothing with
// a reason, and every decoded action is one of the six by its exact name.
#include <cstddef>
#include <cstdint>

#include "Core/AutoPasteRuleEngine.h"
#include "Require.h"

using namespace velko;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto rules = AutoPasteRuleEngine::decodeRules(Bytes(data, data + size));
    if (!rules) {
        fuzz::require(!rules.error().empty(), "a refused list says why");
        return 0;
    }
    for (const auto& rule : *rules)
        fuzz::require(
            AutoPasteRuleEngine::actionFromRawValue(AutoPasteRuleEngine::rawValue(rule.action)) == rule.action,
            "an action keeps its name");
    return 0;
}
