#include "layout/ReadingOrder.h"

#include <gtest/gtest.h>

#include <random>

namespace velko::test {
namespace {

using Rows = std::vector<std::vector<std::size_t>>;

Rows rowsOf(const std::vector<PixelRect>& pieces) {
    const ReadingOrder order(pieces, {0, 0, 1000, 1000});
    Rows rows;
    for (const auto& row : order.rows()) rows.push_back(row.pieces);
    return rows;
}

// A line of text 16 px high on row `line` of a 24 px pitch, below top.
PixelRect line(int left, int right, int top, int line) { return {left, top + 24 * line, right, top + 24 * line + 16}; }

TEST(ReadingOrder, ProseColumnsAreReadOneAfterTheOtherUnderTheBarAboveThem) {
    std::vector<PixelRect> pieces{{0, 0, 860, 16}};                       // a header across both columns
    for (int i = 0; i < 4; ++i) pieces.push_back(line(460, 860, 70, i));  // right column, found first
    for (int i = 0; i < 4; ++i) pieces.push_back(line(0, 400, 70, i));
    EXPECT_EQ(rowsOf(pieces), (Rows{{0}, {5}, {6}, {7}, {8}, {1}, {2}, {3}, {4}}));
}

TEST(ReadingOrder, TableCellsAndLineNumbersBesideCodeAreReadRowByRow) {
    std::vector<PixelRect> table;
    for (int row = 0; row < 4; ++row)
        for (const int left : {400, 0, 200}) table.push_back(line(left, left + 60, 0, row));
    EXPECT_EQ(rowsOf(table), (Rows{{1, 2, 0}, {4, 5, 3}, {7, 8, 6}, {10, 11, 9}}));

    // Line 3 of the code is empty, so its number stands alone.
    std::vector<PixelRect> listing;
    for (int i = 0; i < 6; ++i) listing.push_back(line(0, 20, 0, i));
    for (const int i : {0, 1, 3, 4, 5}) listing.push_back(line(60, 500, 0, i));
    EXPECT_EQ(rowsOf(listing), (Rows{{0, 6}, {1, 7}, {2}, {3, 8}, {4, 9}, {5, 10}}));
}

TEST(ReadingOrder, EveryPieceIsInExactlyOneRowWhateverTheLayout) {
    EXPECT_TRUE(rowsOf({}).empty());
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<PixelRect> pieces;
        for (unsigned i = random() % 200; i > 0; --i) {
            const int left = static_cast<int>(random() % 900), top = static_cast<int>(random() % 950);
            pieces.push_back(
                {left, top, left + 1 + static_cast<int>(random() % 300), top + 1 + static_cast<int>(random() % 40)});
        }
        std::vector<int> seen(pieces.size());
        for (const auto& row : rowsOf(pieces))
            for (const std::size_t i : row) ++seen.at(i);
        EXPECT_EQ(seen, std::vector<int>(pieces.size(), 1)) << "round " << round;
    }
}

}  // namespace
}  // namespace velko::test
