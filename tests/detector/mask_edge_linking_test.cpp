#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

using namespace Orvan::Velin;

namespace {
constexpr int kWidth = 300;

// A detector with an empty mask and a zero response of `height` A-scans. Mask bands are added per row; each
// band's top gets a response peak two samples above it, where the snap to the response puts it back.
struct MaskScene {
    VelinDetectorIpp detector;

    explicit MaskScene(int height) {
        detector.maskImage.allocate(kWidth, height);
        detector.responseImage.allocate(kWidth, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                detector.maskImage.getRow(y)[x] = 0;
                detector.responseImage.getRow(y)[x] = 0.0f;
            }
        }
        detector.dataFirstDepth = 5;
        detector.dataLastDepth = kWidth - 5;
    }

    void band(int firstRow, int lastRow, int top, int bottom) {
        for (int y = firstRow; y <= lastRow; ++y) {
            for (int x = top; x < bottom; ++x) detector.maskImage.getRow(y)[x] = 255;
            detector.responseImage.getRow(y)[top - 2] = 1.0f;
        }
    }
};

// The mask's first edge lies at 100 in rows 1..10 and `jump` samples deeper in the remaining rows.
int firstChainAScan(int height, int jump) {
    MaskScene scene(height);
    scene.band(1, 10, 100, kWidth);
    scene.band(11, height - 2, 100 + jump, kWidth);
    EXPECT_TRUE(scene.detector.linkMaskEdges());
    EXPECT_EQ(scene.detector.upperTraces.size(), 1u);
    const Trace& chain = scene.detector.upperTraces[0];
    EXPECT_EQ(chain.back().aScan, height - 2);
    EXPECT_EQ(chain.back().depth, 100 + jump);
    return chain.front().aScan;
}
}  // namespace

TEST(LinkMaskEdges, AnEdgeJumpBeyondTheToleranceBreaksTheForwardRun) {
    EXPECT_EQ(firstChainAScan(250, 40), 1);
    EXPECT_EQ(firstChainAScan(250, 41), 11);
    // Below 200 A-scans the tolerance is 20 samples.
    EXPECT_EQ(firstChainAScan(150, 20), 1);
    EXPECT_EQ(firstChainAScan(150, 21), 11);
}

TEST(LinkMaskEdges, TheForwardStartNeedsOneLinkedPointFewerThanTheBackwardEnd) {
    // 29 edge points before a jump start the forward chain, which then stays too short to be kept.
    MaskScene forwardOnly(250);
    forwardOnly.band(1, 29, 100, kWidth);
    forwardOnly.band(30, 248, 200, kWidth);
    ASSERT_TRUE(forwardOnly.detector.linkMaskEdges());
    ASSERT_EQ(forwardOnly.detector.upperTraces.size(), 1u);
    EXPECT_EQ(forwardOnly.detector.upperTraces[0].front().aScan, 248);
    EXPECT_EQ(forwardOnly.detector.upperTraces[0].back().aScan, 30);

    // 29 edge points after a jump do not end the backward chain, which starts before the jump instead.
    MaskScene backwardOnly(250);
    backwardOnly.band(1, 100, 100, kWidth);
    backwardOnly.band(101, 129, 200, kWidth);
    ASSERT_TRUE(backwardOnly.detector.linkMaskEdges());
    ASSERT_EQ(backwardOnly.detector.upperTraces.size(), 2u);
    EXPECT_EQ(backwardOnly.detector.upperTraces[0].back().aScan, 100);
    EXPECT_EQ(backwardOnly.detector.upperTraces[1].front().aScan, 100);
    EXPECT_EQ(backwardOnly.detector.upperTraces[1].back().aScan, 2);
}

TEST(LinkMaskEdges, OverlappingChainsAreCutAtTheIntegerMidpoint) {
    // A deep layer in rows 1..59 and a shallow one in rows 40..98: the forward chain follows the deep layer
    // to row 59 and the backward chain the shallow one to row 40; mid = (40 + 59) / 2 = 49.
    MaskScene scene(100);
    scene.band(1, 59, 100, kWidth);
    scene.band(40, 98, 60, 80);
    ASSERT_TRUE(scene.detector.linkMaskEdges());
    ASSERT_EQ(scene.detector.upperTraces.size(), 2u);

    const Trace& forward = scene.detector.upperTraces[0];
    EXPECT_EQ(forward.size(), 49u);
    EXPECT_EQ(forward.front().aScan, 1);
    EXPECT_EQ(forward.back().aScan, 49);
    const Trace& backward = scene.detector.upperTraces[1];
    EXPECT_EQ(backward.size(), 51u);
    EXPECT_EQ(backward.front().aScan, 98);
    EXPECT_EQ(backward.back().aScan, 48);
    for (const BoundaryPoint& p : forward) EXPECT_EQ(p.depth, 100);
    for (const BoundaryPoint& p : backward) EXPECT_EQ(p.depth, 60);
}

TEST(LinkMaskEdges, AMaskWithoutEdgesLinksNothing) {
    MaskScene scene(100);
    EXPECT_FALSE(scene.detector.linkMaskEdges());
    EXPECT_TRUE(scene.detector.upperTraces.empty());
}

TEST(SnapTracesToResponseMaximum, SearchesFromThePointNearTheTopAndAddsTwo) {
    VelinDetectorIpp detector;
    EXPECT_FALSE(detector.snapTracesToResponseMaximum(detector.responseImage));

    detector.responseImage.allocate(100, 2);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 100; ++x) detector.responseImage.getRow(y)[x] = 0.0f;
    float* shallow = detector.responseImage.getRow(0);
    shallow[8] = 5.0f;  // above a point at depth 10, whose search starts at 10 itself
    shallow[12] = shallow[14] = 3.0f;
    float* deeper = detector.responseImage.getRow(1);
    deeper[7] = deeper[9] = 4.0f;  // a point at depth 30 searches from 5; the first maximum wins

    detector.upperTraces.push_back(Trace{{10, 0}});
    detector.upperTraces.push_back(Trace{{30, 1}});
    EXPECT_TRUE(detector.snapTracesToResponseMaximum(detector.responseImage));
    EXPECT_EQ(detector.upperTraces[0][0].depth, 14);
    EXPECT_EQ(detector.upperTraces[1][0].depth, 9);
}
