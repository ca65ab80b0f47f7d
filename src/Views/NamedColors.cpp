#include "Views/NamedColors.h"

namespace velko {

namespace {
struct Entry {
    NamedColor color;
    Rgba rgba;
};

// Label colours are black at falling opacity so they read on any light background.
constexpr Entry table[] = {
    {NamedColor::labelColor, {0, 0, 0, 217}},
    {NamedColor::secondaryLabelColor, {0, 0, 0, 128}},
    {NamedColor::tertiaryLabelColor, {0, 0, 0, 66}},
    {NamedColor::windowBackgroundColor, {236, 236, 236, 255}},
    {NamedColor::controlBackgroundColor, {255, 255, 255, 255}},
    {NamedColor::separatorColor, {0, 0, 0, 26}},
    {NamedColor::systemGreenColor, {40, 205, 65, 255}},
    {NamedColor::systemOrangeColor, {255, 149, 0, 255}},
    {NamedColor::systemBlueColor, {0, 122, 255, 255}},
};

const Entry& entryFor(NamedColor color) {
    for (const auto& entry : table)
        if (entry.color == color) return entry;
    return table[0];  // unreachable while the table lists every enumerator
}
}  // namespace

Rgba NamedColors::rgba(NamedColor color) { return entryFor(color).rgba; }

}  // namespace velko
