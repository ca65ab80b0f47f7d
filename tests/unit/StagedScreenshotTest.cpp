#include <gtest/gtest.h>

#include <algorithm>

#include "Core/StagedScreenshot.h"

namespace velko::test {
namespace {

const std::string id = "6F9619FF-8B86-D011-B42D-00C04FC964FF";

Bytes bytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::optional<StagedScreenshot> decode(const std::string& json, std::string* why = nullptr) {
    std::string error;
    auto s = StagedScreenshot::fromMetadata(id, bytes(json), error);
    if (why) *why = error;
    return s;
}

TEST(StagedScreenshotTest, ReadsTheFiveStringMembersInAnyOrderAndEscaping) {
    const auto s =
        decode(R"({"fileSize":"512","isVideo":"false","ocrText":"Hello\nWorld","timestamp":"2024-05-01T08:30:12Z",)"
               R"("filename":"Screenshot 2024-05-01 at 08.30.12 \u00e9t\u00e9 a\/b.png","extra":1})");
    ASSERT_TRUE(s);
    EXPECT_EQ(s->identifier, id);
    EXPECT_EQ(s->filename, "Screenshot 2024-05-01 at 08.30.12 \xc3\xa9t\xc3\xa9 a/b.png");
    EXPECT_EQ(s->timestamp, "2024-05-01T08:30:12Z");
    EXPECT_EQ(s->fileSize, 512u);
    EXPECT_FALSE(s->isVideo);
    EXPECT_EQ(s->firstLine(), "Hello");

    const auto video =
        decode(R"({"filename":"Screen Recording.mov","timestamp":"t","ocrText":"","isVideo":"true","fileSize":"0"})");
    ASSERT_TRUE(video);
    EXPECT_TRUE(video->isVideo);
    EXPECT_EQ(video->fileSize, 0u);
    EXPECT_EQ(video->firstLine(), "");
}

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
        std::string error;
        EXPECT_FALSE(decode(json, &error)) << json;
        EXPECT_EQ(error.rfind(why, 0), 0u) << error;
    }
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
