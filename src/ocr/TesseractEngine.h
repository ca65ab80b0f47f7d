#pragma once
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ocr/LeptonicaPix.h"
#include "ocr/ReadingOrder.h"

namespace tesseract {
class TessBaseAPI;
}

namespace velko {

// One Tesseract (LSTM engine, English) for one thread at a time: layout of a whole screen, and
// recognition of a few lines of it.
class TesseractEngine {
public:
    TesseractEngine();
    ~TesseractEngine();
    TesseractEngine(const TesseractEngine&) = delete;
    TesseractEngine& operator=(const TesseractEngine&) = delete;

    // Loads the model on first use; false when it cannot be loaded (said once per process).
    bool ready();
    // Boxes of the pieces of text lines that layout finds in a 1-bpp image (ink set), in no
    // particular order; empty when there is no text or the engine is not ready.
    std::vector<PixelRect> lineBoxes(Pix* ink);
    // The text lines of an image of a few lines, top to bottom, "" for a line with nothing
    // readable; nullopt when stop became true or recognition failed.
    std::optional<std::vector<std::string>> readLines(Pix* image, const std::atomic<bool>& stop);

private:
    std::unique_ptr<tesseract::TessBaseAPI> api_;
    bool failed_ = false;
};

}  // namespace velko
