#include "Core/HelperConstants.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fakes/FakePlatform.h"

namespace velko::test {
namespace {

using Pong = HelperConstants::PongPayload;

// The wire form is pinned end to end by the link's integration test; here what it cannot see.
TEST(PongPayload, RoundTripsWithAnIntegerProtocolVersionAndAFallbackVersion) {
    FakeWorkspace workspace;
    const auto pong = HelperConstants::currentPong(workspace);
    const auto json = nlohmann::json::parse(pong.toJson());
    EXPECT_EQ(json.size(), 4u);
    EXPECT_TRUE(json["protocolVersion"].is_number_integer());
    EXPECT_EQ(json["version"], "2.4.1");
    EXPECT_EQ(Pong::fromJson(pong.toJson()), pong);
    workspace.version = std::nullopt;
    EXPECT_EQ(HelperConstants::currentPong(workspace).version, "1.0.0");
}

TEST(PongPayload, DecodingIsStrictAboutKeysAndTypesButIgnoresExtras) {
    const auto decoded = Pong::fromJson(
        R"({"minVelkoVersion":"2.8","extra":{"x":1},"capabilities":[],"protocolVersion":1,"version":"3"})");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->version, "3");
    for (const char* bad :
         {R"({"version":"1","protocolVersion":1,"capabilities":[]})",
          R"({"version":1,"protocolVersion":1,"capabilities":[],"minVelkoVersion":"2"})",
          R"({"version":"1","protocolVersion":"1","capabilities":[],"minVelkoVersion":"2"})",
          R"({"version":"1","protocolVersion":1.5,"capabilities":[],"minVelkoVersion":"2"})",
          R"({"version":"1","protocolVersion":1,"capabilities":[1],"minVelkoVersion":"2"})",
          R"({"version":null,"protocolVersion":1,"capabilities":[],"minVelkoVersion":"2"})", "[]", "{"})
        EXPECT_FALSE(Pong::fromJson(bad)) << bad;
}

TEST(HelperConstants, StagingLocationIsCreatedAndReturnedEvenWhenCreationFails) {
    FakeFileSystem fs;
    const std::string expected = "/home/ada/Library/Group Containers/group.app.velko/pending_screenshots";
    EXPECT_EQ(HelperConstants::screenshotStagingURL(fs), expected);
    EXPECT_TRUE(fs.directories.count(expected));
    fs.failCreate = true;
    EXPECT_EQ(HelperConstants::screenshotStagingURL(fs), expected);
    EXPECT_EQ(fs.created.size(), 2u);
}

}  // namespace
}  // namespace velko::test
