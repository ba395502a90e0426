#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <functional>

using namespace Orvan::Velin;

namespace {

// A mask of `height` A-scans by 100 depth samples in which A-scan y holds tissue from depth edge(y) to the
// bottom (no tissue where edge(y) < 0); the data range spans the whole depth.
struct LayerCase {
    VelinDetectorIpp detector;
    Trace points;

    LayerCase(int height, const std::function<int(int)>& edge) {
        detector.maskImage.allocate(kWidth, height);
        for (int y = 0; y < height; ++y) {
            const int e = edge(y);
            for (int x = 0; x < kWidth; ++x) detector.maskImage.getRow(y)[x] = e >= 0 && x >= e ? 1 : 0;
        }
        detector.dataFirstDepth = 0;
        detector.dataLastDepth = kWidth - 1;
    }
    bool check(bool strict = true) {
        points.clear();
        return detector.checkMaskLayer(points, strict);
    }
    static constexpr int kWidth = 100;
};

}  // namespace

TEST(MaskLayerCheck, NeedsFifteenEdgePointsBelowTwoHundredScansAndThirtyFromThere) {
    LayerCase narrow(150, [](int y) { return y <= 14 ? 30 : -1; });  // rows 1..14
    EXPECT_FALSE(narrow.check());
    EXPECT_EQ(narrow.detector.minPointCount, 15);
    EXPECT_EQ(narrow.points.size(), 14u);
    LayerCase narrowEnough(150, [](int y) { return y <= 15 ? 30 : -1; });
    EXPECT_TRUE(narrowEnough.check());

    LayerCase wide(200, [](int y) { return y <= 29 ? 30 : -1; });
    EXPECT_FALSE(wide.check());
    EXPECT_EQ(wide.detector.minPointCount, 30);
    LayerCase wideEnough(200, [](int y) { return y <= 30 ? 30 : -1; });
    EXPECT_TRUE(wideEnough.check());
    ASSERT_EQ(wideEnough.points.size(), 30u);
    EXPECT_EQ(wideEnough.points[0].depth, 30);
    EXPECT_EQ(wideEnough.points[0].aScan, 1);
}

TEST(MaskLayerCheck, MeanEdgeDepthMustLieMoreThanNineteenFromTheDataEnds) {
    LayerCase at19(150, [](int) { return 19; });
    EXPECT_FALSE(at19.check());
    LayerCase at20(150, [](int) { return 20; });
    EXPECT_TRUE(at20.check());
    at20.detector.dataLastDepth = 39;
    EXPECT_FALSE(at20.check());
    // The mean truncates: 74 rows at 20 and 74 at 21 average 20.5, taken as 20.
    LayerCase mixed(150, [](int y) { return y % 2 == 0 ? 20 : 21; });
    mixed.detector.dataFirstDepth = 1;
    EXPECT_FALSE(mixed.check());
}

TEST(MaskLayerCheck, EdgesAtTheTopOrBelowTissueAboveAreNotPoints) {
    // Tissue at columns 0..21 above an edge at 23 leaves 20 pixels in columns 2..21: no point.
    auto withTissueAbove = [](int lastAbove) {
        LayerCase c(150, [](int) { return 23; });
        for (int y = 1; y < 149; ++y)
            for (int x = 0; x <= lastAbove; ++x) c.detector.maskImage.getRow(y)[x] = 1;
        c.check();
        return c.points.size();
    };
    EXPECT_EQ(withTissueAbove(21), 0u);
    EXPECT_EQ(withTissueAbove(20), 148u);

    // Edges at or above the first data sample are skipped but still count as rows at the top.
    LayerCase top(150, [](int y) { return y < 40 ? 1 : 50; });
    top.detector.dataFirstDepth = 1;
    EXPECT_FALSE(top.check());
    EXPECT_EQ(top.points.size(), 109u);  // 4 x 39 top rows > 109
    LayerCase fewerTop(150, [](int y) { return y < 20 ? 1 : 50; });
    fewerTop.detector.dataFirstDepth = 1;
    EXPECT_TRUE(fewerTop.check());  // 4 x 19 <= 129
}

TEST(MaskLayerCheck, FewScansStrictModeRejectsMoreThanTwoJumps) {
    // Edge depth steps of 50 between row blocks: 30 -> 80 -> 30 (two jumps), then -> 80 (three).
    auto twoJumps = [](int y) { return y < 50 ? 30 : y < 90 ? 80 : 30; };
    auto threeJumps = [](int y) { return y < 50 ? 30 : y < 90 ? 80 : y < 130 ? 30 : 80; };
    LayerCase two(150, twoJumps);
    two.detector.fewScansMode = 1;
    EXPECT_TRUE(two.check());
    LayerCase three(150, threeJumps);
    three.detector.fewScansMode = 1;
    EXPECT_FALSE(three.check());
    EXPECT_TRUE(three.check(false));
    three.detector.fewScansMode = 0;
    EXPECT_TRUE(three.check());

    // Gaps of more than 40 A-scans between consecutive points are jumps too.
    LayerCase gaps(150, [](int y) { return y < 6 || (y >= 47 && y <= 52) || (y >= 94 && y <= 99) || y >= 141 ? 30 : -1; });
    gaps.detector.fewScansMode = 1;
    EXPECT_FALSE(gaps.check());
    EXPECT_EQ(gaps.points.size(), 25u);

    LayerCase empty(150, [](int) { return -1; });
    EXPECT_FALSE(empty.check());
    empty.detector.fewScansMode = 1;
    EXPECT_DEATH(empty.check(), "out of range");
}
