#pragma once
#include <cstdint>

namespace velko {

// The system colours the windows are drawn with, by their platform names.
enum class NamedColor {
    labelColor,
    secondaryLabelColor,
    tertiaryLabelColor,
    windowBackgroundColor,
    controlBackgroundColor,
    separatorColor,
    systemGreenColor,
    systemOrangeColor,
    systemBlueColor,
};

struct Rgba {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;
    bool operator==(const Rgba&) const = default;
};

// One fixed table (light appearance), so every renderer and every machine draws the same.
class NamedColors {
public:
    static Rgba rgba(NamedColor color);
};

}  // namespace velko
