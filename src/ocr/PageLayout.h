#pragma once
#include <vector>

#include "ocr/LeptonicaPix.h"
#include "ocr/ReadingOrder.h"
#include "ocr/TesseractEngine.h"

namespace velko {

// A part of a prepared screen to recognise on its own: a few rows of one column or table.
struct TextArea {
    PixelRect rect;
    // Small text is read enlarged.
    float scale = 1.0f;
};

// Lays a prepared screen out once: Tesseract finds the pieces of text lines, ReadingOrder orders
// them, and the rows are cut into areas small enough to share among the recognisers.
class PageLayout {
public:
    // Areas in reading order; empty when layout finds no text.
    static std::vector<TextArea> textAreas(TesseractEngine& engine, Pix* prepared);

private:
    static TextArea areaOf(const ReadingOrder& order, std::size_t firstRow, std::size_t endRow,
                           const std::vector<PixelRect>& pieces, Pix* ink);
};

}  // namespace velko
