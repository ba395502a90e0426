#include "UpperPreparationHelpers.h"

#include <memory>

#include <gtest/gtest.h>

using namespace Orvan::Velin;

namespace {
constexpr int kWidth = 300;

// An empty mask of `height` A-scans. Each band added gets a response peak two samples above its top, where
// the snap to the response puts the chain point back onto the top.
struct MaskScene {
    std::unique_ptr<VelinDetectorIpp> d;
    explicit MaskScene(int height) : d(new VelinDetectorIpp) {
        upper_test::fillImage(d->maskImage, kWidth, height, 0);
        upper_test::fillImage(d->responseImage, kWidth, height, 0.0f);
        d->dataFirstDepth = 5;
        d->dataLastDepth = kWidth - 5;
    }
    MaskScene& band(int firstRow, int lastRow, int top, int bottom = kWidth) {
        for (int y = firstRow; y <= lastRow; ++y) {
            for (int x = top; x < bottom; ++x) d->maskImage.getRow(y)[x] = 255;
            d->responseImage.getRow(y)[top - 2] = 1.0f;
        }
        return *this;
    }
    // (first A-scan, last A-scan, depth of the first point) of every chain.
    std::vector<std::vector<int>> chains() {
        EXPECT_TRUE(d->linkMaskEdges());
        std::vector<std::vector<int>> out;
        for (const Trace& t : d->upperTraces) out.push_back({t.front().aScan, t.back().aScan, t.front().depth});
        return out;
    }
};
using Chains = std::vector<std::vector<int>>;
}  // namespace

TEST(LinkMaskEdges, AnEdgeJumpBeyondTheToleranceBreaksTheForwardRun) {
    EXPECT_EQ(MaskScene(250).band(1, 10, 100).band(11, 248, 140).chains(), (Chains{{1, 248, 100}}));
    EXPECT_EQ(MaskScene(250).band(1, 10, 100).band(11, 248, 141).chains(), (Chains{{11, 248, 141}}));
    // Below 200 A-scans the tolerance is 20 samples.
    EXPECT_EQ(MaskScene(150).band(1, 10, 100).band(11, 148, 120).chains(), (Chains{{1, 148, 100}}));
    EXPECT_EQ(MaskScene(150).band(1, 10, 100).band(11, 148, 121).chains(), (Chains{{11, 148, 121}}));
}

TEST(LinkMaskEdges, TheForwardStartNeedsOneLinkedPointFewerThanTheBackwardEnd) {
    // 29 points before a jump start the forward chain, which then is too short to keep: only the backward
    // chain remains.
    EXPECT_EQ(MaskScene(250).band(1, 29, 100).band(30, 248, 200).chains(), (Chains{{248, 30, 200}}));
    // 29 points after a jump do not end the backward chain, which starts before the jump instead.
    EXPECT_EQ(MaskScene(250).band(1, 100, 100).band(101, 129, 200).chains(), (Chains{{1, 100, 100}, {100, 2, 100}}));
}

TEST(LinkMaskEdges, OverlappingChainsAreCutAtTheIntegerMidpoint) {
    // A deep layer in rows 1..59 and a shallow one in rows 40..98: the forward chain follows the deep layer
    // to row 59, the backward chain the shallow one to row 40; mid = (40 + 59) / 2 = 49.
    EXPECT_EQ(MaskScene(100).band(1, 59, 100).band(40, 98, 60, 80).chains(), (Chains{{1, 49, 100}, {98, 48, 60}}));
}

TEST(SnapTracesToResponseMaximum, SearchesFromThePointNearTheTopAndAddsTwo) {
    auto d = std::make_unique<VelinDetectorIpp>();
    upper_test::fillImage(d->responseImage, 100, 2, 0.0f);
    EXPECT_FALSE(d->snapTracesToResponseMaximum(d->responseImage));
    float* shallow = d->responseImage.getRow(0);
    shallow[8] = 5.0f;  // above a point at depth 10, whose search starts at 10 itself
    shallow[12] = shallow[14] = 3.0f;
    float* deeper = d->responseImage.getRow(1);
    deeper[7] = deeper[9] = 4.0f;  // a point at depth 30 searches from 5; the first maximum wins
    d->upperTraces.push_back(Trace{{10, 0}});
    d->upperTraces.push_back(Trace{{30, 1}});
    EXPECT_TRUE(d->snapTracesToResponseMaximum(d->responseImage));
    EXPECT_EQ(d->upperTraces[0][0].depth, 14);
    EXPECT_EQ(d->upperTraces[1][0].depth, 9);
}
