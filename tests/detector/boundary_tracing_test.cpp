#include "DetectorTestHelpers.h"

#include <random>

namespace {

using Dips = std::vector<std::pair<int, float>>;  // single-sample valleys: depth, value
using Marked = std::function<bool(int aScan)>;

// One straight segment over n A-scans with its upper boundary at depth 5 and its search limit at 150. The
// response is 1 with a peak at 20 and single-sample valleys 30 apart (`dips` in the marked A-scans, `elsewhere`
// in the others), so that every snap window holds one valley at most and the later passes leave points on
// valleys where they are. The scene can be changed before run() traces it.
struct Scene {
    std::unique_ptr<VelinDetectorIpp> d;
    Scene(int n, const Dips& dips, const Marked& marked = nullptr, const Dips& elsewhere = {}, float weight = 1.0f,
          int fewScans = 0)
        : d(makeDetector(192, n, 1.0f)) {
        d->fewScansMode = fewScans;
        Segment segment;
        for (int a = 0; a < n; ++a) {
            float* row = d->responseImage.getRow(a);
            row[20] = 2.0f;
            for (const auto& dip : !marked || marked(a) ? dips : elsewhere) row[dip.first] = dip.second;
            segment.push_back(UpperPoint{5, a, 150, a, weight});
        }
        d->upperSegments.push_back(segment);
    }
    // The same intensity profile along every A-scan.
    void intensity(const std::function<int(int depth)>& profile) {
        fillImage(d->intensityImage, 192, d->numAScans, [&](int x, int) { return profile(x); });
    }
    Ints run() {
        EXPECT_TRUE(d->traceBoundaries());
        return depthsOf(d->lowerTraces[0]);
    }
};

Ints traced(int n, const Dips& dips, const Marked& marked = nullptr, const Dips& elsewhere = {}, float weight = 1.0f,
            int fewScans = 0) {
    return Scene(n, dips, marked, elsewhere, weight, fewScans).run();
}

}  // namespace

TEST(BoundaryTracing, CandidatesAreTheMinimaAndOnlyANegativeOneIsTheFirst) {
    // A point whose minima are all non-negative keeps its own depth with weight 0 and an all-zero candidate.
    Scene positive(30, {{40, 0.5f}, {70, 0.0f}});
    EXPECT_EQ(positive.run(), Ints(30, 5));
    for (int i = 0; i < 30; ++i) {
        const CandidateList& k = positive.d->candidateLists[0][i];
        EXPECT_TRUE(positive.d->lowerWeights[0][i] == 0.0f && k.size() == 1 && k[0].depth == 0 && k[0].aScan == 0 &&
                    k[0].value == 0.0f);
    }
    // A zero minimum is a candidate: the zero-valued alternative comes first and blocks the deeper one, whose
    // significance is never met.
    Scene zero(30, {{40, 0.0f}, {70, -1.0f}, {100, 0.0f}, {130, -2.0f}});
    EXPECT_EQ(zero.run(), Ints(30, 70));
    EXPECT_EQ(depthsOf(zero.d->candidateLists[0][15]), (Ints{70, 100, 130}));
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

// Noise at 512 A-scans, where every pass runs, in two segments with unreliable points here and there: the weights
// peak at 1. The filter stage's mark changes nothing at this width but the last bridging, which it skips:
// bridging the marked B-scan's traces once more gives the others. That bridging is also what puts the lower
// boundary back under the upper one after the smoothing of the line-guided pass.
TEST(BoundaryTracing, OnNoiseLowerStaysBelowUpperWeightsPeakAtOneAndTheMarkSkipsTheLastBridging) {
    std::vector<std::vector<Ints>> lower;
    for (int mark : {0, 1}) {
        std::mt19937 rng(7);
        std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
        std::uniform_int_distribution<int> step(-2, 2), reach(40, 70);
        auto d = makeDetector(160, 512);
        fillImage(d->responseImage, 160, 512, [&](int, int) { return noise(rng); });
        for (int s = 0; s < 2; ++s) {
            Segment segment;
            for (int a = s * 256, depth = 30; a < (s + 1) * 256; ++a) {
                depth = std::clamp(depth + step(rng), 10, 50);
                segment.push_back(UpperPoint{depth, a, depth + reach(rng), a, a % 7 ? 1.0f : 0.0f});
            }
            d->upperSegments.push_back(segment);
        }
        d->filterStageMark = mark;
        ASSERT_TRUE(d->traceBoundaries());
        float greatest = 0.0f;
        for (std::size_t k = 0; k < 2; ++k) {
            ASSERT_EQ(d->lowerTraces[k].size(), 256u);
            for (std::size_t i = 0; i < 256; ++i) {
                if (!mark) {
                    EXPECT_GE(d->lowerTraces[k][i].depth, d->upperTraces[k][i].depth) << k << " " << i;
                }
                greatest = std::max(greatest, d->lowerWeights[k][i]);
            }
        }
        EXPECT_EQ(greatest, 1.0f);
        for (int pass = 0; pass <= mark; ++pass) {
            if (pass == 1) d->bridgeWeakRuns();
            lower.push_back({depthsOf(d->lowerTraces[0]), depthsOf(d->lowerTraces[1])});
        }
    }
    EXPECT_NE(lower[1], lower[0]);
    EXPECT_EQ(lower[2], lower[0]);
}

// Segments of one point are dropped; a B-scan with nothing else fails.
TEST(BoundaryTracing, OnePointSegmentsAreDropped) {
    Scene s(30, {{40, -1.0f}});
    s.d->upperSegments = {Segment{UpperPoint{5, 3, 150, 3, 1.0f}}, s.d->upperSegments[0]};
    s.run();
    EXPECT_EQ(Ints({int(s.d->lowerTraces.size()), int(s.d->upperTraces[0].size())}), Ints({1, 30}));
    s.d->upperSegments = {Segment{UpperPoint{5, 3, 150, 3, 1.0f}}};
    EXPECT_FALSE(s.d->traceBoundaries());
}

// The candidates run to the last minimum, to the one before it on an irregular B-scan (two segments, or one
// whose reliable search limits leave the chord by more than 0.4 chord lengths) and, in few-scans volumes, to
// the one before the last two, or before the last on a B-scan the filter stage marked.
TEST(BoundaryTracing, CandidatesStopShortOfTheDeepestMinimaOnIrregularAndFewScanBScans) {
    // The limit of point 40 moves off the chord of 79 A-scans by 25 (0.32 chord lengths) or 40 (0.51).
    const struct {
        int fewScans, mark, segments, offset;
        float weight;
        Ints candidates;
    } cases[] = {
        {0, 1, 1, 25, 1, {40, 70, 100, 130}}, {0, 0, 1, 40, 1, {40, 70, 100}}, {0, 0, 1, 40, 0, {40, 70, 100, 130}},
        {0, 0, 2, 0, 1, {40, 70, 100}},       {1, 0, 1, 0, 1, {40, 70}},       {1, 1, 2, 0, 1, {40, 70, 100}}};
    for (const auto& c : cases) {
        Scene s(80, {{40, -1}, {70, -1}, {100, -1}, {130, -1}}, nullptr, {}, 1.0f, c.fewScans);
        Segment& segment = s.d->upperSegments[0];
        segment[40].limitDepth += c.offset;
        segment[40].weight = c.weight;
        if (c.segments == 2) s.d->upperSegments.push_back(Segment(segment));  // a second segment
        s.d->filterStageMark = c.mark;
        s.run();
        EXPECT_EQ(depthsOf(s.d->candidateLists[0][20]), c.candidates) << c.fewScans << c.mark << c.segments << c.offset;
    }
}

// A deeper valley (value -1.45 below a first one of -1) is significant at 0.3 ((-1 + 1.45) / 1.45 = 0.31), which
// applies only above 512 A-scans on a B-scan that is regular and not marked; otherwise 0.5 applies.
TEST(BoundaryTracing, ThreeTenthsSignificanceAboveFiveHundredTwelveAScansOnRegularUnmarkedBScans) {
    const struct {
        int n, mark, offset, depth;
    } cases[] = {{513, 0, 0, 70}, {512, 0, 0, 40}, {513, 1, 0, 40}, {513, 0, 300, 40}};
    for (const auto& c : cases) {
        Scene s(c.n, {{40, -1}, {70, -1.45f}, {130, -0.5f}});
        s.d->filterStageMark = c.mark;
        s.d->upperSegments[0][c.n / 2].limitDepth += c.offset;  // 300 bends the segment
        EXPECT_EQ(s.run()[c.n / 4], c.depth) << c.n << " " << c.mark << " " << c.offset;
    }
}

// The first valley lies at 40, a deeper one (-3) at 70 and in the last cases a third (-4) at 100. R = 100 is the
// layer just below the upper points (depth 10; 90 above it). A valley's darkness term is the intensity 3 above it
// minus R, its contrast the intensity 7 below it minus 7 above it; the first valley's are -40 and 0 unless set.
TEST(BoundaryTracing, ADeeperValleyMustEndTheLayerAsWellAsTheFirstOrNearlySoWithTwiceTheContrastAndImprove) {
    using Levels = std::vector<std::pair<int, int>>;  // depth, intensity; 100 elsewhere
    const struct {
        const char* what;
        Levels levels;
        float third;
        int depth;
    } cases[] = {
        {"darkness -30", {{67, 70}}, 0, 70},
        {"darkness -40 against contrast 10", {{47, 110}, {67, 60}}, 0, 70},
        {"darkness -59 (19 off, less than R / 5) with contrast 20 against 10", {{47, 110}, {67, 41}, {77, 120}}, 0, 70},
        {"contrast 19 against 10", {{47, 110}, {67, 41}, {77, 119}}, 0, 40},
        {"darkness -60 (20 off, R / 5)", {{47, 110}, {67, 40}, {77, 120}}, 0, 40},
        {"third no better in darkness (-35) nor contrast (0)", {{67, 70}, {97, 65}}, -4, 70},
        {"third better in darkness (-25)", {{67, 70}, {97, 75}}, -4, 100},
        {"third better in contrast (-1)", {{67, 70}, {97, 65}, {107, 99}}, -4, 100}};
    for (const auto& c : cases) {
        Dips dips{{40, -1}, {70, -3}};
        if (c.third != 0) dips.push_back({100, c.third});
        Scene s(80, dips);
        s.intensity([&](int x) {
            for (const auto& level : c.levels)
                if (level.first == x) return level.second;
            return x == 37 ? 60 : x < 10 ? 90 : 100;
        });
        EXPECT_EQ(s.run()[40], c.depth) << c.what;
    }
}

// In a few-scans volume the upper trace is smoothed too, with the tracing's length: an upper boundary raised
// by 4 samples over eight A-scans survives length 7 (its centre averaged down to 8), but not 21, which applies
// from 1000 A-scans on.
TEST(BoundaryTracing, SmoothingLengthIsTwentyOneFromAThousandAScans) {
    for (int n : {999, 1000}) {
        Scene s(n, {{40, -1}, {70, -1}, {100, -1}}, nullptr, {}, 1.0f, 1);
        for (int a = 500; a < 508; ++a) s.d->upperSegments[0][a].depth = 9;
        s.run();
        EXPECT_EQ(s.d->upperTraces[0][503].depth, n < 1000 ? 8 : 5) << n;
    }
}

// Row 0 of the response reads -(depth + 1). Values below 1e-6 in magnitude are no values and stay; the rest are
// re-read at the points' present positions over the scale, which drops the lower points' old confidence, and
// each list is divided by its greatest value. Without a scale nothing changes at all.
TEST(TraceWeights, RefreshRereadsPresentPositionsKeepsNoValuesAndNeedsAScale) {
    auto d = makeDetector(8, 4);
    fillImage(d->responseImage, 8, 4, [](int x, int y) { return y == 0 ? -(x + 1.0f) : 0.0f; });
    auto refreshed = [&](double scale) {
        d->upperTraces = {traceOf({1, 2, 5}), traceOf({3})};
        d->upperResponses = {ValueList{0.5f, 0.0f, 5e-7f}, ValueList{0.2f}};
        d->lowerTraces = {traceOf({4}), traceOf({6})};
        d->lowerWeights = {ValueList{0.9f}, ValueList{0.1f}};
        d->refreshTraceWeights(scale);
        Floats out;
        for (const auto* list : {&d->upperResponses, &d->lowerWeights})
            for (const ValueList& values : *list) out.insert(out.end(), values.begin(), values.end());
        return out;
    };
    // |-2 / 10| and |-4 / 10| over 0.4; |-5 / 10| and |-7 / 10| over 0.7.
    const Floats expected{0.5f, 0.0f, 5e-7f / 0.4f, 1.0f, 5.0f / 7.0f, 1.0f}, got = refreshed(10.0);
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_FLOAT_EQ(got[i], expected[i]) << i;
    EXPECT_EQ(refreshed(5e-7), Floats({0.5f, 0.0f, 5e-7f, 0.2f, 0.9f, 0.1f}));
}

TEST(TraceWeights, NormaliseDividesByTheGreatestValueUnlessItIsZero) {
    using Lists = std::vector<Floats>;
    const struct {
        Lists in, out;
    } cases[] = {{{}, {}},
                 {{{}}, {{}}},
                 {{{0.0f, -0.5f}}, {{0.0f, -0.5f}}},
                 {{{-2.0f, -4.0f}}, {{1.0f, 2.0f}}},
                 {{{0.5f}, {2.0f, 0.0f}}, {{0.25f}, {1.0f, 0.0f}}}};
    for (const auto& c : cases) {
        CheckedList<ValueList> values;
        for (const Floats& list : c.in) {
            values.push_back({});
            for (float v : list) values.back().push_back(v);
        }
        VelinDetectorIpp().normaliseToMaximum(values);
        Lists out;
        for (const ValueList& list : values) out.push_back(Floats(list.begin(), list.end()));
        EXPECT_EQ(out, c.out) << c.in.size();
    }
}
