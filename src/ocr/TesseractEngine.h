#pragma once
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "layout/ReadingOrder.h"
#include "ocr/LeptonicaPix.h"

namespace tesseract {
class TessBaseAPI;
}

namespace velko {

// A word as read, with its box in the image it was read from, the line Tesseract put it on and
// how sure it is of it (0-100).
struct ReadWord {
    std::string text;
    PixelRect box;
    std::size_t line = 0;
    float confidence = 0;
};

// One Tesseract (LSTM engine) for one thread at a time: layout of a whole screen, and recognition
// of a few lines of it.
class TesseractEngine {
public:
    // languages: Tesseract's list, "eng+deu".
    explicit TesseractEngine(std::string languages = "eng");
    ~TesseractEngine();
    TesseractEngine(const TesseractEngine&) = delete;
    TesseractEngine& operator=(const TesseractEngine&) = delete;

    // Loads the models on first use; those that cannot be loaded are left out, and English is read
    // when none of them can (said once per process); false when not even English can be loaded.
    bool ready();
    // Boxes of the pieces of text lines that layout finds in a 1-bpp image (ink set), in no
    // particular order; empty when there is no text or the engine is not ready.
    std::vector<PixelRect> lineBoxes(Pix* ink);
    // How an image is read: a prepared block of a few lines, or a whole image as it is, laid out
    // and thresholded by Tesseract itself (light text on dark read again inverted), as the
    // tesseract command does.
    enum class Reading { block, plain };
    // The words of an image, line by line in Tesseract's order; nullopt when stop became true or
    // recognition failed.
    std::optional<std::vector<ReadWord>> readWords(Pix* image, const std::atomic<bool>& stop,
                                                   Reading reading = Reading::block);

private:
    const std::string languages_;
    std::unique_ptr<tesseract::TessBaseAPI> api_;
    bool failed_ = false;
};

}  // namespace velko
