#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "velkoctl/ControlOutput.h"

namespace velko::test {
namespace {

using namespace std::chrono;
const ControlOutput::Time noonish = system_clock::time_point(milliseconds(1714552212345));  // 2024-05-01T08:30:12.345Z

Bytes bytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

TEST(ControlOutputTest, FieldsNeverSpanTwoLinesOrColumns) {
    EXPECT_EQ(ControlOutput::escaped("a\tb\nc\r\\d\x01\x7f"), "a\\tb\\nc\\r\\\\d\\x01\\x7f");
    EXPECT_EQ(ControlOutput::escaped("\xc3\xa9t\xc3\xa9 \xf0\x9f\x93\x8e"), "\xc3\xa9t\xc3\xa9 \xf0\x9f\x93\x8e");
    EXPECT_EQ(ControlOutput::notification("helper.hotkey.activated", "open\tpopover\n", noonish, false),
              "helper.hotkey.activated\topen\\tpopover\\n\t2024-05-01T08:30:12.345Z\n");
    EXPECT_EQ(ControlOutput::notification("velko.helper.ping", "", noonish, false),
              "velko.helper.ping\t\t2024-05-01T08:30:12.345Z\n");
}

TEST(ControlOutputTest, JsonLinesKeepTheObjectExactly) {
    const std::string line =
        ControlOutput::notification("velko.screenshot.captured", "a \"b\"\nc\\.png", noonish, true);
    ASSERT_EQ(line.back(), '\n');
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
    const auto json = nlohmann::json::parse(line);
    EXPECT_EQ(json["name"], "velko.screenshot.captured");
    EXPECT_EQ(json["object"], "a \"b\"\nc\\.png");
    EXPECT_EQ(json["time"], "2024-05-01T08:30:12.345Z");
    EXPECT_EQ(ControlOutput::utcTime(system_clock::time_point(milliseconds(7))), "1970-01-01T00:00:00.007Z");
}

// The triggers' JSON is the shared encoder's, whose round trip the snippet_triggers fuzz target checks.
TEST(ControlOutputTest, ListsShowOneEscapedLineEachAndListedRulesAreAcceptedBackAsIs) {
    const std::string triggers =
        R"([{"abbreviation":";sig","expansion":"Best,\n\tAda","format":"plain","appScope":["a","b"]},)"
        R"({"abbreviation":";x","expansion":"","format":"rtf","appScope":[]}])";
    const auto decoded = SharedDataReader::decodeTriggers(bytes(triggers));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(ControlOutput::triggers(*decoded, false), ";sig\tBest,\\n\\tAda\tplain\ta,b\n;x\t\trtf\t\n");

    const std::string rules = R"([{"bundleId":"com.apple.Safari","action":"prettyPrintJSON"},)"
                              R"({"bundleId":"org.gnome.Terminal","action":"lowercase"}])";
    const auto r1 = AutoPasteRuleEngine::decodeRules(bytes(rules));
    ASSERT_TRUE(r1);
    const auto r2 = AutoPasteRuleEngine::decodeRules(bytes(ControlOutput::rules(*r1, true)));
    ASSERT_TRUE(r2);
    EXPECT_EQ(*r1, *r2);
    EXPECT_EQ(ControlOutput::rules(*r1, false), "com.apple.Safari\tprettyPrintJSON\norg.gnome.Terminal\tlowercase\n");
    EXPECT_EQ(ControlOutput::rules({}, true), "[]\n");
    EXPECT_EQ(ControlOutput::rules({}, false), "");
}

TEST(ControlOutputTest, ScreenshotsShowOneLineEachAndTypedJson) {
    StagedScreenshot s{"ID-1", "Shot\tone.png", "2024-05-01T08:30:12Z", "Hello from Velko\nsecond", false, 3171};
    EXPECT_EQ(ControlOutput::screenshots({s}, false),
              "ID-1\t2024-05-01T08:30:12Z\t3171\tShot\\tone.png\tHello from Velko\n");
    const auto json = nlohmann::json::parse(ControlOutput::screenshots({s}, true));
    ASSERT_EQ(json.size(), 1u);
    EXPECT_EQ(json[0]["fileSize"], 3171);
    EXPECT_EQ(json[0]["isVideo"], false);
    EXPECT_EQ(json[0]["ocrText"], "Hello from Velko\nsecond");
    EXPECT_EQ(json[0]["firstLine"], "Hello from Velko");
    EXPECT_EQ(json[0]["filename"], "Shot\tone.png");
}

TEST(ControlOutputTest, BackendLinesSplitAtTheFirstSeparatorForJson) {
    const std::vector<std::string> lines{"Input: X11 (XTEST)", "Hotkeys: velkoctl hotkey: bind it", "odd\tline"};
    EXPECT_EQ(ControlOutput::backends(lines, false),
              "Input: X11 (XTEST)\nHotkeys: velkoctl hotkey: bind it\nodd\\tline\n");
    const auto json = nlohmann::json::parse(ControlOutput::backends(lines, true));
    EXPECT_EQ(json[0], (nlohmann::json{{"capability", "Input"}, {"backend", "X11 (XTEST)"}}));
    EXPECT_EQ(json[1]["backend"], "velkoctl hotkey: bind it");
    EXPECT_EQ(json[2], (nlohmann::json{{"capability", "odd\tline"}, {"backend", ""}}));
}

}  // namespace
}  // namespace velko::test
