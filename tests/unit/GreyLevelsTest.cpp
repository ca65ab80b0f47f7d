#include "layout/GreyLevels.h"

#include <gtest/gtest.h>

namespace velko::test {
namespace {

GreyLevels levels(std::initializer_list<std::pair<int, std::uint64_t>> counts) {
    GreyLevels::Histogram histogram{};
    for (const auto& [level, count] : counts) histogram[static_cast<std::size_t>(level)] = count;
    return GreyLevels(histogram);
}

TEST(GreyLevels, LevelsSpanTheImagesOwnContrastNotTheFullRange) {
    // Dim grey text on a mid-grey page: half way is between the two, not at 128.
    const auto dim = levels({{150, 300}, {200, 9700}});
    EXPECT_EQ(dim.darkest(), 150);
    EXPECT_EQ(dim.lightest(), 200);
    EXPECT_EQ(dim.level(0.5), 175);
    EXPECT_FALSE(dim.darkBackground());

    // A few stray pixels (a cursor, noise) are no level of the image.
    const auto specks = levels({{0, 2}, {90, 500}, {230, 9500}, {255, 3}});
    EXPECT_EQ(specks.darkest(), 90);
    EXPECT_EQ(specks.lightest(), 230);

    // Nothing to go on: black text on white.
    const auto empty = levels({});
    EXPECT_EQ(empty.level(0.75), 191);
    EXPECT_FALSE(empty.darkBackground());
}

TEST(GreyLevels, MostlyDarkImagesHaveADarkBackgroundWhateverTheirShades) {
    EXPECT_TRUE(levels({{33, 700}, {54, 200}, {233, 100}}).darkBackground());  // a URL bar
    EXPECT_TRUE(levels({{28, 900}, {88, 100}}).darkBackground());              // dim text on black
    EXPECT_FALSE(levels({{105, 200}, {174, 800}}).darkBackground());           // orange on orange
    EXPECT_FALSE(levels({{20, 400}, {240, 600}}).darkBackground());
}

}  // namespace
}  // namespace velko::test
