#pragma once
#include <atomic>
#include <cstddef>

#include "platform/TextRecognizer.h"
#include "posix/WorkerThread.h"

namespace velko {

// Tesseract (LSTM engine, English, automatic page segmentation) in a small pool of recogniser
// threads. Each thread owns one engine, loaded by its first job; threads start only as the queue
// needs them, so a burst of screenshots waits its turn instead of loading an engine per file.
// Each engine runs single-threaded at a lower priority, which on a small machine is several times
// faster than letting OpenMP spread one recognition over every core.
class TesseractRecognizer : public TextRecognizer {
public:
    explicit TesseractRecognizer(std::size_t maxRecognizers = defaultPoolSize());
    // Cancels running recognitions (their completions are not called), drops queued ones.
    ~TesseractRecognizer() override;

    void recognizeText(const std::string& imagePath, Completion done) override;

    // Two, or one on a single-core machine.
    static std::size_t defaultPoolSize();
    // Larger images are not decoded: a few kilobytes of PNG can claim gigabytes as a bitmap.
    static constexpr long long maxPixels = 100'000'000;

private:
    void recognize(const std::string& imagePath, const Completion& done);
    static bool cancelRequested(void* self, int words);

    std::atomic<bool> cancel_{false};
    WorkerThread pool_;  // last, so that its threads end while cancel_ still exists
};

}  // namespace velko
