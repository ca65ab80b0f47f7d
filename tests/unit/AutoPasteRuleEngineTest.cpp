#include "Core/AutoPasteRuleEngine.h"

#include <gtest/gtest.h>

#include "fakes/FakePlatform.h"

namespace velko::test {
namespace {

using Rule = AutoPasteRuleEngine::PasteRule;
using A = AutoPasteRuleEngine::PasteAction;

struct AutoPasteRuleEngineTest : ::testing::Test {
    FakeDefaults defaults;
    std::vector<Rule> loaded(const std::optional<std::string>& json) {
        if (json) defaults.setJson("helperAutoRules", *json);
        AutoPasteRuleEngine engine(defaults);
        engine.loadRules();
        return engine.rules.get();
    }
};

TEST_F(AutoPasteRuleEngineTest, ValidRulesLoadInOrderAndExtraKeysAreIgnored) {
    EXPECT_EQ(loaded(R"([{"bundleId":"org.gnome.gedit","action":"lowercase","x":1},
                        {"bundleId":"org.gnome.gedit","action":"blockPaste"}])"),
              (std::vector<Rule>{{"org.gnome.gedit", A::lowercase}, {"org.gnome.gedit", A::blockPaste}}));
    // The main application writes these names, and velkoctl prints them back.
    const std::pair<std::string, A> names[] = {
        {"alwaysPlainText", A::alwaysPlainText}, {"stripTrackingParams", A::stripTrackingParams},
        {"trimWhitespace", A::trimWhitespace},   {"blockPaste", A::blockPaste},
        {"prettyPrintJSON", A::prettyPrintJSON}, {"lowercase", A::lowercase}};
    for (const auto& [raw, action] : names) {
        EXPECT_EQ(loaded(R"([{"bundleId":"a","action":")" + raw + "\"}]"), (std::vector<Rule>{{"a", action}})) << raw;
        EXPECT_EQ(AutoPasteRuleEngine::rawValue(action), raw);
    }
}

TEST_F(AutoPasteRuleEngineTest, OneBadRuleOrAMissingKeyOrRefusedSuiteLeavesNoRules) {
    EXPECT_TRUE(loaded(std::nullopt).empty());
    const std::string good = R"({"bundleId":"a","action":"trimWhitespace"})";
    for (const char* bad :
         {R"({"bundleId":"b","action":"AlwaysPlainText"})", R"({"bundleId":"b","action":" lowercase"})",
          R"({"bundleId":"b","action":"uppercase"})", R"({"action":"lowercase"})",
          R"({"bundleId":null,"action":"lowercase"})", R"({"bundleId":"b","action":null})"})
        EXPECT_TRUE(loaded("[" + good + "," + bad + "]").empty()) << bad;
    defaults.refuseSuite = true;
    EXPECT_TRUE(loaded("[" + good + "]").empty());
}

}  // namespace
}  // namespace velko::test
