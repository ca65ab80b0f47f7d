#pragma once
#include <array>
#include <cstdint>

namespace velko {

// Where an 8-bit grey image's ink and background lie, from its histogram: what counts as dark, ink
// or a ruled line is judged against the image's own contrast, so that dim text on a dim page and
// a strip cut from a dark bar are read like black text on white.
class GreyLevels {
public:
    using Histogram = std::array<std::uint64_t, 256>;

    // An empty histogram gives the full range, black to white, with a white background.
    explicit GreyLevels(const Histogram& histogram);

    // The darkest and lightest levels that more than a speck of the image has.
    int darkest() const { return darkest_; }
    int lightest() const { return lightest_; }
    // The median level: most of a screen is background.
    int background() const { return background_; }
    // The background is nearer the darkest level than the lightest: light text on dark.
    bool darkBackground() const { return background_ - darkest_ < lightest_ - background_; }
    // The level at this share of the way from the darkest to the lightest.
    int level(double share) const;

private:
    int darkest_ = 0, lightest_ = 255, background_ = 255;
};

}  // namespace velko
