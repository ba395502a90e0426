#include "TracingFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

using namespace velin_test;
using Orvan::Velin::ExtremumRecord;
using Orvan::Velin::Segment;
using Orvan::Velin::UpperPoint;

namespace {

struct Dip {
    int depth;
    float value;
};
using Rows = std::function<std::vector<Dip>(int aScan)>;

struct Options {
    float weight = 1.0f;
    int fewScans = 0;
    int filterMark = 0;
};

// One straight segment over n A-scans with its upper boundary at depth 5 and its search limit at 150.
// The response is 1 with a peak at 20 and single-sample valleys from `rows`; valleys 30 apart keep every
// snap window on one valley, so the later passes leave points on valleys where they are.
std::unique_ptr<VelinDetectorIpp> traceRows(int n, const Rows& rows, Options o = {}) {
    auto d = makeDetector(192, n, 1.0f);
    d->fewScansMode = o.fewScans;
    d->filterStageMark = o.filterMark;
    Segment segment;
    for (int a = 0; a < n; ++a) {
        float* row = d->responseImage.getRow(a);
        row[20] = 2.0f;
        for (const Dip& dip : rows(a)) row[dip.depth] = dip.value;
        segment.push_back(UpperPoint{5, a, 150, a, o.weight});
    }
    d->upperSegments.push_back(segment);
    EXPECT_TRUE(d->traceBoundaries());
    return d;
}

std::vector<int> lowerDepths(const VelinDetectorIpp& d) { return depthsOf(d.lowerTraces[0]); }

bool isPlaceholder(const ExtremumRecord& r) { return r.depth == 0 && r.aScan == 0 && r.value == 0.0f; }

}  // namespace

TEST(BoundaryTracing, FailsWithoutPointsAndLeavesTheResponseRangeAlone) {
    VelinDetectorIpp d;
    d.responseMin = d.responseMax = 7.0f;
    EXPECT_FALSE(d.traceBoundaries());
    d.upperSegments.push_back(Segment{});
    EXPECT_FALSE(d.traceBoundaries());
    EXPECT_EQ(d.responseMin, 7.0f);
    EXPECT_EQ(d.responseMax, 7.0f);
}

TEST(BoundaryTracing, BendTestMeasuresReliableLimitsAgainstTheChord) {
    VelinDetectorIpp d;
    Segment s;
    for (int a = 0; a <= 20; ++a) s.push_back(UpperPoint{0, a, 100, a, 1.0f});
    s[7].limitDepth = s[12].limitDepth = 106;  // 6 samples off a chord of 20: 0.3 chord lengths
    int farthest = -1;
    EXPECT_FALSE(d.isBentSegment(s, 0.4, farthest));
    EXPECT_EQ(farthest, 0);
    EXPECT_TRUE(d.isBentSegment(s, 0.2, farthest));
    EXPECT_EQ(farthest, 7);
    s[7].weight = s[12].weight = 0.0f;
    EXPECT_FALSE(d.isBentSegment(s, 0.2, farthest));
    EXPECT_FALSE(d.isBentSegment(Segment{s[3]}, 0.2, farthest));
}

TEST(BoundaryTracing, APointWithoutNegativeMinimumKeepsItsOwnDepthWithWeightZero) {
    auto d = traceRows(30, [](int) { return std::vector<Dip>{{40, 0.5f}, {70, 0.0f}}; });
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(d->lowerTraces[0][i].depth, 5);
        EXPECT_EQ(d->lowerTraces[0][i].aScan, i);
        EXPECT_EQ(d->lowerWeights[0][i], 0.0f);
        ASSERT_EQ(d->candidateLists[0][i].size(), 1u);
        EXPECT_TRUE(isPlaceholder(d->candidateLists[0][i][0]));
    }
    d = traceRows(30, [](int a) { return std::vector<Dip>{{40, a == 15 ? 0.5f : -1.0f}}; });
    EXPECT_EQ(d->lowerWeights[0][15], 0.0f);
    EXPECT_GT(d->lowerWeights[0][14], 0.0f);
    EXPECT_TRUE(isPlaceholder(d->candidateLists[0][15][0]));
}

TEST(BoundaryTracing, AZeroMinimumIsACandidateButNeverTheFirstNegativeMinimum) {
    auto d = traceRows(30, [](int) { return std::vector<Dip>{{40, 0.0f}, {70, -1.0f}, {100, 0.0f}, {130, -2.0f}}; });
    for (int i = 0; i < 30; ++i) {
        const auto& k = d->candidateLists[0][i];
        ASSERT_EQ(k.size(), 3u);
        EXPECT_EQ(k[0].depth, 70);
        EXPECT_EQ(k[1].depth, 100);
        EXPECT_EQ(k[1].value, 0.0f);
        EXPECT_EQ(k[2].depth, 130);
    }
    // The zero-valued alternative comes first and blocks the deeper one; its significance is never met.
    EXPECT_EQ(lowerDepths(*d), std::vector<int>(30, 70));
}

// Each case is traced twice: once where only the margin rule can keep the first valley, and once where
// the valleys alone force the same choices. Every later pass treats both alike, so the final traces agree
// exactly when the margin covers exactly the expected points.
TEST(BoundaryTracing, MarginPointsKeepTheFirstNegativeMinimum) {
    const int n = 80;
    for (int fewScans : {0, 1}) {
        SCOPED_TRACE(fewScans);
        auto keeps = [&](int i) { return fewScans ? i == 0 : (i <= 10 || i >= n - 10); };
        Options o;
        o.fewScans = fewScans;
        auto byRule = traceRows(n, [](int) { return std::vector<Dip>{{40, -1}, {70, -3}, {100, -0.5f}, {130, -0.5f}}; }, o);
        auto byData = traceRows(n, [&](int a) {
            return keeps(a) ? std::vector<Dip>{{40, -1}, {70, 0.5f}, {100, -0.5f}, {130, -0.5f}}
                            : std::vector<Dip>{{40, 0.0f}, {70, -3}, {100, -0.5f}, {130, -0.5f}};
        }, o);
        EXPECT_EQ(lowerDepths(*byRule), lowerDepths(*byData));
        EXPECT_EQ(byRule->lowerTraces[0][40].depth, 70);
    }
}

TEST(BoundaryTracing, UnreliablePointsTakeTheSecondToLastAlternativeWhateverItsSignificance) {
    const int n = 80;
    auto keeps = [&](int i) { return i <= 10 || i >= n - 10; };
    const std::vector<Dip> dips{{40, -1}, {70, -0.2f}, {100, -0.1f}, {130, -0.3f}};
    Options unreliable;
    unreliable.weight = 0.0f;
    auto byRule = traceRows(n, [&](int) { return dips; }, unreliable);
    auto byData = traceRows(n, [&](int a) {
        return keeps(a) ? dips : std::vector<Dip>{{40, 0.5f}, {70, 0.5f}, {100, -0.1f}, {130, -0.3f}};
    }, unreliable);
    EXPECT_EQ(lowerDepths(*byRule), lowerDepths(*byData));
    EXPECT_EQ(byRule->lowerTraces[0][40].depth, 100);
    // Reliable points keep the first valley, as no alternative is significant.
    EXPECT_EQ(lowerDepths(*traceRows(n, [&](int) { return dips; })), std::vector<int>(n, 40));
}

TEST(BoundaryTracing, SignificanceThresholdIsLowerAbove512AScansOnCleanBScans) {
    // The deeper valley is 0.4 below the first relative to itself: enough against 0.3, not against 0.5.
    const Rows rows = [](int) { return std::vector<Dip>{{40, -1.0f}, {70, -1.0f / 0.6f}}; };
    EXPECT_EQ(traceRows(513, rows)->lowerTraces[0][256].depth, 70);
    EXPECT_EQ(traceRows(512, rows)->lowerTraces[0][256].depth, 40);
    Options marked;
    marked.filterMark = 1;
    EXPECT_EQ(traceRows(513, rows, marked)->lowerTraces[0][256].depth, 40);
}

TEST(BoundaryTracing, TracesStayAlignedBelowTheUpperBoundaryAndNormalisedOnNoisyData) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    std::uniform_int_distribution<int> step(-2, 2), level(0, 255), reach(40, 70);
    for (int fewScans : {0, 1}) {
        for (int n : {200, 600}) {
            SCOPED_TRACE(testing::Message() << "few " << fewScans << " n " << n);
            auto d = makeDetector(160, n);
            d->fewScansMode = fewScans;
            for (int y = 0; y < n; ++y) {
                for (int x = 0; x < 160; ++x) {
                    d->responseImage.getRow(y)[x] = noise(rng);
                    d->intensityImage.getRow(y)[x] = static_cast<std::uint8_t>(level(rng));
                }
            }
            for (int s = 0; s < 2; ++s) {
                Segment segment;
                int depth = 30;
                for (int a = s * n / 2; a < (s + 1) * n / 2; ++a) {
                    depth = std::clamp(depth + step(rng), 10, 50);
                    segment.push_back(UpperPoint{depth, a, depth + reach(rng), a, (a % 7 == 0) ? 0.0f : 1.0f});
                }
                d->upperSegments.push_back(segment);
            }
            ASSERT_TRUE(d->traceBoundaries());
            ASSERT_EQ(d->lowerTraces.size(), 2u);
            for (std::size_t k = 0; k < 2; ++k) {
                const std::size_t size = d->upperTraces[k].size();
                ASSERT_EQ(size, static_cast<std::size_t>(n / 2));
                ASSERT_EQ(d->lowerTraces[k].size(), size);
                ASSERT_EQ(d->upperResponses[k].size(), size);
                ASSERT_EQ(d->lowerWeights[k].size(), size);
                ASSERT_EQ(d->candidateLists[k].size(), size);
                // The last few-scans smoothing comes after the final clamp, so the order holds in normal mode.
                for (std::size_t i = 0; i < size && !fewScans; ++i) {
                    EXPECT_GE(d->lowerTraces[k][i].depth, d->upperTraces[k][i].depth) << i;
                }
            }
            float greatest = 0.0f;
            for (const auto& list : d->lowerWeights) for (float w : list) greatest = std::max(greatest, w);
            EXPECT_EQ(greatest, 1.0f);
        }
    }
}
