#include "Core/StagedScreenshot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>
#include <set>

namespace velko::test {
namespace {

using namespace std::chrono;

const std::string id = "6F9619FF-8B86-D011-B42D-00C04FC964FF";

Bytes bytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

Result<StagedScreenshot> decode(const std::string& json) { return StagedScreenshot::fromMetadata(id, bytes(json)); }

TEST(StagedScreenshotTest, WhatIsWrittenIsFiveCompactStringMembersThatReadBackTheSame) {
    const std::vector<StagedScreenshot> records = {
        {id, "Bildschirmfoto äöü 東京 a/b.png", "2024-05-01T08:30:12Z", "Hello\n\tWorld \"x\"", false, 512},
        {id, "Screen Recording.mov", "t", "", true, 5000000000ULL},  // beyond 32 bits
    };
    for (const auto& record : records) {
        const std::string text = record.toMetadata();
        EXPECT_EQ(text, nlohmann::json::parse(text).dump()) << "compact";
        std::set<std::string> keys;
        const auto json = nlohmann::json::parse(text);
        for (const auto& [key, value] : json.items()) {
            keys.insert(key);
            EXPECT_TRUE(value.is_string()) << key;
        }
        EXPECT_EQ(keys, (std::set<std::string>{"filename", "timestamp", "ocrText", "isVideo", "fileSize"}));
        const auto back = decode(text);
        ASSERT_TRUE(back) << back.error();
        EXPECT_EQ(*back, record);
    }
    EXPECT_NE(records[1].toMetadata().find(R"("fileSize":"5000000000")"), std::string::npos);

    // A name that is not UTF-8 still gets its record, with the odd byte replaced.
    const auto odd = decode(StagedScreenshot{id, "Screenshot \xff.png", "t", "\xfe"}.toMetadata());
    ASSERT_TRUE(odd);
    EXPECT_EQ(odd->filename, "Screenshot \xEF\xBF\xBD.png");
    EXPECT_EQ(odd->ocrText, "\xEF\xBF\xBD");
}

// Members in any order and escaped are read: the velkoctl files integration test writes them so.
TEST(StagedScreenshotTest, RefusesMetadataThatIsNotInItsWrittenForm) {
    const std::string base = R"("filename":"a.png","timestamp":"t","ocrText":"")";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{" + base + R"(,"isVideo":"false"})", "missing \"fileSize\""},
        {"{" + base + R"(,"isVideo":false,"fileSize":"1"})", "\"isVideo\" is not a string"},
        {"{" + base + R"(,"isVideo":"yes","fileSize":"1"})", "\"isVideo\" is \"yes\""},
        {"{" + base + R"(,"isVideo":"true","fileSize":512})", "\"fileSize\" is not a string"},
        {"{" + base + R"(,"isVideo":"true","fileSize":"-1"})", "\"fileSize\" is \"-1\""},
        {"{" + base + R"(,"isVideo":"true","fileSize":"12 kB"})", "\"fileSize\" is \"12 kB\""},
        {"{" + base + R"(,"isVideo":"true","fileSize":""})", "\"fileSize\" is \"\""},
        {R"({"filename":null,"timestamp":"t","ocrText":"","isVideo":"true","fileSize":"1"})",
         "\"filename\" is not a string"},
        {"[]", "not an object"},
        {"{\"filename\":", "not valid JSON"},
    };
    for (const auto& [json, why] : cases) {
        const auto refused = decode(json);
        ASSERT_FALSE(refused) << json;
        EXPECT_EQ(refused.error().rfind(why, 0), 0u) << refused.error();
    }
}

TEST(StagedScreenshotTest, TimestampIsUtcWithWholeSeconds) {
    const char* previous = std::getenv("TZ");
    const std::string saved = previous ? previous : "";
    ::setenv("TZ", "America/New_York", 1);
    ::tzset();
    const auto mayFirst = system_clock::time_point(seconds(1714552212)) + milliseconds(900);
    EXPECT_EQ(StagedScreenshot::timestampOf(mayFirst), "2024-05-01T08:30:12Z");
    EXPECT_EQ(StagedScreenshot::timestampOf(system_clock::time_point(seconds(0))), "1970-01-01T00:00:00Z");
    previous ? ::setenv("TZ", saved.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
}

TEST(StagedScreenshotTest, FirstLineStopsAtAnyLineBreakAndListingGoesOldestFirst) {
    StagedScreenshot a{"B", "", "2024-05-01T08:30:12Z", "one\r\ntwo"};
    StagedScreenshot b{"A", "", "2024-05-01T08:30:12Z", "solo"};
    StagedScreenshot c{"C", "", "2023-12-31T23:59:59Z", "\nafter an empty line"};
    EXPECT_EQ(a.firstLine(), "one");
    EXPECT_EQ(b.firstLine(), "solo");
    EXPECT_EQ(c.firstLine(), "");
    std::vector<StagedScreenshot> list{a, b, c};
    std::sort(list.begin(), list.end());
    EXPECT_EQ(list[0].identifier, "C");
    EXPECT_EQ(list[1].identifier, "A");
    EXPECT_EQ(list[2].identifier, "B");
}

}  // namespace
}  // namespace velko::test
