#include "DetectorTestHelpers.h"

#include <random>

namespace {

using Dips = std::vector<std::pair<int, float>>;  // single-sample valleys: depth, value
using Marked = std::function<bool(int aScan)>;

// One straight segment over n A-scans with its upper boundary at depth 5 and its search limit at 150. The
// response is 1 with a peak at 20 and single-sample valleys 30 apart (`dips` in the marked A-scans, `elsewhere`
// in the others), so that every snap window holds one valley at most and the later passes leave points on
// valleys where they are.
Ints traced(int n, const Dips& dips, const Marked& marked = nullptr, const Dips& elsewhere = {}, float weight = 1.0f,
            int fewScans = 0, std::unique_ptr<VelinDetectorIpp>* out = nullptr) {
    auto d = makeDetector(192, n, 1.0f);
    d->fewScansMode = fewScans;
    Segment segment;
    for (int a = 0; a < n; ++a) {
        float* row = d->responseImage.getRow(a);
        row[20] = 2.0f;
        for (const auto& dip : !marked || marked(a) ? dips : elsewhere) row[dip.first] = dip.second;
        segment.push_back(UpperPoint{5, a, 150, a, weight});
    }
    d->upperSegments.push_back(segment);
    EXPECT_TRUE(d->traceBoundaries());
    const Ints depths = depthsOf(d->lowerTraces[0]);
    if (out) *out = std::move(d);
    return depths;
}

}  // namespace

TEST(BoundaryTracing, CandidatesAreTheMinimaAndOnlyANegativeOneIsTheFirst) {
    // A point whose minima are all non-negative keeps its own depth with weight 0 and an all-zero candidate.
    std::unique_ptr<VelinDetectorIpp> d;
    EXPECT_EQ(traced(30, {{40, 0.5f}, {70, 0.0f}}, nullptr, {}, 1.0f, 0, &d), Ints(30, 5));
    for (int i = 0; i < 30; ++i) {
        const CandidateList& k = d->candidateLists[0][i];
        EXPECT_TRUE(d->lowerWeights[0][i] == 0.0f && k.size() == 1 && k[0].depth == 0 && k[0].aScan == 0 &&
                    k[0].value == 0.0f);
    }
    // A zero minimum is a candidate: the zero-valued alternative comes first and blocks the deeper one, whose
    // significance is never met.
    EXPECT_EQ(traced(30, {{40, 0.0f}, {70, -1.0f}, {100, 0.0f}, {130, -2.0f}}, nullptr, {}, 1.0f, 0, &d), Ints(30, 70));
    EXPECT_EQ(depthsOf(d->candidateLists[0][15]), (Ints{70, 100, 130}));
}

// Each rule is checked by tracing twice: once where only the rule keeps or moves a point, once where the
// valleys alone force the same choices. The later passes treat both alike, so the final traces agree
// exactly when the rule covers exactly the expected points.
TEST(BoundaryTracing, MarginsAndUnreliablePointsChooseAsExpected) {
    const int n = 80;
    const Marked margin = [](int i) { return i <= 10 || i >= n - 10; };
    const Marked first = [](int i) { return i == 0; };
    // The first 11 and last 10 points keep the first valley (only the first point in few-scans mode).
    const Dips deeper{{40, -1}, {70, -3}, {100, -0.5f}, {130, -0.5f}};
    const Dips firstOnly{{40, -1}, {70, 0.5f}, {100, -0.5f}, {130, -0.5f}};
    const Dips secondOnly{{40, 0}, {70, -3}, {100, -0.5f}, {130, -0.5f}};
    for (int fewScans : {0, 1}) {
        const Ints byRule = traced(n, deeper, nullptr, {}, 1.0f, fewScans);
        EXPECT_EQ(byRule, traced(n, firstOnly, fewScans ? first : margin, secondOnly, 1.0f, fewScans)) << fewScans;
        EXPECT_EQ(byRule[40], 70);
    }
    // Unreliable points take the second-to-last alternative, however insignificant.
    const Dips weak{{40, -1}, {70, -0.2f}, {100, -0.1f}, {130, -0.3f}};
    const Ints byRule = traced(n, weak, nullptr, {}, 0.0f);
    EXPECT_EQ(byRule, traced(n, weak, margin, {{40, 0.5f}, {70, 0.5f}, {100, -0.1f}, {130, -0.3f}}, 0.0f));
    EXPECT_EQ(byRule[40], 100);
}

TEST(BoundaryTracing, OnNoiseLowerStaysBelowUpperAndWeightsPeakAtOne) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::uniform_int_distribution<int> step(-2, 2), reach(40, 70);
    // 600 A-scans, so that every pass runs, in two segments with unreliable points here and there.
    auto d = makeDetector(160, 600);
    fillImage(d->responseImage, 160, 600, [&](int, int) { return noise(rng); });
    for (int s = 0; s < 2; ++s) {
        Segment segment;
        for (int a = s * 300, depth = 30; a < (s + 1) * 300; ++a) {
            depth = std::clamp(depth + step(rng), 10, 50);
            segment.push_back(UpperPoint{depth, a, depth + reach(rng), a, a % 7 ? 1.0f : 0.0f});
        }
        d->upperSegments.push_back(segment);
    }
    ASSERT_TRUE(d->traceBoundaries());
    float greatest = 0.0f;
    for (std::size_t k = 0; k < 2; ++k) {
        ASSERT_EQ(d->lowerTraces[k].size(), 300u);
        for (std::size_t i = 0; i < 300; ++i) {
            EXPECT_GE(d->lowerTraces[k][i].depth, d->upperTraces[k][i].depth) << k << " " << i;
            greatest = std::max(greatest, d->lowerWeights[k][i]);
        }
    }
    EXPECT_EQ(greatest, 1.0f);
}

TEST(TraceWeights, RefreshReadsPresentPositionsDropsConfidenceAndScalesByTheOverallMaximum) {
    auto d = makeDetector(8, 4);
    fillImage(d->responseImage, 8, 4, [](int x, int y) { return y == 0 ? -(x + 1.0f) : 0.0f; });
    d->upperTraces = {traceOf({1, 2}), traceOf({3})};
    d->upperResponses = {ValueList{0.5f, 0.0f}, ValueList{0.2f}};
    d->lowerTraces = {traceOf({4}), traceOf({6})};
    d->lowerWeights = {ValueList{0.9f}, ValueList{0.1f}};
    d->refreshTraceWeights(10.0);
    // |-2/10| and |-4/10| over the maximum of both segments, a zero stays zero; |-5/10| against |-7/10| for
    // the lower points, whose old 0.9 and 0.1 no longer count.
    EXPECT_FLOAT_EQ(d->upperResponses[0][0], 0.5f);
    EXPECT_FLOAT_EQ(d->lowerWeights[0][0], 5.0f / 7.0f);
    EXPECT_EQ(Floats({d->upperResponses[0][1], d->upperResponses[1][0], d->lowerWeights[1][0]}), Floats({0, 1, 1}));
    // Without a scale nothing changes.
    d->refreshTraceWeights(5e-7);
    EXPECT_FLOAT_EQ(d->upperResponses[0][0], 0.5f);
}
