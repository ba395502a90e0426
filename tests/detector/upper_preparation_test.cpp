#include "DetectorTestHelpers.h"

namespace {

// Extrema of a one-row response; the search runs from depth + 5 to limitDepth + 5 - 1 (at most width - 2).
struct Extrema {
    CandidateList maxima, minima;
    bool found;
    Extrema(const std::vector<float>& values, int depth = 0, int limitDepth = 1000) {
        VelinDetectorIpp d;
        fillImage(d.responseImage, static_cast<int>(values.size()), 1, [&](int x, int) { return values[x]; });
        found = d.findResponseExtrema(d.responseImage, UpperPoint{depth, 0, limitDepth, 0, 1.0f}, maxima, minima);
    }
};

using Chains = std::vector<Ints>;

// The chains (first A-scan, last A-scan, depth of the first point) linked in a mask of 300 samples by `height`
// A-scans with the given bands (first row, last row, top, end). Each band has a response peak two samples above
// its top, where the snap to the response puts the chain point back onto the top; a band from column 0 hides
// the layer's edge from the edge points (too much mask above it), so only the row extension can reach it.
Chains chains(int height, const std::vector<std::array<int, 4>>& bands, int dataFirstDepth = 5) {
    VelinDetectorIpp d;
    fillImage(d.maskImage, 300, height, 0);
    fillImage(d.responseImage, 300, height, 0.0f);
    d.dataFirstDepth = dataFirstDepth;
    d.dataLastDepth = 295;
    for (const auto& b : bands)
        for (int y = b[0]; y <= b[1]; ++y) {
            std::fill(d.maskImage.getRow(y) + b[2], d.maskImage.getRow(y) + b[3], 255);
            if (b[2] >= 2) d.responseImage.getRow(y)[b[2] - 2] = 1.0f;
        }
    EXPECT_TRUE(d.linkMaskEdges());
    Chains out;
    for (const Trace& t : d.upperTraces) out.push_back({t.front().aScan, t.back().aScan, t.front().depth});
    return out;
}

}  // namespace

TEST(ResponseExtrema, ValleysAndPeaksArePlacedAtTheMiddleOfTheirFloorOrTop) {
    const Extrema single({9, 9, 9, 9, 9, 8, 6, 3, -4, 2, 5, 7, 8, 9});
    EXPECT_FALSE(single.found);                   // no peak
    EXPECT_EQ(depthsOf(single.minima), Ints{8});  // an immediate rise: (8 + 9) / 2
    EXPECT_FLOAT_EQ(single.minima[0].value, -4.0f);
    // Floor at 7..10 (first higher sample 11), top at 13..15 (first lower sample 16).
    const Extrema flat({0, 0, 0, 0, 0, 5, 4, 1, 1, 1, 1, 3, 4, 6, 6, 6, 2, 1, 0});
    EXPECT_TRUE(flat.found);
    EXPECT_EQ(depthsOf(flat.minima), Ints{9});
    EXPECT_EQ(depthsOf(flat.maxima), (Ints{5, 14}));
    EXPECT_FLOAT_EQ(flat.maxima[1].value, 6.0f);

    // Only closed extrema inside the search range count. From depth 2 with limit 6 the valley at 6 lies
    // above 7, the one at 10 is still open at the end.
    EXPECT_TRUE(Extrema({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}).minima.empty());
    EXPECT_TRUE(Extrema({5, 5, 5, 5, 5, 5, 0, 5, 5, 5, 0, 5, 5, 5, 5}, 2, 6).minima.empty());
    EXPECT_EQ(Extrema({5, 5, 5, 5, 5, 5, 0, 5, 5, 5, 0, 5, 5, 5, 5}, 2, 7).minima.size(), 1u);
}

TEST(TraceSmoothing, MedianWindowSnapToTheLeastResponseAndBridgingBelowTheMeanWeight) {
    auto smoothed = [](Trace t) {
        VelinDetectorIpp().smoothDepths(t, 7);
        return t;
    };
    const Trace three = smoothed(traceOf({10, 50, 21}, 4));
    EXPECT_EQ(depthsOf(three), (Ints{10, 15, 21}));
    EXPECT_EQ(three[2].aScan, 6);
    // n = 10 < 2 * 7 gives a window of 4, which the median treats as 3.
    EXPECT_EQ(depthsOf(smoothed(traceOf({10, 30, 12, 14, 40, 16, 18, 20, 50, 22}))),
              (Ints{10, 11, 13, 14, 16, 17, 18, 19, 21, 22}));
    // n = 14 = 2 * 7 keeps the full window, which clears a three-point spike.
    EXPECT_EQ(depthsOf(smoothed(traceOf({10, 10, 10, 10, 10, 40, 40, 40, 10, 10, 10, 10, 10, 10}))), Ints(14, 10));
    // Each point moves to the shallowest least response within 5 samples, never into the frame.
    VelinDetectorIpp d;
    fillImage(d.responseImage, 30, 1, [](int x, int) {
        return x == 12 || x == 17 ? -3.0f : x == 2 || x == 27 ? -9.0f : 0.0f;
    });
    Trace t = traceOf({15, 5, 25, 6, 24}, 0, 0);
    d.snapToResponseMinimum(d.responseImage, t, 5);
    EXPECT_EQ(depthsOf(t), (Ints{12, 5, 25, 2, 27}));
    for (int radius : {0, 30}) {  // no radius, or one beyond the image: nothing moves
        Trace same = traceOf({15, 6, 24}, 0, 0);
        d.snapToResponseMinimum(d.responseImage, same, radius);
        EXPECT_EQ(depthsOf(same), (Ints{15, 6, 24})) << radius;
    }

    auto bridged = [](Trace t, const ValueList& weights) {
        VelinDetectorIpp().bridgeBelowMeanWeight(t, weights);
        return depthsOf(t);
    };
    // Mean 0.5: points 1 and 2 lie between (20, a=0) and (10, a=6), stepped over the A-scan distance and
    // truncated toward zero; point 4 is not below the mean and stays.
    for (int step : {2, -2})  // the sign of the A-scan distance cancels
        EXPECT_EQ(bridged(traceOf({20, 99, 99, 10, 50, 10}, 10, step), ValueList{1, 0, 0, 1, 0.5f, 0.5f}),
                  (Ints{20, 19, 17, 10, 50, 10}));
    // The first point anchors even when weak; a run reaching the end is anchored at the last point.
    EXPECT_EQ(bridged(traceOf({0, 99, 30, 30, 99, 99, 60}), ValueList{0, 0, 1, 1, 0, 0, 0}),
              (Ints{0, 15, 30, 30, 40, 50, 60}));
    // No weights, a weight count other than the trace's, or anchors at one A-scan: nothing moves.
    for (const ValueList& weights : {ValueList{}, ValueList{1, 0}, ValueList{1, 0, 1, 1}})
        EXPECT_EQ(bridged(traceOf({20, 99, 10}), weights), (Ints{20, 99, 10})) << weights.size();
    EXPECT_EQ(bridged(traceOf({20, 99, 10}, 5, 0), ValueList{1, 0, 1}), (Ints{20, 99, 10}));
}

TEST(LinkMaskEdges, JumpToleranceChainStartAndEndAndTheCutBetweenOverlappingChains) {
    EXPECT_EQ(chains(250, {{1, 10, 100, 300}, {11, 248, 140, 300}}), (Chains{{1, 248, 100}}));
    EXPECT_EQ(chains(250, {{1, 10, 100, 300}, {11, 248, 141, 300}}), (Chains{{11, 248, 141}}));
    // Below 200 A-scans the tolerance is 20 samples.
    EXPECT_EQ(chains(150, {{1, 10, 100, 300}, {11, 148, 120, 300}}), (Chains{{1, 148, 100}}));
    EXPECT_EQ(chains(150, {{1, 10, 100, 300}, {11, 148, 121, 300}}), (Chains{{11, 148, 121}}));
    // 29 points before a jump start the forward chain, which then is too short to keep: only the backward
    // chain remains.
    EXPECT_EQ(chains(250, {{1, 29, 100, 300}, {30, 248, 200, 300}}), (Chains{{248, 30, 200}}));
    // 29 points after a jump do not end the backward chain, which starts before the jump instead.
    EXPECT_EQ(chains(250, {{1, 100, 100, 300}, {101, 129, 200, 300}}), (Chains{{1, 100, 100}, {100, 2, 100}}));
    // A deep layer in rows 1..59 and a shallow one in rows 40..98: the forward chain follows the deep layer
    // to row 59, the backward chain the shallow one to row 40; they are cut at (40 + 59) / 2 = 49.
    EXPECT_EQ(chains(100, {{1, 59, 100, 300}, {40, 98, 60, 80}}), (Chains{{1, 49, 100}, {98, 48, 60}}));
    // Eight A-scans apart is too far to link, whatever the depths.
    EXPECT_EQ(chains(250, {{1, 100, 100, 300}, {108, 248, 100, 300}}), (Chains{{1, 100, 100}, {248, 108, 100}}));
    // A stray edge (row 100) is bridged: the next point joins the one before it, 40 samples away.
    EXPECT_EQ(chains(250, {{1, 99, 100, 300}, {100, 100, 140, 300}, {101, 248, 60, 300}}), (Chains{{1, 248, 100}}));
    // The extension follows the layer 10 samples deeper, connected through the mask of the chain's last row.
    EXPECT_EQ(chains(150, {{1, 100, 100, 300}, {101, 147, 110, 300}, {101, 147, 0, 30}, {148, 148, 200, 300}}),
              (Chains{{1, 147, 100}}));
    // The backward chain is extended likewise, toward smaller A-scans: rows 21..50 join it, 30 samples from the
    // forward chain's depth and 10 from its own.
    EXPECT_EQ(chains(150, {{1, 20, 100, 300}, {21, 50, 130, 300}, {21, 50, 0, 30}, {51, 148, 140, 300}}),
              (Chains{{1, 20, 100}, {148, 21, 140}}));
}

TEST(LinkMaskEdges, ChainsThatTogetherExceedTheAScansAreReconciled) {
    // Edges at or above the first data sample (100) link to nothing, so the forward chain ends at row 200, where
    // the backward chain starts (the stray edge in row 248 starts neither). A product of 0 keeps the longer chain.
    EXPECT_EQ(chains(250, {{1, 200, 130, 300}, {201, 247, 100, 300}, {248, 248, 250, 300}}, 100),
              (Chains{{1, 200, 130}}));
    // Edges alternating by 30 samples in rows 1..10 and 90..98 delay the forward start and bring the backward end
    // forward; the backward chain reaches further left (row 2) than the forward one (row 11) and is dropped.
    std::vector<std::array<int, 4>> bands{{11, 89, 100, 300}};
    for (int y = 1; y < 99; ++y)
        if (y <= 10 || y >= 90) bands.push_back({y, y, y % 2 ? 130 : 100, 300});
    EXPECT_EQ(chains(100, bands), (Chains{{10, 98, 100}}));
}

// The chain is smoothed over 7 points first: a spike of three points (rows 9..11, 60 deeper) is gone before it
// could reach the stronger response at its own depth.
TEST(SnapTracesToResponseMaximum, SmoothsTheChainOverSevenPointsFirst) {
    VelinDetectorIpp d;
    fillImage(d.responseImage, 200, 20, [](int x, int y) {
        return x == 98 ? 1.0f : x == 158 && y >= 9 && y <= 11 ? 5.0f : 0.0f;
    });
    Trace chain = traceOf(Ints(20, 100));
    for (int y = 9; y <= 11; ++y) chain[y].depth = 160;
    d.upperTraces = {chain};
    d.snapTracesToResponseMaximum(d.responseImage);
    EXPECT_EQ(depthsOf(d.upperTraces[0]), Ints(20, 100));
}

TEST(SnapTracesToResponseMaximum, SearchesFromThePointNearTheTopAndAddsTwo) {
    auto d = std::make_unique<VelinDetectorIpp>();
    // A point at depth 10 searches from 10 itself, so the higher maximum at 8 stays unseen; a point at depth 26
    // searches from 1, and the first of two equal maxima wins; a point at depth 90 searches up to column 98.
    fillImage(d->responseImage, 100, 3, [](int x, int y) {
        if (y == 2) return x == 98 ? 4.0f : x == 99 ? 6.0f : 0.0f;
        return y == 0 ? (x == 8 ? 5.0f : x == 12 || x == 14 ? 3.0f : 0.0f) : (x == 7 || x == 9 ? 4.0f : 0.0f);
    });
    d->upperTraces = {Trace{{10, 0}}, Trace{{26, 1}}, Trace{{90, 2}}};
    EXPECT_TRUE(d->snapTracesToResponseMaximum(d->responseImage));
    EXPECT_EQ(Ints({d->upperTraces[0][0].depth, d->upperTraces[1][0].depth, d->upperTraces[2][0].depth}),
              Ints({14, 9, 100}));
}
