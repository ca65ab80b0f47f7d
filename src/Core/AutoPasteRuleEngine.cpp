#include "Core/AutoPasteRuleEngine.h"

#include "Core/HelperServices.h"

#include <array>
#include <utility>

#include "Core/HelperConstants.h"
#include "Core/JsonFields.h"

namespace velko {

namespace {
using Action = AutoPasteRuleEngine::PasteAction;
constexpr std::array<std::pair<Action, std::string_view>, 6> rawValues{{
    {Action::alwaysPlainText, "alwaysPlainText"},
    {Action::stripTrackingParams, "stripTrackingParams"},
    {Action::trimWhitespace, "trimWhitespace"},
    {Action::blockPaste, "blockPaste"},
    {Action::prettyPrintJSON, "prettyPrintJSON"},
    {Action::lowercase, "lowercase"},
}};
}  // namespace

AutoPasteRuleEngine::AutoPasteRuleEngine(UserDefaults& userDefaults) : userDefaults_(userDefaults) {}

AutoPasteRuleEngine& AutoPasteRuleEngine::shared() { return *HelperServices::current().rules; }

std::optional<AutoPasteRuleEngine::PasteAction> AutoPasteRuleEngine::actionFromRawValue(std::string_view raw) {
    for (const auto& [action, value] : rawValues)
        if (value == raw) return action;
    return std::nullopt;
}

std::string_view AutoPasteRuleEngine::rawValue(PasteAction action) {
    return rawValues[static_cast<std::size_t>(action)].second;
}

void AutoPasteRuleEngine::loadRules() {
    // Opened afresh: the engine keeps no suite between loads.
    const auto suite = userDefaults_.openSuite(std::string(AppGroupIdentifier));
    if (!suite) return;
    const auto bytes = suite->data(rulesKey);
    if (!bytes) return;
    if (auto decoded = decodeRules(*bytes)) rules = std::move(*decoded);
}

Result<std::vector<AutoPasteRuleEngine::PasteRule>> AutoPasteRuleEngine::decodeRules(const Bytes& json) {
    return JsonFields::array<PasteRule>(json, [](const nlohmann::json& element) -> Result<PasteRule> {
        PasteRule rule;
        std::string action;
        if (const auto read = JsonFields(element).string("bundleId", rule.bundleId).string("action", action).result();
            !read)
            return read.failure();
        const auto parsed = actionFromRawValue(action);
        if (!parsed) return Failure{"\"action\" \"" + action + "\" is not one of the six actions"};
        rule.action = *parsed;
        return rule;
    });
}

}  // namespace velko
