#include "DetectorTestHelpers.h"

namespace {

// One trace over all A-scans (in decreasing order if asked) at depth 10 with the given index ranges raised to 18 and
// the given points weak. The image is 20 samples deep, so no snap window fits and only bridging and smoothing act.
Ints bridged(int aScans, const std::vector<std::pair<int, int>>& raised, const Ints& weak, float weakWeight = 0.0f,
             bool decreasing = false, int fewScans = 0) {
    auto d = makeDetector(20, aScans);
    d->fewScansMode = fewScans;
    const int first = decreasing ? aScans - 1 : 0, step = decreasing ? -1 : 1;
    d->upperTraces = {traceOf(Ints(aScans, 0), first, step)};
    d->lowerTraces = {traceOf(Ints(aScans, 10), first, step)};
    d->lowerWeights = {ValueList(aScans, 1.0f)};
    for (const auto& r : raised)
        for (int a = r.first; a <= r.second; ++a) d->lowerTraces[0][a].depth = 18;
    for (int a : weak) d->lowerWeights[0][a] = weakWeight;
    d->bridgeWeakRuns();
    return depthsOf(d->lowerTraces[0]);
}

// `copies` lower traces over 300 A-scans along `path`, with the ten points from `from` on displaced 30 samples
// down and weight 0. Each candidate list holds the displaced depth and depths 12 above and 14 below the
// path. Each A-scan's response has its deepest valley on the path and one at every candidate, all more
// than 10 apart, so that snapping keeps points in place.
std::unique_ptr<VelinDetectorIpp> displacedRun(const std::function<int(int)>& path, int copies, int from = 145) {
    auto d = makeDetector(320, 300, 1.0f);
    d->responseMin = -2.0f;
    Segment segment;
    Ints lower;
    ValueList weights;
    CheckedList<CandidateList> candidates;
    for (int a = 0; a < 300; ++a) {
        const int p = path(a);
        const bool displaced = a >= from && a < from + 10;
        float* row = d->responseImage.getRow(a);
        row[p] = -2.0f;
        row[p - 12] = row[p + 14] = row[p + 30] = -1.0f;
        segment.push_back(UpperPoint{0, a, p, a, 1.0f});
        lower.push_back(displaced ? p + 30 : p);
        weights.push_back(displaced ? 0.0f : 1.0f);
        candidates.push_back(CandidateList{{p - 12, a, -1.0f}, {p + 14, a, -1.0f}, {p + 30, a, -1.0f}});
    }
    d->upperSegments.push_back(segment);
    d->upperTraces = CheckedList<Trace>(copies, traceOf(Ints(300, 0)));
    d->lowerTraces = CheckedList<Trace>(copies, traceOf(lower));
    d->lowerWeights = CheckedList<ValueList>(copies, weights);
    d->candidateLists = CheckedList<CheckedList<CandidateList>>(copies, candidates);
    return d;
}

int flat(int) { return 100; }
int vShape(int a) { return 100 + std::abs(a - 150); }

}  // namespace

TEST(LineGuidedReselection, FitWeightsEachPointByItsResponseAndReselectPointBiasAcceptanceAndClamps) {
    auto d = makeDetector(16, 2);
    d->responseMin = -4.0f;
    d->responseImage.getRow(0)[0] = d->responseImage.getRow(1)[0] = -4.0f;
    d->responseImage.getRow(1)[10] = -12.0f;  // three times the weight of the point beside it
    d->responseImage.getRow(0)[5] = 3.0f;     // points on a response of 3 or 0 are left out
    const Trace lower{{0, 0}, {0, 1}, {10, 1}, {5, 0}, {6, 1}};
    const ValueList weights(5, 1.0f);
    double a = 1.0, b = 1.0;
    ASSERT_TRUE(d->fitLocalLine(5, 0, lower, weights, a, b));
    EXPECT_EQ(std::make_pair(a, b), std::make_pair(0.0, 7.5));  // through (0, 0) and the weighted mean at A-scan 1
    EXPECT_FALSE(d->fitLocalLine(3, 0, lower, ValueList{1.0f, 0.0f, 0.0f}, a, b));
    // Both fitted points at one A-scan: the slope's denominator is 0, so the slope is 0 and the line runs at the
    // points' weighted mean depth.
    ASSERT_TRUE(d->fitLocalLine(2, 1, lower, weights, a, b));
    EXPECT_EQ(std::make_pair(a, b), std::make_pair(7.5, 0.0));
    // No fit without a least response clearly below 0.
    for (float least : {0.0f, 4.0f, -5e-7f}) {
        d->responseMin = least;
        EXPECT_FALSE(d->fitLocalLine(5, 0, lower, weights, a, b)) << least;
    }

    auto pick = [&](int mode, const CandidateList& k, BoundaryPoint p, double a, double b = 0.0) {
        d->reselectPoint(mode, k, a, b, BoundaryPoint{50, 7}, p);
        return p.depth;
    };
    const BoundaryPoint far{130, 7};
    const CandidateList k{{92, 7, -1.0f}, {110, 7, -1.0f}};
    // Mode 0 takes the candidate above only when it is nearer than 0.75 x the one below: 7.6 against
    // 10.4 (line at 99.6) is, 7.9 against 10.1 (line at 99.9) is not. Mode 1 takes the nearest.
    EXPECT_EQ(Ints({pick(0, k, far, 99.6), pick(0, k, far, 99.9), pick(1, k, far, 99.9)}), Ints({92, 110, 92}));
    // A point nearer than every candidate stays; a nearest candidate 30 or more away gives way to the last.
    EXPECT_EQ(Ints({pick(1, k, {101, 7}, 99.9), pick(1, k, {200, 7}, 62.1), pick(1, k, {200, 7}, 62.0)}),
              Ints({101, 92, 110}));
    // A candidate on the line counts as below it.
    EXPECT_EQ(pick(0, {{100, 7, -1.0f}, {85, 7, -1.0f}}, far, 100.0), 100);
    // Without candidates the point moves onto the line, truncated, then under the upper point, and is
    // capped at 1022 from 1024 on.
    EXPECT_EQ(
        Ints({pick(0, {}, far, 40.9, 2.0), pick(0, {}, far, 20.0), pick(0, {}, far, 1023.9), pick(0, {}, far, 1024.0)}),
        Ints({54, 50, 1023, 1022}));
}

TEST(LineGuidedReselection, ALoneTraceIsReselectedCentredAndSplitAtItsBend) {
    auto reselected = [](int (*path)(int), int copies, int from = 145, bool longerSegment = false) {
        auto d = displacedRun(path, copies, from);
        if (longerSegment) d->upperSegments[0].push_back(d->upperSegments[0].back());
        d->reselectLowerTraces();
        Ints atDisplacedPoint;
        for (const Trace& t : d->lowerTraces) atDisplacedPoint.push_back(t[from + 5].depth);
        return atDisplacedPoint;
    };
    // One straight trace: lines centred on each point, the nearest candidate (12 above) wins. Several traces:
    // lines through the points before, the deeper side (14 below) is preferred.
    EXPECT_EQ(reselected(flat, 1), Ints{88});
    EXPECT_EQ(reselected(flat, 2), (Ints{114, 114}));
    // A V-shaped trace is cut at its apex, and each arm's lines lead back to the shallow candidate there (lines
    // centred across the apex would average both arms and miss it).
    EXPECT_LT(reselected(vShape, 1)[0], vShape(150));
    // Without a segment of the trace's length there are no limits to find the bend in: the trace stays whole.
    auto whole = displacedRun(vShape, 1);
    whole->reselectAlongLocalLines(whole->upperTraces[0], whole->lowerTraces[0], whole->lowerWeights[0],
                                   whole->candidateLists[0], 1);
    EXPECT_EQ(reselected(vShape, 1, 145, true), Ints{whole->lowerTraces[0][150].depth});
    // The last 50 points are reselected from lines through the 50 points before them.
    EXPECT_EQ(reselected(flat, 1, 280), Ints{88});
}

TEST(WeakRunBridging, WeakPointsCloserThanTheMarkWidthAreBridgedByOneLine) {
    // 64 A-scans: half-width 1. Weak points two apart mark 19..23 as one run, raised good point included.
    EXPECT_EQ(bridged(64, {{19, 23}}, {20, 22}), Ints(64, 10));
    // Only weights at or below zero mark: NaN weights (a zero response scale) leave the raised run alone.
    EXPECT_GT(bridged(64, {{19, 23}}, {20, 22}, std::nanf(""))[21], 10);
    // Four apart, A-scan 22 stays unmarked and anchors two runs, so its bump survives.
    EXPECT_GT(bridged(64, {{19, 25}}, {20, 24})[22], 10);
    // The half-width follows the A-scan count: raised points inside the mark of the weak point at 100 go; a
    // raised run just outside the mark of the weak point at 160 stays.
    for (const auto& c : {std::pair<int, int>{220, 1}, {221, 5}, {999, 5}, {1000, 10}}) {
        const int h = c.second;
        const Ints depths = bridged(c.first, {{101, 100 + h}, {161 + h, 164 + h}}, {100, 160});
        EXPECT_EQ(Ints(depths.begin() + 100 - h, depths.begin() + 101 + h), Ints(2 * h + 1, 10)) << c.first;
        EXPECT_GT(depths[162 + h], 10) << c.first;
    }
    // A raised run of 8 survives smoothing of length 7, not of length 21.
    EXPECT_GT(bridged(1023, {{500, 507}}, {})[503], 10);
    EXPECT_EQ(bridged(1024, {{500, 507}}, {})[503], 10);
}

TEST(WeakRunBridging, RunsTouchingAnEndStayAndDecreasingAScansBridgeAlike) {
    // 230 A-scans: half-width 5. A weak point within 5 of an end marks a run that has no anchor on that side.
    EXPECT_EQ(bridged(230, {{0, 7}}, {2}), bridged(230, {{0, 7}}, {}));
    EXPECT_EQ(bridged(230, {{222, 229}}, {227}), bridged(230, {{222, 229}}, {}));
    // Points 20..22 are bridged from 18 down to 10 whichever way the A-scans run.
    EXPECT_EQ(bridged(64, {{0, 19}}, {21}, 0.0f, true), bridged(64, {{0, 19}}, {21}));
}

// Few-scans volumes smooth every lower trace once more after the sweeps, with length 5 below 512 A-scans, 11 below
// 1024 and 21 from there; raised runs of 5 to 12 points tell the lengths apart.
TEST(WeakRunBridging, FewScanVolumesSmoothOnceMoreWithALengthByTheAScanCount) {
    const std::vector<std::pair<int, int>> raised{{300, 304}, {350, 356}, {400, 408}, {450, 461}};
    for (const auto& c : {std::pair<int, int>{511, 5}, {512, 11}, {1023, 11}, {1024, 21}}) {
        Trace once = traceOf(bridged(c.first, raised, {}));
        VelinDetectorIpp().smoothDepths(once, c.second);
        EXPECT_EQ(bridged(c.first, raised, {}, 0.0f, false, 1), depthsOf(once)) << c.first;
    }
}

// 230 A-scans at depth 33 over a response whose valley lies at 35, but at 40 in the A-scans 95..105 that the weak
// point 100 marks. The first sweep snaps every point to its valley; the second re-bridges the marked run between
// its anchors and does not snap again, so the run ends on the anchors' line, not on its own valley.
TEST(WeakRunBridging, OnlyTheFirstSweepSnapsToTheResponse) {
    auto d = makeDetector(60, 230, 1.0f);
    for (int a = 0; a < 230; ++a) d->responseImage.getRow(a)[a >= 95 && a <= 105 ? 40 : 35] = -1.0f;
    d->upperTraces = {traceOf(Ints(230, 0))};
    d->lowerTraces = {traceOf(Ints(230, 33))};
    d->lowerWeights = {ValueList(230, 1.0f)};
    d->lowerWeights[0][100] = 0.0f;
    d->bridgeWeakRuns();
    const Ints depths = depthsOf(d->lowerTraces[0]);
    EXPECT_EQ(Ints({depths[20], depths[200]}), Ints({35, 35}));
    EXPECT_LT(depths[100], 40);
}
