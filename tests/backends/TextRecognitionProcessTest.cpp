#include "ocrworker/TextRecognitionProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <future>

#include "fakes/TempDir.h"

namespace velko::test {
namespace {

using namespace std::chrono_literals;
using Observations = std::optional<std::vector<TextObservation>>;

std::future<Observations> recognize(TextRecognizer& recognizer, const std::string& path) {
    auto answer = std::make_shared<std::promise<Observations>>();
    recognizer.recognizeText(path, [answer](Observations observations) { answer->set_value(std::move(observations)); });
    return answer->get_future();
}

bool hasLine(const Observations& observations, const std::string& line) {
    return observations && std::any_of(observations->begin(), observations->end(), [&](const TextObservation& o) {
               return !o.candidates.empty() && o.candidates.front() == line;
           });
}

// The real velko-ocr: each answer goes to its own request, also for a path that is not UTF-8
// and holds a line break; an image that cannot be read, or a program that cannot start, is
// answered with nothing rather than never.
TEST(TextRecognitionProcess, AnswersEveryRequestOnceWithItsOwnImage) {
    TempDir dir;
    const std::string odd = dir / "shot \xff\n.png";
    std::filesystem::copy_file(VELKO_SOURCE_DIR "/tests/reference/preferences-granted.png", odd);
    TextRecognitionProcess recognizer(VELKO_BINARY_DIR "/velko-ocr", 10s, 60s);
    auto missing = recognize(recognizer, dir / "missing.png");
    auto image = recognize(recognizer, odd);
    ASSERT_EQ(image.wait_for(60s), std::future_status::ready);
    ASSERT_EQ(missing.wait_for(1s), std::future_status::ready);
    EXPECT_TRUE(hasLine(image.get(), "Velko Helper"));
    EXPECT_EQ(missing.get(), std::nullopt);

    TextRecognitionProcess absent(dir / "velko-ocr", 10s, 60s);
    auto nothing = recognize(absent, odd);
    ASSERT_EQ(nothing.wait_for(1s), std::future_status::ready);
    EXPECT_EQ(nothing.get(), std::nullopt);
}

}  // namespace
}  // namespace velko::test
