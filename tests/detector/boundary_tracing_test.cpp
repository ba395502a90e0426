#include "DetectorTestHelpers.h"

#include <random>

namespace {

using Dips = std::vector<std::pair<int, float>>;  // single-sample valleys: depth, value

// One straight segment over n A-scans with its upper boundary at depth 5 and its search limit at 150. The
// response is 1 with a peak at 20 and single-sample valleys 30 apart, so that every snap window holds one
// valley at most and the later passes leave points on valleys where they are.
std::unique_ptr<VelinDetectorIpp> traceRows(int n, const std::function<Dips(int)>& rows, float weight = 1.0f,
                                            int fewScans = 0) {
    auto d = makeDetector(192, n, 1.0f);
    d->fewScansMode = fewScans;
    Segment segment;
    for (int a = 0; a < n; ++a) {
        float* row = d->responseImage.getRow(a);
        row[20] = 2.0f;
        for (const auto& dip : rows(a)) row[dip.first] = dip.second;
        segment.push_back(UpperPoint{5, a, 150, a, weight});
    }
    d->upperSegments.push_back(segment);
    EXPECT_TRUE(d->traceBoundaries());
    return d;
}

std::vector<int> lower(const std::unique_ptr<VelinDetectorIpp>& d) { return depthsOf(d->lowerTraces[0]); }

}  // namespace

TEST(BoundaryTracing, APointWithoutNegativeMinimumKeepsItsOwnDepthWithWeightZero) {
    auto d = traceRows(30, [](int) { return Dips{{40, 0.5f}, {70, 0.0f}}; });
    EXPECT_EQ(lower(d), std::vector<int>(30, 5));
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(d->lowerWeights[0][i], 0.0f);
        const CandidateList& k = d->candidateLists[0][i];
        EXPECT_TRUE(k.size() == 1 && k[0].depth == 0 && k[0].aScan == 0 && k[0].value == 0.0f);
    }
}

TEST(BoundaryTracing, AZeroMinimumIsACandidateButNeverTheFirstNegativeMinimum) {
    auto d = traceRows(30, [](int) { return Dips{{40, 0.0f}, {70, -1.0f}, {100, 0.0f}, {130, -2.0f}}; });
    Ints candidates;
    for (const ExtremumRecord& r : d->candidateLists[0][15]) candidates.push_back(r.depth);
    EXPECT_EQ(candidates, (Ints{70, 100, 130}));
    // The zero-valued alternative comes first and blocks the deeper one; its significance is never met.
    EXPECT_EQ(lower(d), std::vector<int>(30, 70));
}

// Each rule is checked by tracing twice: once where only the rule keeps or moves a point, once where the
// valleys alone force the same choices. The later passes treat both alike, so the final traces agree
// exactly when the rule covers exactly the expected points.
TEST(BoundaryTracing, MarginsAndUnreliablePointsChooseAsExpected) {
    const int n = 80;
    auto margin = [](int i) { return i <= 10 || i >= n - 10; };
    for (int fewScans : {0, 1}) {
        // The first 11 and last 10 points keep the first valley (only the first point in few-scans mode).
        const Dips deeper{{40, -1}, {70, -3}, {100, -0.5f}, {130, -0.5f}};
        auto byRule = traceRows(
            n, [&](int) { return deeper; }, 1.0f, fewScans);
        auto byData = traceRows(
            n,
            [&](int a) {
                return (fewScans ? a == 0 : margin(a)) ? Dips{{40, -1}, {70, 0.5f}, {100, -0.5f}, {130, -0.5f}}
                                                       : Dips{{40, 0}, {70, -3}, {100, -0.5f}, {130, -0.5f}};
            },
            1.0f, fewScans);
        EXPECT_EQ(lower(byRule), lower(byData)) << fewScans;
        EXPECT_EQ(lower(byRule)[40], 70);
    }
    // Unreliable points take the second-to-last alternative, however insignificant.
    const Dips weak{{40, -1}, {70, -0.2f}, {100, -0.1f}, {130, -0.3f}};
    auto byRule = traceRows(
        n, [&](int) { return weak; }, 0.0f);
    auto byData = traceRows(
        n,
        [&](int a) {
            return margin(a) ? weak : Dips{{40, 0.5f}, {70, 0.5f}, {100, -0.1f}, {130, -0.3f}};
        },
        0.0f);
    EXPECT_EQ(lower(byRule), lower(byData));
    EXPECT_EQ(lower(byRule)[40], 100);
}

TEST(BoundaryTracing, OnNoiseLowerStaysBelowUpperAndWeightsPeakAtOne) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::uniform_int_distribution<int> step(-2, 2), reach(40, 70);
    // 600 A-scans, so that every pass runs, in two segments with unreliable points here and there.
    auto d = makeDetector(160, 600);
    for (int y = 0; y < 600; ++y)
        for (int x = 0; x < 160; ++x) d->responseImage.getRow(y)[x] = noise(rng);
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
    for (int x = 0; x < 8; ++x) d->responseImage.getRow(0)[x] = -static_cast<float>(x + 1);
    d->upperTraces = {traceOf({1, 2}), traceOf({3})};
    d->upperResponses = {ValueList{0.5f, 0.0f}, ValueList{0.2f}};
    d->lowerTraces = {traceOf({4}), traceOf({6})};
    d->lowerWeights = {ValueList{0.9f}, ValueList{0.1f}};
    d->refreshTraceWeights(10.0);
    // |-2/10| and |-4/10| over the maximum of both segments; a zero stays zero.
    EXPECT_FLOAT_EQ(d->upperResponses[0][0], 0.5f);
    EXPECT_EQ(d->upperResponses[0][1], 0.0f);
    EXPECT_EQ(d->upperResponses[1][0], 1.0f);
    // |-5/10| against |-7/10|: the old 0.9 and 0.1 no longer count.
    EXPECT_FLOAT_EQ(d->lowerWeights[0][0], 5.0f / 7.0f);
    EXPECT_EQ(d->lowerWeights[1][0], 1.0f);
    // Without a scale nothing changes.
    d->refreshTraceWeights(5e-7);
    EXPECT_FLOAT_EQ(d->upperResponses[0][0], 0.5f);
}
