#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;

namespace {
// One-row response image holding `values`; the upper point sits at depth 0 and the limit deep enough that
// the search runs over columns 5 to width - 2.
struct ExtremaCase {
    VelinDetectorIpp detector;
    CandidateList maxima;
    CandidateList minima;

    bool run(const std::vector<float>& values, int depth = 0, int limitDepth = 1000) {
        detector.responseImage.allocate(static_cast<int>(values.size()), 1);
        for (std::size_t x = 0; x < values.size(); ++x) detector.responseImage.getRow(0)[x] = values[x];
        const UpperPoint point{depth, 0, limitDepth, 0, 1.0f};
        return detector.findResponseExtrema(detector.responseImage, point, maxima, minima);
    }
};
}  // namespace

TEST(ResponseExtrema, ValleyFollowedByRiseGivesOneMinimumAtTheValley) {
    ExtremaCase c;
    EXPECT_FALSE(c.run({9, 9, 9, 9, 9, 8, 6, 3, -4, 2, 5, 7, 8, 9}));
    ASSERT_EQ(c.minima.size(), 1u);
    EXPECT_EQ(c.minima[0].depth, 8);
    EXPECT_EQ(c.minima[0].aScan, 0);
    EXPECT_FLOAT_EQ(c.minima[0].value, -4.0f);
    EXPECT_TRUE(c.maxima.empty());
}

TEST(ResponseExtrema, FlatFloorsAndTopsAreReportedAtTheirMiddle) {
    ExtremaCase c;
    // Valley floor at 7..10 (first higher sample 11), peak top at 13..15 (first lower sample 16).
    EXPECT_TRUE(c.run({0, 0, 0, 0, 0, 5, 4, 1, 1, 1, 1, 3, 4, 6, 6, 6, 2, 1, 0}));
    ASSERT_EQ(c.minima.size(), 1u);
    EXPECT_EQ(c.minima[0].depth, 9);
    EXPECT_FLOAT_EQ(c.minima[0].value, 1.0f);
    ASSERT_EQ(c.maxima.size(), 2u);  // the rise at 5 is a peak too
    EXPECT_EQ(c.maxima[0].depth, 5);
    EXPECT_EQ(c.maxima[1].depth, 14);
    EXPECT_FLOAT_EQ(c.maxima[1].value, 6.0f);
}

TEST(ResponseExtrema, OnlyClosedExtremaInsideTheSearchRangeCount) {
    ExtremaCase rising;
    EXPECT_FALSE(rising.run({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_TRUE(rising.minima.empty());
    EXPECT_TRUE(rising.maxima.empty());

    // The valley at 6 lies above depth + 5 = 7; the one at 10 is still open at limitDepth + 5 - 1 = 10.
    ExtremaCase clipped;
    clipped.run({5, 5, 5, 5, 5, 5, 0, 5, 5, 5, 0, 5, 5, 5, 5}, 2, 6);
    EXPECT_TRUE(clipped.minima.empty());

    ExtremaCase empty;
    EXPECT_FALSE(empty.run({5, 5, 5, 5, 5, 5, 0, 5, 5, 5}, 3, 3));
    EXPECT_TRUE(empty.minima.empty());
}
