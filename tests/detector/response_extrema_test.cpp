#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;

namespace {
// Extrema of a one-row response; the search runs from depth + 5 to limitDepth + 5 - 1 (at most width - 2).
struct Extrema {
    CandidateList maxima, minima;
    bool found;
    Extrema(const std::vector<float>& values, int depth = 0, int limitDepth = 1000) {
        VelinDetectorIpp d;
        d.responseImage.allocate(static_cast<int>(values.size()), 1);
        for (std::size_t x = 0; x < values.size(); ++x) d.responseImage.getRow(0)[x] = values[x];
        found = d.findResponseExtrema(d.responseImage, UpperPoint{depth, 0, limitDepth, 0, 1.0f}, maxima, minima);
    }
};
}  // namespace

TEST(ResponseExtrema, ValleysAndPeaksArePlacedAtTheMiddleOfTheirFloorOrTop) {
    const Extrema single({9, 9, 9, 9, 9, 8, 6, 3, -4, 2, 5, 7, 8, 9});
    EXPECT_FALSE(single.found);  // no peak
    ASSERT_EQ(single.minima.size(), 1u);
    EXPECT_EQ(single.minima[0].depth, 8);  // an immediate rise: (8 + 9) / 2
    EXPECT_FLOAT_EQ(single.minima[0].value, -4.0f);

    // Floor at 7..10 (first higher sample 11), top at 13..15 (first lower sample 16).
    const Extrema flat({0, 0, 0, 0, 0, 5, 4, 1, 1, 1, 1, 3, 4, 6, 6, 6, 2, 1, 0});
    EXPECT_TRUE(flat.found);
    ASSERT_EQ(flat.minima.size(), 1u);
    EXPECT_EQ(flat.minima[0].depth, 9);
    ASSERT_EQ(flat.maxima.size(), 2u);
    EXPECT_EQ(flat.maxima[0].depth, 5);
    EXPECT_EQ(flat.maxima[1].depth, 14);
    EXPECT_FLOAT_EQ(flat.maxima[1].value, 6.0f);
}

TEST(ResponseExtrema, OnlyClosedExtremaInsideTheSearchRangeCount) {
    EXPECT_TRUE(Extrema({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}).minima.empty());
    // From depth 2 with limit 6: the valley at 6 lies above 7, the one at 10 is still open at the end.
    EXPECT_TRUE(Extrema({5, 5, 5, 5, 5, 5, 0, 5, 5, 5, 0, 5, 5, 5, 5}, 2, 6).minima.empty());
    EXPECT_EQ(Extrema({5, 5, 5, 5, 5, 5, 0, 5, 5, 5, 0, 5, 5, 5, 5}, 2, 7).minima.size(), 1u);
}
