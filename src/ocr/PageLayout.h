#pragma once
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "layout/ReadingOrder.h"
#include "ocr/LeptonicaPix.h"
#include "ocr/TesseractEngine.h"

namespace velko {

// A part of a prepared screen to recognise on its own: a few rows of one column or table.
struct TextArea {
    PixelRect rect;
    // Small text is read enlarged.
    float scale = 1.0f;
    // Top and bottom of each row, in screen coordinates.
    std::vector<std::pair<int, int>> rows;
};

// Lays a prepared screen out once: Tesseract finds the pieces of text lines in its ink, in one go
// or in two halves on two recognisers, ReadingOrder orders them, and the rows are cut into areas
// small enough to share among the recognisers.
class PageLayout {
public:
    // A blank row of ink near the middle of a screen tall enough to be worth laying out in two
    // halves, above and below it; nullopt otherwise.
    static std::optional<int> halfwayRow(Pix* ink);
    // The pieces of text lines between rows top and bottom of the ink, in screen coordinates;
    // empty when there are none.
    static std::vector<PixelRect> pieces(TesseractEngine& engine, Pix* ink, int top, int bottom);
    // Areas in reading order, at least one per recogniser where the rows allow; empty without pieces.
    static std::vector<TextArea> textAreas(const std::vector<PixelRect>& pieces, Pix* ink, std::size_t recognisers);
    // The text of an area, line by line top to bottom, words left to right; "" for a row of the
    // area in which nothing was read.
    static std::vector<std::string> lines(const TextArea& area, const std::vector<ReadWord>& words);

private:
    static TextArea areaOf(const ReadingOrder& order, std::size_t firstRow, std::size_t endRow,
                           const std::vector<PixelRect>& pieces, Pix* ink);
};

}  // namespace velko
