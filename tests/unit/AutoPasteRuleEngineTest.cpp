#include <gtest/gtest.h>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/SharedDataReader.h"
#include "fakes/FakePlatform.h"

namespace velko::test {
namespace {

const std::string storePath = "/home/ada/Library/Group Containers/group.app.velko/Velko.store";
const std::string sig = R"({"abbreviation":";sig","expansion":"Best, {username}","format":"plain","appScope":[]})";
const std::string addr = R"({"abbreviation":";addr","expansion":"1 Main St","format":"rtf","appScope":["a.b"]})";

struct SharedDataReaderTest : ::testing::Test {
    FakeFileSystem fs;
    FakeDefaults defaults;

    std::vector<std::string> loadedAbbreviations(const std::string& json, bool storePresent = true) {
        if (storePresent) fs.paths.insert(storePath);
        defaults.setJson("helperSnippetTriggers", json);
        SharedDataReader reader(fs, defaults);
        reader.initialize();
        std::vector<std::string> out;
        for (const auto& t : reader.snippetTriggers.get()) out.push_back(t.abbreviation);
        return out;
    }
};

using Abbreviations = std::vector<std::string>;

struct AutoPasteRuleEngineTest : ::testing::Test {
    FakeDefaults defaults;
    std::size_t loadedCount(const std::string& json) {
        defaults.setJson("helperAutoRules", json);
        AutoPasteRuleEngine engine(defaults);
        engine.loadRules();
        return engine.rules.get().size();
    }
};

TEST_F(AutoPasteRuleEngineTest, ValidRulesLoadInOrderAndExtraKeysAreIgnored) {
    defaults.setJson("helperAutoRules", R"([{"bundleId":"org.gnome.gedit","action":"lowercase","x":1},
                                            {"bundleId":"org.gnome.gedit","action":"blockPaste"}])");
    AutoPasteRuleEngine engine(defaults);
    engine.loadRules();
    using Rule = AutoPasteRuleEngine::PasteRule;
    using A = AutoPasteRuleEngine::PasteAction;
    EXPECT_EQ(engine.rules.get(),
              (std::vector<Rule>{{"org.gnome.gedit", A::lowercase}, {"org.gnome.gedit", A::blockPaste}}));
}

TEST_F(AutoPasteRuleEngineTest, ActionsMatchOnlyTheirExactRawValues) {
    for (const char* raw :
         {"alwaysPlainText", "stripTrackingParams", "trimWhitespace", "blockPaste", "prettyPrintJSON", "lowercase"}) {
        const auto action = AutoPasteRuleEngine::actionFromRawValue(raw);
        ASSERT_TRUE(action) << raw;
        EXPECT_EQ(AutoPasteRuleEngine::rawValue(*action), raw);
    }
    for (const char* raw : {"AlwaysPlainText", " lowercase", "lowerCase", "", "uppercase"})
        EXPECT_FALSE(AutoPasteRuleEngine::actionFromRawValue(raw)) << raw;
}

TEST_F(AutoPasteRuleEngineTest, OneBadRuleRejectsTheList) {
    const std::string good = R"({"bundleId":"a","action":"trimWhitespace"})";
    EXPECT_EQ(loadedCount("[" + good + R"(,{"bundleId":"b","action":"AlwaysPlainText"}])"), 0u);
    EXPECT_EQ(loadedCount("[" + good + R"(,{"action":"lowercase"}])"), 0u);
    EXPECT_EQ(loadedCount("[" + good + R"(,{"bundleId":null,"action":"lowercase"}])"), 0u);
    EXPECT_EQ(loadedCount("[" + good + R"(,{"bundleId":"b","action":null}])"), 0u);
    EXPECT_EQ(loadedCount("[" + good + "]"), 1u);
}

TEST_F(AutoPasteRuleEngineTest, MissingKeyOrRefusedSuiteLeavesNoRules) {
    AutoPasteRuleEngine engine(defaults);
    engine.loadRules();
    EXPECT_TRUE(engine.rules.get().empty());
    defaults.refuseSuite = true;
    EXPECT_EQ(loadedCount(R"([{"bundleId":"a","action":"lowercase"}])"), 0u);
}

}  // namespace
}  // namespace velko::test
