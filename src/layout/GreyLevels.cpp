#include "layout/GreyLevels.h"

#include <cmath>
#include <numeric>

namespace velko {
namespace {

// Fewer pixels than this share of the image are a speck (noise, a cursor), not a level it shows.
constexpr std::uint64_t speckShare = 2000;

}  // namespace

GreyLevels::GreyLevels(const Histogram& histogram) {
    const std::uint64_t total = std::accumulate(histogram.begin(), histogram.end(), std::uint64_t{0});
    if (total == 0) return;
    const std::uint64_t speck = total / speckShare;
    std::uint64_t below = 0;
    darkest_ = -1;
    for (int level = 0; level < 256; ++level) {
        below += histogram[static_cast<std::size_t>(level)];
        if (darkest_ < 0 && below > speck) darkest_ = level;
        if (2 * below >= total) {
            background_ = level;
            break;
        }
    }
    std::uint64_t above = 0;
    for (int level = 255; level >= 0; --level) {
        above += histogram[static_cast<std::size_t>(level)];
        if (above > speck) {
            lightest_ = level;
            break;
        }
    }
}

int GreyLevels::level(double share) const {
    return darkest_ + static_cast<int>(std::lround(share * (lightest_ - darkest_)));
}

}  // namespace velko
