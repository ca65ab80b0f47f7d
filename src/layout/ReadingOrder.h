#pragma once
#include <cstddef>
#include <vector>

namespace velko {

// A rectangle of image pixels: left and top inside, right and bottom just outside.
struct PixelRect {
    int left = 0, top = 0, right = 0, bottom = 0;
    int width() const { return right - left; }
    int height() const { return bottom - top; }
};

// Pieces of text lines found on a screen, put in the order a person reads them. The page is cut
// recursively at the gaps between them: bars far from the rest or spanning its columns are read on
// their own, columns left to right, bands top to bottom. Side-by-side columns whose lines pair up
// row by row (a table, line numbers beside code, a row of buttons) are read row by row instead,
// unless all of them are prose.
class ReadingOrder {
public:
    // One line as a person reads it: pieces left to right, in the part of the page of its group.
    struct Row {
        std::vector<std::size_t> pieces;
        std::size_t group = 0;
    };
    // The cell of the page a column, table or band of rows holds, up to the middle of the gaps
    // around it; text that layout missed inside it belongs to it too.
    struct Group {
        PixelRect cell;
    };

    // Every piece ends up in exactly one row; no pieces give no rows.
    ReadingOrder(const std::vector<PixelRect>& pieces, PixelRect page);

    const std::vector<Row>& rows() const { return rows_; }
    const std::vector<Group>& groups() const { return groups_; }

private:
    using Pieces = std::vector<std::size_t>;
    struct Gap {
        int from, to;
    };

    void cut(const Pieces& pieces, PixelRect cell, std::size_t group);
    bool peelEdgeBand(const Pieces& pieces, PixelRect cell, std::size_t group);
    bool cutColumns(const Pieces& pieces, PixelRect cell);
    void cutBands(const Pieces& pieces, PixelRect cell, std::size_t group);
    void addRows(const Pieces& pieces, std::size_t group);

    Pieces edgeBand(const Pieces& pieces, bool top, int clearance) const;
    std::vector<Gap> gaps(const Pieces& pieces, bool alongX) const;
    std::vector<Gap> columnGaps(const Pieces& pieces) const;
    bool isTable(const std::vector<Pieces>& columns) const;
    bool isProse(const Pieces& column) const;
    double pairedShare(const Pieces& of, const Pieces& with) const;
    bool sameRow(std::size_t a, std::size_t b) const;
    int typicalHeight(const Pieces& pieces) const;
    PixelRect bounds(const Pieces& pieces) const;

    const std::vector<PixelRect>& piece_;
    std::vector<Row> rows_;
    std::vector<Group> groups_;
};

}  // namespace velko
