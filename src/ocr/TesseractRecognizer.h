#pragma once
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "ocr/LeptonicaPix.h"
#include "ocr/RecognitionPool.h"
#include "platform/TextRecognizer.h"

namespace velko {

// Tesseract (LSTM engine) on screenshots as people take them. Each screenshot is
// prepared (ScreenPreparation), laid out once (PageLayout, its halves on two recognisers), and
// its areas of a few lines are read by every recogniser of the pool at once; the lines come back
// in reading order. A reading Tesseract is unsure of is compared with a plain one of the whole
// image, as the tesseract command reads it, and the surer kept. Engines
// load with their thread's first job, so a helper that never sees a screenshot never pays for one.
class TesseractRecognizer : public TextRecognizer {
public:
    // languages: Tesseract's list ("eng+deu"); English when it cannot read in them.
    explicit TesseractRecognizer(std::string languages = "eng", std::size_t maxRecognizers = defaultPoolSize());
    // Cancels running recognitions (their completions are not called), drops queued ones.
    ~TesseractRecognizer() override;

    using TextRecognizer::recognizeText;
    void recognizeText(const std::string& imagePath, const std::string& name, Completion done) override;

    // One per core, at most four: each holds a model in memory.
    static std::size_t defaultPoolSize();
    // Larger images are not decoded: a few kilobytes of PNG can claim gigabytes as a bitmap. An
    // 8K screen (7680x4320, 33 million) is read whole; reading one costs about 250 MB at its peak.
    static constexpr long long maxPixels = 40'000'000;

private:
    struct Screenshot;
    struct Sureness;

    void layOut(const std::shared_ptr<Screenshot>& screenshot, TesseractEngine& engine);
    void layOutPart(const std::shared_ptr<Screenshot>& screenshot, int top, int bottom, TesseractEngine& engine);
    void read(const std::shared_ptr<Screenshot>& screenshot, std::size_t area, TesseractEngine& engine);
    std::optional<std::vector<TextObservation>> readPlainIfSurer(Screenshot& screenshot,
                                                                 std::vector<TextObservation> prepared,
                                                                 const Sureness& sureness, TesseractEngine& engine);
    static TextObservation observation(std::string line);
    void finish(Screenshot& screenshot, std::optional<std::vector<TextObservation>> observations);
    static PixPtr load(const std::string& imagePath, const std::string& name);

    std::atomic<bool> cancel_{false};
    RecognitionPool pool_;  // last, so that its threads end while cancel_ still exists
};

}  // namespace velko
