#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <functional>

using namespace Orvan::Velin;

namespace {

// A mask of 120 depth samples by 10 A-scans (a component needs 100 pixels) set to 1 where `inside` holds;
// the data range is firstDepth .. lastDepth.
struct MaskCase {
    VelinDetectorIpp detector;

    MaskCase(const std::function<bool(int, int)>& inside, int firstDepth = 0, int lastDepth = 119) {
        detector.maskImage.allocate(120, 10);
        detector.componentImage.allocate(120, 10);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 120; ++x) detector.maskImage.getRow(y)[x] = inside(x, y) ? 1 : 0;
        detector.dataFirstDepth = firstDepth;
        detector.dataLastDepth = lastDepth;
    }
    int at(int x, int y) const { return detector.maskImage.getRow(y)[x]; }
    bool clean() { return detector.cleanMask(detector.maskImage); }
};

bool inBlock(int x, int y, int x0, int x1, int y0, int y1) { return x >= x0 && x <= x1 && y >= y0 && y <= y1; }

// Columns 31..50 of rows 1..5: 100 pixels of mean depth 40.
bool minimalBlock(int x, int y) { return inBlock(x, y, 31, 50, 1, 5); }

}  // namespace

TEST(CleanMask, KeepsOnlyComponentsOfTenPixelsPerScanFortyOrMoreFromBothDataEnds) {
    MaskCase exact(minimalBlock, 0, 80);
    EXPECT_TRUE(exact.clean());
    EXPECT_EQ(exact.at(50, 5), 1);

    MaskCase small([](int x, int y) { return minimalBlock(x, y) && !(x == 50 && y == 5); }, 0, 80);
    EXPECT_FALSE(small.clean());
    EXPECT_EQ(small.at(31, 1), 0);

    // Mean depth 49 lies 39 from the first data sample at 10 (the range start counts, not column 0).
    MaskCase nearTop([](int x, int y) { return inBlock(x, y, 40, 59, 1, 5); }, 10);
    EXPECT_FALSE(nearTop.clean());
    EXPECT_EQ(nearTop.at(45, 3), 0);

    EXPECT_FALSE(MaskCase(minimalBlock, 0, 79).clean());
}

TEST(CleanMask, JudgesEachFourConnectedComponentAndLeavesTheFrame) {
    MaskCase c([](int x, int y) {
        return inBlock(x, y, 51, 70, 2, 8)     // 140 pixels, mean depth 60: kept
               || (x == 50 && y == 5)          // joined to it through a side
               || (x == 71 && y == 1)          // touching it only at a corner: a component of its own
               || inBlock(x, y, 72, 80, 2, 4)  // separate and too small
               || y == 0 || x == 0;            // the frame lies outside the search
    });
    EXPECT_TRUE(c.clean());
    EXPECT_EQ(c.at(60, 4) + c.at(50, 5), 2);
    EXPECT_EQ(c.at(71, 1) + c.at(75, 3), 0);
    EXPECT_EQ(c.at(60, 0) + c.at(0, 5), 2);

    // Fewer mask pixels than A-scans: given up before any search.
    MaskCase sparse([](int x, int y) { return y == 3 && x >= 50 && x < 59; });
    EXPECT_FALSE(sparse.clean());
    EXPECT_EQ(sparse.at(50, 3), 1);
}
