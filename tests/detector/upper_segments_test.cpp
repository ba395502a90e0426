#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;

namespace {
constexpr int kWidth = 400;
constexpr int kHeight = 30;

enum class Profile { Layered, FlatValley, NoSecondBand, NoDarkValley, Ramp, Zero };

// Filtered A-scans below upper points at depth ~50: a top layer peaking at 60 and, in the layered profiles,
// a second band at 250..269 with a dark valley between (dipping to 5 at 200 in Layered). Ramp rises to 74
// at 74 with a single bright sample at 75.
void fillRow(float* f, Profile profile) {
    for (int x = 0; x < kWidth; ++x) f[x] = profile == Profile::Zero ? 0.0f : 10.0f;
    if (profile == Profile::Zero) return;
    if (profile == Profile::Ramp) {
        for (int x = 0; x < kWidth; ++x) f[x] = x < 75 ? static_cast<float>(x) : 0.0f;
        f[75] = 1000.0f;
        return;
    }
    for (int x = 55; x < (profile == Profile::NoDarkValley ? 250 : 71); ++x) f[x] = 80.0f;
    f[60] = 100.0f;
    if (profile == Profile::NoSecondBand) return;
    for (int x = 250; x < 270; ++x) f[x] = 90.0f;
    if (profile == Profile::Layered) f[200] = 5.0f;
}

struct SegmentScene {
    VelinDetectorIpp d;
    explicit SegmentScene(Profile all = Profile::Layered) {
        d.filteredImage.allocate(kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) fillRow(d.filteredImage.getRow(y), all);
        d.minPointCount = 1;
    }
    // A chain of points at `depth` in the rows first..last, then (optionally) in the rows first2..last2.
    void chain(int first, int last, int depth, int first2 = 1, int last2 = 0, int depth2 = 0) {
        Trace t;
        for (int y = first; y <= last; ++y) t.push_back(BoundaryPoint{depth, y});
        for (int y = first2; y <= last2; ++y) t.push_back(BoundaryPoint{depth2, y});
        d.upperTraces.push_back(t);
    }
};
}  // namespace

TEST(BuildUpperSegments, LimitsFollowThePeakTheSecondBandAndTheValley) {
    for (int minimum : {16, 18}) {
        SegmentScene s;
        fillRow(s.d.filteredImage.getRow(4), Profile::FlatValley);
        fillRow(s.d.filteredImage.getRow(5), Profile::NoSecondBand);
        fillRow(s.d.filteredImage.getRow(6), Profile::NoDarkValley);
        s.chain(0, 11, 50);
        s.d.minPointCount = minimum;
        // Rows 1..10 give records, 8 of them strong: enough for 16 but not for 18 as the minimum count.
        ASSERT_EQ(s.d.buildUpperSegments(), minimum == 16);
        if (minimum == 18) continue;

        // The run leaves out the last record (row 10).
        const Segment& seg = s.d.upperSegments[0];
        ASSERT_EQ(seg.size(), 9u);
        const std::vector<int> limit{200, 200, 200, 249, 60, 369, 200, 200, 200};
        const std::vector<float> weight{1, 1, 1, 1, 0, 0, 1, 1, 1};
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(seg[i].aScan, i + 1);
            EXPECT_EQ(seg[i].limitAScan, i + 1);
            EXPECT_EQ(seg[i].limitDepth, limit[i]) << "row " << i + 1;
            EXPECT_EQ(seg[i].weight, weight[i]) << "row " << i + 1;
        }
    }
}

TEST(BuildUpperSegments, RunsBreakOnlyOnJumpsInBothDepthAndAScan) {
    // Rows 1..8 at depth 50, then rows 11..19 at depth 53 (a break) or 51 (no break). Records cover rows
    // 2..8 (6 steps: too short) and 11..18 (7 steps: kept, but for its last record).
    SegmentScene s;
    s.chain(1, 8, 50, 11, 19, 53);
    s.chain(1, 8, 50, 11, 19, 51);
    s.chain(3, 3, 50);  // chains of one or two points are ignored
    s.chain(5, 6, 50);
    ASSERT_TRUE(s.d.buildUpperSegments());
    ASSERT_EQ(s.d.upperSegments.size(), 2u);
    const Segment& broken = s.d.upperSegments[0];
    EXPECT_EQ(broken.size(), 7u);
    EXPECT_EQ(broken.front().aScan, 11);
    EXPECT_EQ(broken.back().aScan, 17);
    const Segment& joined = s.d.upperSegments[1];
    EXPECT_EQ(joined.size(), 14u);
    EXPECT_EQ(joined.front().aScan, 2);
}

TEST(BuildUpperSegments, AShrunkWindowIsCarriedToTheNextChain) {
    // Alone, the chain at depth 50 finds the peak at 75 within the window of 100. After a point at depth 360
    // the window is 400 - 360 - 2 = 38, so the peak is sought only up to 50 + 19 and found at 68.
    for (bool deepChainFirst : {false, true}) {
        SegmentScene s(Profile::Ramp);
        fillRow(s.d.filteredImage.getRow(25), Profile::Zero);
        if (deepChainFirst) s.chain(24, 26, 360);
        s.chain(0, 11, 50);
        ASSERT_TRUE(s.d.buildUpperSegments());
        for (const UpperPoint& p : s.d.upperSegments[0]) EXPECT_EQ(p.limitDepth, deepChainFirst ? 68 : 75);
    }
}
