#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Core/Published.h"
#include "platform/Result.h"
#include "platform/Types.h"

namespace velko {

class UserDefaults;

// Per-application paste rules defined in the main application: loaded and counted, never applied.
class AutoPasteRuleEngine {
public:
    enum class PasteAction {
        alwaysPlainText,
        stripTrackingParams,
        trimWhitespace,
        blockPaste,
        prettyPrintJSON,
        lowercase
    };

    struct PasteRule {
        std::string bundleId;
        PasteAction action = PasteAction::alwaysPlainText;
        bool operator==(const PasteRule&) const = default;
    };

    static inline const std::string rulesKey = "helperAutoRules";

    explicit AutoPasteRuleEngine(UserDefaults& userDefaults);
    static AutoPasteRuleEngine& shared();

    void loadRules();

    // Exact, case-sensitive raw values only.
    static std::optional<PasteAction> actionFromRawValue(std::string_view raw);
    static std::string_view rawValue(PasteAction action);
    static Result<std::vector<PasteRule>> decodeRules(const Bytes& json);

    Published<std::vector<PasteRule>> rules;

private:
    UserDefaults& userDefaults_;
};

}  // namespace velko
