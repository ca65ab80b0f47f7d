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

// A full disk leaves neither file behind, and the copy where the next try finds it.
TEST_F(ScreenshotStagingTest, BothFilesOrNeitherAndTheCopyIsKeptForAnotherTry) {
    ASSERT_TRUE(staging.stage(stagingDirectory, "A", "a.png", copyOf("PNGDATA"), std::string("Hi"), false));
    EXPECT_EQ(record("A"), (StagedScreenshot{"A", "a.png", "2024-05-01T08:30:12Z", "Hi", false, 7}));
    EXPECT_EQ(files.staged.at(stagingDirectory + "/A.data"), "PNGDATA");

    const FileCopy kept = copyOf("PNG");
    files.failWrite = true;
    const auto unwritten = staging.stage(stagingDirectory, "B", "b.png", kept, std::nullopt, false);
    EXPECT_EQ(unwritten.error(), "no space left");
    files.failWrite = false;
    files.failMove = true;
    EXPECT_FALSE(staging.stage(stagingDirectory, "C", "c.png", kept, std::nullopt, false));
    EXPECT_EQ(files.staged.size(), 2u) << "only the first pair";
    EXPECT_EQ(files.copies.at(kept.path), "PNG");
}

}  // namespace
}  // namespace velko::test
