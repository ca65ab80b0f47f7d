#include "layout/ReadingOrder.h"

#include <algorithm>
#include <cstdlib>

namespace velko {
namespace {

// Gaps are measured in typical line heights of the text around them. A column gap is wider than
// the space between words; a bar is read on its own when a blank line or more separates it from
// the rest and it spans the rest's columns, or when it lies three lines or more away.
constexpr double columnGapHeights = 1.5;
constexpr int narrowestColumnGap = 8;
constexpr double columnShareOfHeight = 0.25;
constexpr double barClearanceHeights = 1.0;
constexpr double farBarClearanceHeights = 3.0;
// Prose runs at least fifteen line heights wide (about thirty characters), over three lines or more.
constexpr double proseWidthHeights = 15;
// Columns read as rows when most lines of one pair up with the other's, and half the other's: line
// numbers beside code pair up but for empty lines and lone braces, which layout does not find.
constexpr double tableMostPaired = 0.6;
constexpr double tableLeastPaired = 0.5;

}  // namespace

ReadingOrder::ReadingOrder(const std::vector<PixelRect>& pieces, PixelRect page) : piece_(pieces) {
    groups_.push_back({page});
    Pieces all(pieces.size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    cut(all, page, 0);
}

void ReadingOrder::cut(const Pieces& pieces, PixelRect cell, std::size_t group) {
    if (pieces.empty()) return;
    if (peelEdgeBand(pieces, cell, group)) return;
    if (cutColumns(pieces, cell)) return;
    cutBands(pieces, cell, group);
}

// A menu bar, a page header or a status bar before the columns under it.
bool ReadingOrder::peelEdgeBand(const Pieces& pieces, PixelRect cell, std::size_t group) {
    const int height = typicalHeight(pieces);
    for (const bool top : {true, false}) {
        const Pieces band = edgeBand(pieces, top, static_cast<int>(barClearanceHeights * height));
        if (band.empty()) continue;
        Pieces rest;
        std::set_difference(pieces.begin(), pieces.end(), band.begin(), band.end(), std::back_inserter(rest));
        if (edgeBand(pieces, top, static_cast<int>(farBarClearanceHeights * height)).empty()) {
            // Near the rest, the band is the first row of its columns (their headings) unless it
            // spans one of their gaps: a piece across its middle, or pieces on both sides that
            // reach well into it.
            const auto restGaps = columnGaps(rest);
            const bool spans = std::any_of(restGaps.begin(), restGaps.end(), [&](const Gap& gap) {
                const int middle = (gap.from + gap.to) / 2;
                int leftEnd = -1, rightStart = -1;
                for (const std::size_t i : band) {
                    const PixelRect& p = piece_[i];
                    if (p.left < middle && p.right > middle) return true;
                    if (p.right <= middle) leftEnd = std::max(leftEnd, p.right);
                    if (p.left >= middle) rightStart = rightStart < 0 ? p.left : std::min(rightStart, p.left);
                }
                const int slack = (gap.to - gap.from) / 4;
                return leftEnd >= 0 && rightStart >= 0 && (leftEnd > gap.from + slack || rightStart < gap.to - slack);
            });
            if (!restGaps.empty() && !spans) continue;
        }
        const PixelRect bandBox = bounds(band), restBox = bounds(rest);
        PixelRect bandCell = cell, restCell = cell;
        if (top) {
            bandCell.bottom = restCell.top = (bandBox.bottom + restBox.top) / 2;
            cut(band, bandCell, group);
            cut(rest, restCell, group);
        } else {
            bandCell.top = restCell.bottom = (restBox.bottom + bandBox.top) / 2;
            cut(rest, restCell, group);
            cut(band, bandCell, group);
        }
        return true;
    }
    return false;
}

bool ReadingOrder::cutColumns(const Pieces& pieces, PixelRect cell) {
    const auto gaps = columnGaps(pieces);
    if (gaps.empty()) return false;
    std::vector<Pieces> columns(gaps.size() + 1);
    std::vector<PixelRect> cells(gaps.size() + 1, cell);
    for (std::size_t c = 0; c < gaps.size(); ++c) cells[c].right = cells[c + 1].left = (gaps[c].from + gaps[c].to) / 2;
    for (const std::size_t i : pieces) {
        std::size_t c = 0;
        while (c < gaps.size() && piece_[i].left >= gaps[c].to) ++c;
        columns[c].push_back(i);
    }
    if (isTable(columns)) {
        groups_.push_back({cell});
        addRows(pieces, groups_.size() - 1);
        return true;
    }
    for (std::size_t c = 0; c < columns.size(); ++c) {
        groups_.push_back({cells[c]});
        cut(columns[c], cells[c], groups_.size() - 1);
    }
    return true;
}

// Cuts at the widest gaps between lines only, so that columns further down keep their lines.
void ReadingOrder::cutBands(const Pieces& pieces, PixelRect cell, std::size_t group) {
    const auto gaps = this->gaps(pieces, false);
    if (gaps.empty()) {
        addRows(pieces, group);
        return;
    }
    int widest = 0;
    for (const Gap& gap : gaps) widest = std::max(widest, gap.to - gap.from);
    std::vector<int> at;
    for (const Gap& gap : gaps)
        if (gap.to - gap.from >= widest - std::max(1, widest / 10)) at.push_back((gap.from + gap.to) / 2);
    std::vector<Pieces> bands(at.size() + 1);
    for (const std::size_t i : pieces) {
        std::size_t b = 0;
        while (b < at.size() && piece_[i].top >= at[b]) ++b;
        bands[b].push_back(i);
    }
    for (std::size_t b = 0; b < bands.size(); ++b) {
        PixelRect bandCell = cell;
        if (b > 0) bandCell.top = at[b - 1];
        if (b < at.size()) bandCell.bottom = at[b];
        cut(bands[b], bandCell, group);
    }
}

void ReadingOrder::addRows(const Pieces& pieces, std::size_t group) {
    Pieces byCentre = pieces;
    std::sort(byCentre.begin(), byCentre.end(), [&](std::size_t a, std::size_t b) {
        return piece_[a].top + piece_[a].bottom < piece_[b].top + piece_[b].bottom;
    });
    std::vector<Pieces> bands;
    PixelRect band;
    for (const std::size_t i : byCentre) {
        const PixelRect& p = piece_[i];
        const int overlap = bands.empty() ? 0 : std::min(band.bottom, p.bottom) - std::max(band.top, p.top);
        if (!bands.empty() && 2 * overlap > std::min(band.height(), p.height())) {
            bands.back().push_back(i);
            band.top = std::min(band.top, p.top);
            band.bottom = std::max(band.bottom, p.bottom);
        } else {
            bands.push_back({i});
            band = p;
        }
    }
    for (auto& row : bands) {
        std::sort(row.begin(), row.end(),
                  [&](std::size_t a, std::size_t b) { return piece_[a].left < piece_[b].left; });
        rows_.push_back({std::move(row), group});
    }
}

// The pieces of the topmost (or bottommost) row, when every other piece clears it by clearance;
// empty otherwise. Sorted, like the pieces it came from.
ReadingOrder::Pieces ReadingOrder::edgeBand(const Pieces& pieces, bool top, int clearance) const {
    Pieces order = pieces;
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return top ? piece_[a].top < piece_[b].top : piece_[a].bottom > piece_[b].bottom;
    });
    PixelRect band = piece_[order.front()];
    std::size_t n = 1;
    for (; n < order.size(); ++n) {
        const PixelRect& p = piece_[order[n]];
        if (std::min(band.bottom, p.bottom) <= std::max(band.top, p.top)) break;
        band.top = std::min(band.top, p.top);
        band.bottom = std::max(band.bottom, p.bottom);
    }
    if (n == order.size()) return {};
    for (std::size_t k = n; k < order.size(); ++k) {
        const PixelRect& p = piece_[order[k]];
        if ((top ? p.top - band.bottom : band.top - p.bottom) < clearance) return {};
    }
    Pieces result(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(n));
    std::sort(result.begin(), result.end());
    return result;
}

std::vector<ReadingOrder::Gap> ReadingOrder::gaps(const Pieces& pieces, bool alongX) const {
    std::vector<Gap> spans;
    for (const std::size_t i : pieces) {
        const PixelRect& p = piece_[i];
        spans.push_back(alongX ? Gap{p.left, p.right} : Gap{p.top, p.bottom});
    }
    std::sort(spans.begin(), spans.end(), [](const Gap& a, const Gap& b) { return a.from < b.from; });
    std::vector<Gap> result;
    int end = spans.front().to;
    for (const Gap& span : spans) {
        if (span.from > end) result.push_back({end, span.from});
        end = std::max(end, span.to);
    }
    return result;
}

// Gaps from top to bottom wide enough to part columns, with text on both sides over a good part of
// the height: a word that happens to end where the next column starts parts nothing.
std::vector<ReadingOrder::Gap> ReadingOrder::columnGaps(const Pieces& pieces) const {
    const int narrowest = std::max(narrowestColumnGap, static_cast<int>(columnGapHeights * typicalHeight(pieces)));
    const PixelRect all = bounds(pieces);
    std::vector<Gap> result;
    for (const Gap& gap : gaps(pieces, true)) {
        if (gap.to - gap.from < narrowest) continue;
        Pieces left, right;
        for (const std::size_t i : pieces) (piece_[i].right <= gap.from ? left : right).push_back(i);
        const double needed = columnShareOfHeight * all.height();
        if (bounds(left).height() >= needed && bounds(right).height() >= needed) result.push_back(gap);
    }
    return result;
}

bool ReadingOrder::isTable(const std::vector<Pieces>& columns) const {
    if (std::all_of(columns.begin(), columns.end(), [&](const Pieces& column) { return isProse(column); }))
        return false;
    for (std::size_t c = 0; c + 1 < columns.size(); ++c) {
        const double forward = pairedShare(columns[c], columns[c + 1]);
        const double backward = pairedShare(columns[c + 1], columns[c]);
        if (std::max(forward, backward) < tableMostPaired || std::min(forward, backward) < tableLeastPaired)
            return false;
    }
    return true;
}

// Prose: three lines or more, at least fifteen line heights wide. The halves of one line of a
// listing are no prose, nor are two short paragraphs side by side.
bool ReadingOrder::isProse(const Pieces& column) const {
    if (bounds(column).width() < proseWidthHeights * typicalHeight(column)) return false;
    Pieces byTop = column;
    std::sort(byTop.begin(), byTop.end(), [&](std::size_t a, std::size_t b) { return piece_[a].top < piece_[b].top; });
    int lines = 0, bottom = -1;
    for (const std::size_t i : byTop) {
        if (piece_[i].top >= bottom) ++lines;
        bottom = std::max(bottom, piece_[i].bottom);
    }
    return lines >= 3;
}

double ReadingOrder::pairedShare(const Pieces& of, const Pieces& with) const {
    const auto paired = std::count_if(of.begin(), of.end(), [&](std::size_t a) {
        return std::any_of(with.begin(), with.end(), [&](std::size_t b) { return sameRow(a, b); });
    });
    return of.empty() ? 0 : static_cast<double>(paired) / static_cast<double>(of.size());
}

// Centres within a quarter of a line of each other, and heights alike.
bool ReadingOrder::sameRow(std::size_t a, std::size_t b) const {
    const PixelRect &p = piece_[a], &q = piece_[b];
    const int taller = std::max(p.height(), q.height()), shorter = std::min(p.height(), q.height());
    return 2 * std::abs((p.top + p.bottom) - (q.top + q.bottom)) <= taller && taller <= 2 * shorter;
}

int ReadingOrder::typicalHeight(const Pieces& pieces) const {
    std::vector<int> heights;
    for (const std::size_t i : pieces) heights.push_back(piece_[i].height());
    if (heights.empty()) return 1;
    std::nth_element(heights.begin(), heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2), heights.end());
    return std::max(1, heights[heights.size() / 2]);
}

PixelRect ReadingOrder::bounds(const Pieces& pieces) const {
    if (pieces.empty()) return {};
    PixelRect box = piece_[pieces.front()];
    for (const std::size_t i : pieces) {
        box.left = std::min(box.left, piece_[i].left);
        box.top = std::min(box.top, piece_[i].top);
        box.right = std::max(box.right, piece_[i].right);
        box.bottom = std::max(box.bottom, piece_[i].bottom);
    }
    return box;
}

}  // namespace velko
