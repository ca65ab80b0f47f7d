#include "ocrworker/TextRecognitionProcess.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>
#include <regex>

#include "fakes/TempDir.h"
#include "ocr/LeptonicaPix.h"

namespace velko::test {
namespace {

using namespace std::chrono_literals;
using Observations = std::optional<std::vector<TextObservation>>;

std::future<Observations> recognize(TextRecognizer& recognizer, const std::string& path, const std::string& name = "") {
    auto answer = std::make_shared<std::promise<Observations>>();
    recognizer.recognizeText(path, name.empty() ? path : name,
                             [answer](Observations observations) { answer->set_value(std::move(observations)); });
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
    TextRecognitionProcess recognizer(VELKO_BINARY_DIR "/velko-ocr", "eng", 10s, 60s);
    auto missing = recognize(recognizer, dir / "missing.png");
    auto image = recognize(recognizer, odd);
    ASSERT_EQ(image.wait_for(60s), std::future_status::ready);
    ASSERT_EQ(missing.wait_for(1s), std::future_status::ready);
    EXPECT_TRUE(hasLine(image.get(), "Velko Helper"));
    EXPECT_EQ(missing.get(), std::nullopt);

    TextRecognitionProcess absent(dir / "velko-ocr", "eng", 10s, 60s);
    auto nothing = recognize(absent, odd);
    ASSERT_EQ(nothing.wait_for(1s), std::future_status::ready);
    EXPECT_EQ(nothing.get(), std::nullopt);
}

// Languages velko-ocr cannot load, or a list that is none, never leave it unable to read: it
// reads English and says so once.
TEST(TextRecognitionProcess, ReadsEnglishWhenItCannotReadInTheLanguagesGiven) {
    const std::string reference = VELKO_SOURCE_DIR "/tests/reference/preferences-granted.png";
    for (const std::string languages : {"xyz", "../deu"}) {
        TextRecognitionProcess recognizer(VELKO_BINARY_DIR "/velko-ocr", languages, 10s, 60s);
        testing::internal::CaptureStderr();
        auto first = recognize(recognizer, reference);
        auto second = recognize(recognizer, reference);
        ASSERT_EQ(first.wait_for(60s), std::future_status::ready);
        ASSERT_EQ(second.wait_for(60s), std::future_status::ready);
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(hasLine(first.get(), "Velko Helper"));
        EXPECT_TRUE(hasLine(second.get(), "Velko Helper"));
        const std::regex said("velko-ocr: Tesseract cannot read in [^\\n]*; reading in English");
        const auto count = std::distance(std::sregex_iterator(log.begin(), log.end(), said), std::sregex_iterator());
        EXPECT_EQ(count, 1) << log;
    }
}

// A PNG of a few kilobytes that declares more pixels than are read is refused by its header, and
// velko-ocr runs under the memory limit it was given. What is not read is named in the log, and
// the next image is read.
TEST(TextRecognitionProcess, WhatIsNotReadIsNamedInTheLogAndTheNextImageIsRead) {
    TempDir dir;
    const PixPtr huge(pixCreate(10000, 10000, 1));  // one bit a pixel here, a hundred million to read
    ASSERT_EQ(pixWrite((dir / "huge.png").c_str(), huge.get(), IFF_PNG), 0);
    const std::uint64_t limit = 1ull << 30;
    TextRecognitionProcess recognizer(VELKO_BINARY_DIR "/velko-ocr", "eng", 10s, 60s, limit);
    testing::internal::CaptureStderr();
    auto refused = recognize(recognizer, dir / "huge.png", "Screenshot huge \xff.png");
    const std::string reference = VELKO_SOURCE_DIR "/tests/reference/preferences-granted.png";
    auto next = recognize(recognizer, reference);
    ASSERT_EQ(next.wait_for(60s), std::future_status::ready);
    ASSERT_EQ(refused.wait_for(1s), std::future_status::ready);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(refused.get(), std::nullopt);
    EXPECT_TRUE(hasLine(next.get(), "Velko Helper"));
    EXPECT_NE(log.find("\"Screenshot huge \xff.png\" is 10000x10000 pixels"), std::string::npos) << log;

    std::smatch pid;
    ASSERT_TRUE(std::regex_search(log, pid, std::regex("velko-ocr, pid ([0-9]+)"))) << log;
    std::ifstream limits("/proc/" + pid[1].str() + "/limits");
    const std::string text((std::istreambuf_iterator<char>(limits)), std::istreambuf_iterator<char>());
    EXPECT_TRUE(std::regex_search(text, std::regex("Max address space +" + std::to_string(limit) + " "))) << text;

    // Ended while it reads, as the limit may end it: the log names what it held; the next is read.
    testing::internal::CaptureStderr();
    auto killed = recognize(recognizer, reference, "Screenshot killed.png");
    ::kill(std::stoi(pid[1].str()), SIGKILL);
    ASSERT_EQ(killed.wait_for(10s), std::future_status::ready);
    auto after = recognize(recognizer, reference);
    ASSERT_EQ(after.wait_for(60s), std::future_status::ready);
    const std::string ended = testing::internal::GetCapturedStderr();
    EXPECT_EQ(killed.get(), std::nullopt);
    EXPECT_TRUE(hasLine(after.get(), "Velko Helper"));
    EXPECT_NE(ended.find("before reading \"Screenshot killed.png\"; staged without text"), std::string::npos) << ended;
}

}  // namespace
}  // namespace velko::test
