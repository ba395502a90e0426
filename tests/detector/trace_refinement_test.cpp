#include "DetectorTestHelpers.h"

namespace {

// One trace over all A-scans at depth 10 with the given ranges raised to 18 and the given points weak.
// The image is 20 samples deep, so no snap window fits and only bridging and smoothing act.
Ints bridged(int aScans, const std::vector<std::pair<int, int>>& raised, const Ints& weak, float weakWeight = 0.0f) {
    auto d = makeDetector(20, aScans);
    d->upperTraces = {traceOf(Ints(aScans, 0))};
    d->lowerTraces = {traceOf(Ints(aScans, 10))};
    d->lowerWeights = {ValueList(aScans, 1.0f)};
    for (const auto& r : raised)
        for (int a = r.first; a <= r.second; ++a) d->lowerTraces[0][a].depth = 18;
    for (int a : weak) d->lowerWeights[0][a] = weakWeight;
    d->bridgeWeakRuns();
    return depthsOf(d->lowerTraces[0]);
}

// `copies` lower traces over 300 A-scans along `path`, with the ten points from 145 on displaced 30 samples
// down and weight 0. Each candidate list holds the displaced depth and depths 12 above and 14 below the
// path. Each A-scan's response has its deepest valley on the path and one at every candidate, all more
// than 10 apart, so that snapping keeps points in place.
std::unique_ptr<VelinDetectorIpp> displacedRun(const std::function<int(int)>& path, int copies) {
    auto d = makeDetector(320, 300, 1.0f);
    d->responseMin = -2.0f;
    Segment segment;
    Ints lower;
    ValueList weights;
    CheckedList<CandidateList> candidates;
    for (int a = 0; a < 300; ++a) {
        const int p = path(a);
        const bool displaced = a >= 145 && a < 155;
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
    const Trace lower{{0, 0}, {0, 1}, {10, 1}};
    double a = 1.0, b = 1.0;
    ASSERT_TRUE(d->fitLocalLine(3, 0, lower, ValueList{1.0f, 1.0f, 1.0f}, a, b));
    EXPECT_EQ(std::make_pair(a, b), std::make_pair(0.0, 7.5));  // through (0, 0) and the weighted mean at A-scan 1
    EXPECT_FALSE(d->fitLocalLine(3, 0, lower, ValueList{1.0f, 0.0f, 0.0f}, a, b));

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
    EXPECT_EQ(Ints({pick(1, k, {101, 7}, 99.9), pick(1, k, {200, 7}, 60.0)}), Ints({101, 110}));
    // Without candidates the point moves onto the line, truncated, then under the upper point, and is
    // capped at 1022 from 1024 on.
    EXPECT_EQ(
        Ints({pick(0, {}, far, 40.9, 2.0), pick(0, {}, far, 20.0), pick(0, {}, far, 1023.9), pick(0, {}, far, 1024.0)}),
        Ints({54, 50, 1023, 1022}));
}

TEST(LineGuidedReselection, ALoneTraceIsReselectedCentredAndSplitAtItsBend) {
    auto reselected = [](int (*path)(int), int copies) {
        auto d = displacedRun(path, copies);
        d->reselectLowerTraces();
        Ints atDisplacedPoint;
        for (const Trace& t : d->lowerTraces) atDisplacedPoint.push_back(t[150].depth);
        return atDisplacedPoint;
    };
    // One straight trace: lines centred on each point, the nearest candidate (12 above) wins. Several traces:
    // lines through the points before, the deeper side (14 below) is preferred.
    EXPECT_EQ(reselected(flat, 1), Ints{88});
    EXPECT_EQ(reselected(flat, 2), (Ints{114, 114}));
    // A V-shaped trace is cut at its apex, and each arm's lines lead back to the shallow candidate there (lines
    // centred across the apex would average both arms and miss it).
    EXPECT_LT(reselected(vShape, 1)[0], vShape(150));
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
