#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Core/HelperConstants.h"
#include "fakes/FakePlatform.h"

namespace velko::test {
namespace {

using Pong = HelperConstants::PongPayload;

TEST(PongPayload, EncodesExactlyFourKeysWithCapabilitiesInOrder) {
    FakeWorkspace workspace;
    const auto json = nlohmann::json::parse(HelperConstants::currentPong(workspace).toJson());
    EXPECT_EQ(json.size(), 4u);
    EXPECT_EQ(json["version"], "2.4.1");
    EXPECT_TRUE(json["protocolVersion"].is_number_integer());
    EXPECT_EQ(json["protocolVersion"], 1);
    EXPECT_EQ(json["capabilities"],
              nlohmann::json::parse(R"(["paste","hotkeys","expansion","screenshots","actions"])"));
    EXPECT_EQ(json["minVelkoVersion"], "2.8");
}

TEST(PongPayload, VersionFallsBackWhenTheBundleHasNoStringVersion) {
    FakeWorkspace workspace;
    workspace.version = std::nullopt;
    EXPECT_EQ(HelperConstants::currentPong(workspace).version, "1.0.0");
    EXPECT_EQ(HelperConstants::currentPong(workspace).toJson(),
              R"({"version":"1.0.0","protocolVersion":1,"capabilities":["paste","hotkeys","expansion",)"
              R"("screenshots","actions"],"minVelkoVersion":"2.8"})");
}

TEST(PongPayload, DecodingIsStrictAboutKeysAndTypesButIgnoresExtras) {
    FakeWorkspace workspace;
    const auto pong = HelperConstants::currentPong(workspace);
    EXPECT_EQ(Pong::fromJson(pong.toJson()), pong);

    const auto decoded = Pong::fromJson(
        R"({"minVelkoVersion":"2.8","extra":{"x":1},"capabilities":[],"protocolVersion":1,"version":"3"})");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->version, "3");

    EXPECT_FALSE(Pong::fromJson(R"({"version":"1","protocolVersion":1,"capabilities":[]})"));
    EXPECT_FALSE(Pong::fromJson(R"({"version":1,"protocolVersion":1,"capabilities":[],"minVelkoVersion":"2"})"));
    EXPECT_FALSE(Pong::fromJson(R"({"version":"1","protocolVersion":"1","capabilities":[],"minVelkoVersion":"2"})"));
    EXPECT_FALSE(Pong::fromJson(R"({"version":"1","protocolVersion":1.5,"capabilities":[],"minVelkoVersion":"2"})"));
    EXPECT_FALSE(Pong::fromJson(R"({"version":"1","protocolVersion":1,"capabilities":[1],"minVelkoVersion":"2"})"));
    EXPECT_FALSE(Pong::fromJson(R"({"version":null,"protocolVersion":1,"capabilities":[],"minVelkoVersion":"2"})"));
    EXPECT_FALSE(Pong::fromJson("[]"));
    EXPECT_FALSE(Pong::fromJson("{"));
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
