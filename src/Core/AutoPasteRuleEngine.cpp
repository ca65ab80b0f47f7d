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
    std::vector<PasteRule> decoded;
    std::string error;
    if (!decodeRules(*bytes, decoded, error)) return;
    rules = std::move(decoded);
}

bool AutoPasteRuleEngine::decodeRules(const Bytes& json, std::vector<PasteRule>& out, std::string& error) {
    return JsonFields::array<PasteRule>(json, out, error,
                                        [](const nlohmann::json& element, PasteRule& rule, std::string& why) {
                                            std::string action;
                                            if (!JsonFields::string(element, "bundleId", rule.bundleId, why) ||
                                                !JsonFields::string(element, "action", action, why))
                                                return false;
                                            const auto parsed = actionFromRawValue(action);
                                            if (!parsed) {
                                                why = "\"action\" \"" + action + "\" is not one of the six actions";
                                                return false;
                                            }
                                            rule.action = *parsed;
                                            return true;
                                        });
}

}  // namespace velko
