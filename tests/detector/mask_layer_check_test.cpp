#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <functional>

using namespace Orvan::Velin;

namespace {

// A mask of `height` A-scans by 100 depth samples in which A-scan y holds tissue from depth edge(y) down
// (none where edge(y) < 0); the data range spans the whole depth.
struct LayerCase {
    VelinDetectorIpp detector;
    Trace points;

    LayerCase(int height, const std::function<int(int)>& edge, int fewScans = 0, int firstDepth = 0) {
        detector.maskImage.allocate(100, height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < 100; ++x) detector.maskImage.getRow(y)[x] = edge(y) >= 0 && x >= edge(y) ? 1 : 0;
        detector.dataFirstDepth = firstDepth;
        detector.dataLastDepth = 99;
        detector.fewScansMode = fewScans;
    }
    bool check(bool strict = true) {
        points.clear();
        return detector.checkMaskLayer(points, strict);
    }
};

}  // namespace

TEST(MaskLayerCheck, NeedsFifteenEdgePointsBelowTwoHundredScansAndThirtyFromThere) {
    for (int height : {150, 200}) {
        const int needed = height < 200 ? 15 : 30;
        LayerCase few(height, [&](int y) { return y < needed ? 30 : -1; });  // rows 1 .. needed - 1
        EXPECT_FALSE(few.check());
        EXPECT_EQ(few.detector.minPointCount, needed);
        LayerCase enough(height, [&](int y) { return y <= needed ? 30 : -1; });
        EXPECT_TRUE(enough.check());
        EXPECT_EQ(enough.points.size(), static_cast<std::size_t>(needed));
        EXPECT_EQ(enough.points[0].depth, 30);
        EXPECT_EQ(enough.points[0].aScan, 1);
    }
}

TEST(MaskLayerCheck, MeanEdgeDepthMustLieMoreThanNineteenFromTheDataEnds) {
    EXPECT_FALSE(LayerCase(150, [](int) { return 19; }).check());
    LayerCase at20(150, [](int) { return 20; });
    EXPECT_TRUE(at20.check());
    at20.detector.dataLastDepth = 39;
    EXPECT_FALSE(at20.check());
    // 74 rows at 20 and 74 at 21 average 20.5, truncated to 20: 19 from the first data sample.
    EXPECT_FALSE(LayerCase(
                     150, [](int y) { return y % 2 == 0 ? 20 : 21; }, 0, 1)
                     .check());
}

TEST(MaskLayerCheck, EdgesBelowTissueOrAtTheTopAreNotPoints) {
    // Tissue at columns 0..lastAbove over an edge at 23: 20 pixels in columns 2..21 exclude the point.
    for (int lastAbove : {20, 21}) {
        LayerCase c(150, [](int) { return 23; });
        for (int y = 1; y < 149; ++y)
            for (int x = 0; x <= lastAbove; ++x) c.detector.maskImage.getRow(y)[x] = 1;
        c.check();
        EXPECT_EQ(c.points.size(), lastAbove == 20 ? 148u : 0u);
    }
    // Edges at column 1 lie at the first data sample: not points, but rows at the top (39 x 4 > 109; 19 x 4 <= 129).
    LayerCase top(
        150, [](int y) { return y < 40 ? 1 : 50; }, 0, 1);
    EXPECT_FALSE(top.check());
    EXPECT_EQ(top.points.size(), 109u);
    EXPECT_TRUE(LayerCase(
                    150, [](int y) { return y < 20 ? 1 : 50; }, 0, 1)
                    .check());
}

TEST(MaskLayerCheck, FewScansStrictModeRejectsMoreThanTwoJumps) {
    // Edge depth steps of 50 between row blocks: 30 -> 80 -> 30 is two jumps, a further -> 80 the third.
    EXPECT_TRUE(LayerCase(
                    150, [](int y) { return y < 50   ? 30
                                            : y < 90 ? 80
                                                     : 30; }, 1)
                    .check());
    LayerCase three(
        150, [](int y) { return y < 50    ? 30
                                : y < 90  ? 80
                                : y < 130 ? 30
                                          : 80; }, 1);
    EXPECT_FALSE(three.check());
    EXPECT_TRUE(three.check(false));
    three.detector.fewScansMode = 0;
    EXPECT_TRUE(three.check());

    // Steps of more than 40 A-scans between consecutive points are jumps too.
    LayerCase gaps(
        150, [](int y) { return y < 6 || (y >= 47 && y <= 52) || (y >= 94 && y <= 99) || y >= 141 ? 30 : -1; }, 1);
    EXPECT_FALSE(gaps.check());
    EXPECT_EQ(gaps.points.size(), 25u);

    LayerCase empty(150, [](int) { return -1; });
    EXPECT_FALSE(empty.check());
    empty.detector.fewScansMode = 1;
    EXPECT_DEATH(empty.check(), "out of range");
}
