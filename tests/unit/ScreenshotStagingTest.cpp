#include "Core/ScreenshotStaging.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "Core/UUIDGenerator.h"
#include "fakes/FakeScreenshotPlatform.h"

namespace velko::test {
namespace {

using namespace std::chrono;

const std::string stagingDirectory = "/home/ada/Library/Group Containers/group.app.velko/pending_screenshots";

// 2024-05-01T08:30:12Z and 0.9 s.
system_clock::time_point mayFirst() { return system_clock::time_point(seconds(1714552212)) + milliseconds(900); }

nlohmann::json parsed(const std::string& text) { return nlohmann::json::parse(text); }

TEST(ScreenshotMetadata, HasExactlyFiveStringMembers) {
    const auto json = parsed(ScreenshotStaging::metadataJson("Screenshot 1.png", "2024-05-01T08:30:12Z",
                                                             std::string("Hello\nWorld"), false, 512));
    ASSERT_TRUE(json.is_object());
    std::set<std::string> keys;
    for (const auto& [key, value] : json.items()) {
        keys.insert(key);
        EXPECT_TRUE(value.is_string()) << key;
    }
    EXPECT_EQ(keys, (std::set<std::string>{"filename", "timestamp", "ocrText", "isVideo", "fileSize"}));
    EXPECT_EQ(json["filename"], "Screenshot 1.png");
    EXPECT_EQ(json["ocrText"], "Hello\nWorld");
    EXPECT_EQ(json["isVideo"], "false");
    EXPECT_EQ(json["fileSize"], "512");

    const auto video = parsed(ScreenshotStaging::metadataJson("a.mov", "t", std::nullopt, true, 5000000000ULL));
    EXPECT_EQ(video["ocrText"], "");
    EXPECT_EQ(video["isVideo"], "true");
    EXPECT_EQ(video["fileSize"], "5000000000");  // beyond 32 bits, no separators
}

TEST(ScreenshotMetadata, IsCompactAndKeepsEveryName) {
    const std::string compact = ScreenshotStaging::metadataJson("a.png", "t", std::string("x"), false, 1);
    EXPECT_EQ(compact.find_first_of(" \n"), std::string::npos);
    const std::string text =
        ScreenshotStaging::metadataJson("Bildschirmfoto äöü 東京.png", "t", std::string("x"), false, 1);
    EXPECT_EQ(parsed(text)["filename"], "Bildschirmfoto äöü 東京.png");
    // A name that is not UTF-8 still gets its record, with the odd byte replaced.
    const auto odd = parsed(ScreenshotStaging::metadataJson("Screenshot \xff.png", "t", std::string("\xfe"), false, 1));
    EXPECT_EQ(odd["filename"], "Screenshot \xEF\xBF\xBD.png");
    EXPECT_EQ(odd["ocrText"], "\xEF\xBF\xBD");
}

TEST(ScreenshotMetadata, TimestampIsUtcWithWholeSeconds) {
    const char* previous = std::getenv("TZ");
    const std::string saved = previous ? previous : "";
    ::setenv("TZ", "America/New_York", 1);
    ::tzset();
    EXPECT_EQ(ScreenshotStaging::isoTimestamp(mayFirst()), "2024-05-01T08:30:12Z");
    EXPECT_EQ(ScreenshotStaging::isoTimestamp(system_clock::time_point(seconds(0))), "1970-01-01T00:00:00Z");
    previous ? ::setenv("TZ", saved.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
}

TEST(ScreenshotMetadata, IdentifiersAreFreshUpperCaseVersion4Uuids) {
    const std::regex canonical("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const auto id = UUIDGenerator::random();
        ASSERT_TRUE(std::regex_match(id, canonical)) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

struct ScreenshotStagingTest : ::testing::Test {
    Log log;
    FakeCaptureFiles files{&log};
    ScreenshotStaging staging{files, [] { return mayFirst(); }};

    FileCopy copyOf(const std::string& content) {
        const std::string path = stagingDirectory + "/.capture.tmp-x";
        files.copies[path] = content;
        return {path, content.size()};
    }
};

TEST_F(ScreenshotStagingTest, ARecordIsWrittenEvenWhenTheDataCouldNotBe) {
    files.failMove = true;
    const auto id = staging.stage(stagingDirectory, "Screenshot 1.png", copyOf("PNGDATA"), std::nullopt, false);
    EXPECT_EQ(parsed(files.staged.at(stagingDirectory + "/" + id + ".json"))["fileSize"], "7");
    EXPECT_TRUE(files.copies.empty()) << "the copy that could not be published is removed";

    files.failMove = false;
    const auto noCopy = staging.stage(stagingDirectory, "b.png", FileCopy{"", 42}, std::nullopt, false);
    EXPECT_FALSE(files.staged.count(stagingDirectory + "/" + noCopy + ".data"));
    EXPECT_EQ(parsed(files.staged.at(stagingDirectory + "/" + noCopy + ".json"))["fileSize"], "42");
}

}  // namespace
}  // namespace velko::test
