#include "Core/ScreenshotStaging.h"

#include <gtest/gtest.h>

#include "Core/GroupContainer.h"
#include "Core/StagedScreenshot.h"
#include "fakes/FakeScreenshotPlatform.h"

namespace velko::test {
namespace {

using namespace std::chrono;

const std::string stagingDirectory = GroupContainer("/home/ada").stagingPath();

struct ScreenshotStagingTest : ::testing::Test {
    Log log;
    FakeCaptureFiles files{&log};
    ScreenshotStaging staging{files, [] { return system_clock::time_point(seconds(1714552212)); }};

    FileCopy copyOf(const std::string& content) {
        const std::string path = stagingDirectory + "/.capture.tmp-x";
        files.copies[path] = content;
        return {path, content.size()};
    }
    StagedScreenshot record(const std::string& id) {
        const std::string& text = files.staged.at(stagingDirectory + "/" + id + ".json");
        auto read = StagedScreenshot::fromMetadata(id, Bytes(text.begin(), text.end()));
        EXPECT_TRUE(read) << read.error();
        return read ? *read : StagedScreenshot{};
    }
};

TEST_F(ScreenshotStagingTest, ARecordIsWrittenEvenWhenTheDataCouldNotBe) {
    const auto id = staging.stage(stagingDirectory, "a.png", copyOf("PNGDATA"), std::string("Hi"), false);
    EXPECT_EQ(record(id), (StagedScreenshot{id, "a.png", "2024-05-01T08:30:12Z", "Hi", false, 7}));
    EXPECT_EQ(files.staged.at(stagingDirectory + "/" + id + ".data"), "PNGDATA");

    files.failMove = true;
    const auto unmoved = staging.stage(stagingDirectory, "b.png", copyOf("PNGDATA"), std::nullopt, false);
    EXPECT_EQ(record(unmoved).fileSize, 7u);
    EXPECT_TRUE(files.copies.empty()) << "the copy that could not be published is removed";

    files.failMove = false;
    const auto noCopy = staging.stage(stagingDirectory, "c.mov", FileCopy{"", 42}, std::nullopt, true);
    EXPECT_FALSE(files.staged.count(stagingDirectory + "/" + noCopy + ".data"));
    EXPECT_EQ(record(noCopy), (StagedScreenshot{noCopy, "c.mov", "2024-05-01T08:30:12Z", "", true, 42}));
}

}  // namespace
}  // namespace velko::test
