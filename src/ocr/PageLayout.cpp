#include "ocr/PageLayout.h"

#include <algorithm>

namespace velko {
namespace {

// Rows per area at most: enough lines for a recogniser to work on, few enough to spread a page.
// A run of rows is cut into areas of equal size, so that the recognisers finish together.
constexpr std::size_t rowsPerArea = 8;
// Fewer rows than this give Tesseract too little to go on for a line of its own.
constexpr std::size_t minRowsPerArea = 2;
// Lines under this height (text of about 13 px and less, at 96 dpi) are read twice the size:
// Tesseract's layout of small glyphs merges and drops them.
constexpr int smallLineHeight = 15;
constexpr float smallTextScale = 2.0f;
// Screens from this height on are laid out in two halves when a blank row parts them.
constexpr int halvedHeight = 400;

// Tesseract reads an area as one block of lines of one size: a heading among small lines is
// dropped as noise, so lines of very different heights go into areas of their own.
int rowHeight(const std::vector<PixelRect>& pieces, const ReadingOrder::Row& row) {
    int height = 0;
    for (const std::size_t p : row.pieces) height = std::max(height, pieces[p].height());
    return height;
}
bool alike(int a, int b) { return std::max(a, b) <= 2 * std::min(a, b); }

}  // namespace

std::optional<int> PageLayout::halfwayRow(Pix* ink) {
    const int height = pixGetHeight(ink);
    if (height < halvedHeight) return std::nullopt;
    NumaPtr inkPerRow(pixCountPixelsByRow(ink, nullptr));
    if (!inkPerRow) return std::nullopt;
    for (int offset = 0; offset < height / 4; ++offset) {
        for (const int row : {height / 2 - offset, height / 2 + offset}) {
            l_int32 count = 1;
            numaGetIValue(inkPerRow.get(), row, &count);
            if (count == 0) return row;
        }
    }
    return std::nullopt;
}

std::vector<PixelRect> PageLayout::pieces(TesseractEngine& engine, Pix* ink, int top, int bottom) {
    BoxPtr band(boxCreate(0, top, pixGetWidth(ink), bottom - top));
    PixPtr part(pixClipRectangle(ink, band.get(), nullptr));
    if (!part) return {};
    std::vector<PixelRect> pieces = engine.lineBoxes(part.get());
    for (PixelRect& piece : pieces) {
        piece.top += top;
        piece.bottom += top;
    }
    return pieces;
}

std::vector<TextArea> PageLayout::textAreas(const std::vector<PixelRect>& pieces, Pix* ink, std::size_t recognisers) {
    std::vector<TextArea> areas;
    if (pieces.empty()) return areas;
    const ReadingOrder order(pieces, {0, 0, pixGetWidth(ink), pixGetHeight(ink)});
    const auto& rows = order.rows();
    struct Run {
        std::size_t first, end, count;
    };
    std::vector<Run> runs;
    std::size_t total = 0;
    for (std::size_t first = 0; first < rows.size();) {
        std::size_t end = first + 1;
        while (end < rows.size() && rows[end].group == rows[first].group &&
               alike(rowHeight(pieces, rows[end - 1]), rowHeight(pieces, rows[end])))
            ++end;
        runs.push_back({first, end, (end - first + rowsPerArea - 1) / rowsPerArea});
        total += runs.back().count;
        first = end;
    }
    // A small screen is parted further, so that no recogniser waits while another reads it all.
    while (total < recognisers) {
        Run* widest = nullptr;
        for (Run& run : runs) {
            const std::size_t perArea = (run.end - run.first) / (run.count + 1);
            if (perArea >= minRowsPerArea &&
                (!widest || (run.end - run.first) * widest->count > (widest->end - widest->first) * run.count))
                widest = &run;
        }
        if (!widest) break;
        ++widest->count;
        ++total;
    }
    for (const Run& run : runs) {
        const std::size_t length = run.end - run.first;
        for (std::size_t area = 0; area < run.count; ++area)
            areas.push_back(areaOf(order, run.first + length * area / run.count,
                                   run.first + length * (area + 1) / run.count, pieces, ink));
    }
    return areas;
}

// The rows' lines across their group's cell, trimmed to the ink in it: text that layout missed
// between and beside them (a single digit, a lone letter) is read with them.
TextArea PageLayout::areaOf(const ReadingOrder& order, std::size_t firstRow, std::size_t endRow,
                            const std::vector<PixelRect>& pieces, Pix* ink) {
    const auto& rows = order.rows();
    const PixelRect cell = order.groups()[rows[firstRow].group].cell;
    PixelRect rect{cell.left, pieces[rows[firstRow].pieces.front()].top, cell.right, 0};
    std::vector<int> heights;
    std::vector<std::pair<int, int>> bands;
    for (std::size_t r = firstRow; r < endRow; ++r) {
        std::pair<int, int> band{pieces[rows[r].pieces.front()].top, pieces[rows[r].pieces.front()].bottom};
        for (const std::size_t p : rows[r].pieces) {
            band = {std::min(band.first, pieces[p].top), std::max(band.second, pieces[p].bottom)};
            heights.push_back(pieces[p].height());
        }
        rect.top = std::min(rect.top, band.first);
        rect.bottom = std::max(rect.bottom, band.second);
        bands.push_back(band);
    }
    std::nth_element(heights.begin(), heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2), heights.end());
    const int height = heights[heights.size() / 2];
    BoxPtr within(boxCreate(rect.left, rect.top, rect.width(), rect.height()));
    Box* inkBox = nullptr;
    if (pixClipBoxToForeground(ink, within.get(), nullptr, &inkBox) == 0 && inkBox) {
        BoxPtr owned(inkBox);
        l_int32 x = 0, y = 0, w = 0, h = 0;
        boxGetGeometry(inkBox, &x, &y, &w, &h);
        rect = {x, y, x + w, y + h};
    }
    // A margin that keeps clear of the lines above and below.
    const int margin = std::max(2, height / 4);
    rect.left = std::max(0, rect.left - margin);
    rect.top = std::max(0, rect.top - margin);
    rect.right = std::min(pixGetWidth(ink), rect.right + margin);
    rect.bottom = std::min(pixGetHeight(ink), rect.bottom + margin);
    return {rect, height < smallLineHeight ? smallTextScale : 1.0f, std::move(bands)};
}

// Tesseract reads an area as a block, and may part a row at a wide gap (the two halves of a
// directory listing) and give the parts as lines of their own, out of order. Lines side by side
// are one line again, words left to right, lines top to bottom. The rows are what layout found:
// one of them that Tesseract read nothing in is an empty line.
std::vector<std::string> PageLayout::lines(const TextArea& area, const std::vector<ReadWord>& words) {
    struct Line {
        int top, bottom;
        std::vector<const ReadWord*> words;
    };
    std::vector<Line> read;
    for (const ReadWord& word : words) {
        if (read.size() <= word.line) read.resize(word.line + 1, {1 << 30, -1, {}});
        Line& line = read[word.line];
        line.top = std::min(line.top, area.rect.top + static_cast<int>(static_cast<float>(word.box.top) / area.scale));
        line.bottom =
            std::max(line.bottom, area.rect.top + static_cast<int>(static_cast<float>(word.box.bottom) / area.scale));
        line.words.push_back(&word);
    }
    for (const auto& [top, bottom] : area.rows) {
        const bool found = std::any_of(read.begin(), read.end(), [&, top = top, bottom = bottom](const Line& line) {
            return !line.words.empty() && std::min(bottom, line.bottom) > std::max(top, line.top);
        });
        if (!found) read.push_back({top, bottom, {}});
    }
    std::erase_if(read, [](const Line& line) { return line.bottom < line.top; });
    std::stable_sort(read.begin(), read.end(),
                     [](const Line& a, const Line& b) { return a.top + a.bottom < b.top + b.bottom; });
    std::vector<Line> merged;
    for (Line& line : read) {
        if (!merged.empty() && !line.words.empty() && !merged.back().words.empty()) {
            Line& last = merged.back();
            const int overlap = std::min(last.bottom, line.bottom) - std::max(last.top, line.top);
            if (2 * overlap > std::min(last.bottom - last.top, line.bottom - line.top)) {
                last.top = std::min(last.top, line.top);
                last.bottom = std::max(last.bottom, line.bottom);
                last.words.insert(last.words.end(), line.words.begin(), line.words.end());
                continue;
            }
        }
        merged.push_back(std::move(line));
    }
    std::vector<std::string> text;
    for (Line& line : merged) {
        std::stable_sort(line.words.begin(), line.words.end(),
                         [](const ReadWord* a, const ReadWord* b) { return a->box.left < b->box.left; });
        std::string joined;
        for (const ReadWord* word : line.words) joined += (joined.empty() ? "" : " ") + word->text;
        text.push_back(std::move(joined));
    }
    return text;
}

}  // namespace velko
