#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <functional>

using namespace Orvan::Velin;

namespace {

// A mask of `width` depth samples by `height` A-scans, its data range 0 .. width - 1 unless changed.
struct MaskCase {
    VelinDetectorIpp detector;

    MaskCase(int width, int height, const std::function<int(int, int)>& value) {
        detector.maskImage.allocate(width, height);
        detector.componentImage.allocate(width, height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) detector.maskImage.getRow(y)[x] = static_cast<std::uint8_t>(value(x, y));
        detector.dataFirstDepth = 0;
        detector.dataLastDepth = width - 1;
    }
    int at(int x, int y) const { return detector.maskImage.getRow(y)[x]; }
    bool clean() { return detector.cleanMask(detector.maskImage); }
};

bool inBlock(int x, int y, int x0, int x1, int y0, int y1) { return x >= x0 && x <= x1 && y >= y0 && y <= y1; }

}  // namespace

// 10 A-scans: a component needs 100 pixels. Columns 31..50 of 5 rows: 100 pixels, mean depth 40.
TEST(CleanMask, KeepsAComponentOfTheMinimumSizeExactlyFortyFromBothEnds) {
    MaskCase c(120, 10, [](int x, int y) { return inBlock(x, y, 31, 50, 1, 5) ? 1 : 0; });
    c.detector.dataLastDepth = 80;
    EXPECT_TRUE(c.clean());
    EXPECT_EQ(c.at(31, 1), 1);
    EXPECT_EQ(c.at(50, 5), 1);
}

TEST(CleanMask, RemovesComponentsThatAreSmallOrNearTheEndsOfTheData) {
    // 99 pixels.
    MaskCase small(120, 10, [](int x, int y) { return inBlock(x, y, 31, 50, 1, 5) && !(x == 50 && y == 5) ? 1 : 0; });
    EXPECT_FALSE(small.clean());
    EXPECT_EQ(small.at(31, 1), 0);

    // Mean depth 39 from the first data sample; the range start counts, not column 0.
    MaskCase nearTop(120, 10, [](int x, int y) { return inBlock(x, y, 40, 59, 1, 5) ? 1 : 0; });
    nearTop.detector.dataFirstDepth = 10;
    EXPECT_FALSE(nearTop.clean());
    EXPECT_EQ(nearTop.at(45, 3), 0);

    // Mean depth 40 is 39 from the last data sample 79.
    MaskCase nearBottom(120, 10, [](int x, int y) { return inBlock(x, y, 31, 50, 1, 5) ? 1 : 0; });
    nearBottom.detector.dataLastDepth = 79;
    EXPECT_FALSE(nearBottom.clean());
}

TEST(CleanMask, JudgesEachFourConnectedComponentAndLeavesTheFrame) {
    MaskCase c(120, 10, [](int x, int y) {
        if (inBlock(x, y, 51, 70, 2, 8)) return 1;  // 140 pixels, mean depth 60: kept
        if (x == 50 && y == 5) return 1;            // joined to it through a side
        if (x == 71 && y == 1) return 1;            // touches it only at a corner: a component of its own
        if (inBlock(x, y, 72, 80, 2, 4)) return 1;  // separate and too small
        if (y == 0 || x == 0) return 1;             // the frame is outside the search
        return 0;
    });
    EXPECT_TRUE(c.clean());
    EXPECT_EQ(c.at(60, 4), 1);
    EXPECT_EQ(c.at(50, 5), 1);
    EXPECT_EQ(c.at(71, 1), 0);
    EXPECT_EQ(c.at(75, 3), 0);
    EXPECT_EQ(c.at(60, 0), 1);
    EXPECT_EQ(c.at(0, 5), 1);
}

TEST(CleanMask, GivesUpBeforeSearchingWhenTheMaskSumIsBelowTheScanCount) {
    MaskCase c(120, 10, [](int x, int y) { return y == 3 && x >= 50 && x < 59 ? 1 : 0; });
    EXPECT_FALSE(c.clean());
    EXPECT_EQ(c.at(50, 3), 1);
}
