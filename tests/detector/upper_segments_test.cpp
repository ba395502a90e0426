#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;

namespace {
constexpr int kWidth = 400;
constexpr int kHeight = 30;

enum class Profile { Layered, FlatValley, NoSecondBand, NoDarkValley, Ramp, Zero };

// Filtered A-scans below an upper point at depth 50: a top layer peaking at 60 and, for the layered
// profiles, a second band at 250..269 with the dark valley between them.
void fillRow(float* f, Profile profile) {
    for (int x = 0; x < kWidth; ++x) f[x] = profile == Profile::Zero ? 0.0f : 10.0f;
    if (profile == Profile::Zero) return;
    if (profile == Profile::Ramp) {
        for (int x = 0; x < 75; ++x) f[x] = static_cast<float>(x);
        f[75] = 1000.0f;
        for (int x = 76; x < kWidth; ++x) f[x] = 0.0f;
        return;
    }
    for (int x = 55; x <= 70; ++x) f[x] = 80.0f;
    if (profile == Profile::NoDarkValley)
        for (int x = 71; x < 250; ++x) f[x] = 80.0f;
    f[60] = 100.0f;
    if (profile == Profile::NoSecondBand) return;
    for (int x = 250; x < 270; ++x) f[x] = 90.0f;
    if (profile == Profile::Layered) f[200] = 5.0f;
}

struct SegmentScene {
    VelinDetectorIpp detector;

    SegmentScene() {
        detector.filteredImage.allocate(kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) fillRow(detector.filteredImage.getRow(y), Profile::Layered);
        detector.minPointCount = 1;
    }
    void profile(int row, Profile p) { fillRow(detector.filteredImage.getRow(row), p); }
    void chain(int firstRow, int lastRow, int depth) {
        Trace t;
        for (int y = firstRow; y <= lastRow; ++y) t.push_back(BoundaryPoint{depth, y});
        detector.upperTraces.push_back(t);
    }
};
}  // namespace

TEST(BuildUpperSegments, LimitsFollowThePeakTheSecondBandAndTheValley) {
    SegmentScene scene;
    scene.profile(4, Profile::FlatValley);
    scene.profile(5, Profile::NoSecondBand);
    scene.profile(6, Profile::NoDarkValley);
    scene.chain(0, 11, 50);
    ASSERT_TRUE(scene.detector.buildUpperSegments());
    ASSERT_EQ(scene.detector.upperSegments.size(), 1u);

    // The first and last chain points give no record, and the run leaves out the last record (row 10).
    const Segment& s = scene.detector.upperSegments[0];
    ASSERT_EQ(s.size(), 9u);
    const std::vector<int> limit{200, 200, 200, 249, 60, 369, 200, 200, 200};
    const std::vector<float> weight{1, 1, 1, 1, 0, 0, 1, 1, 1};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(s[i].aScan, i + 1);
        EXPECT_EQ(s[i].limitAScan, i + 1);
        EXPECT_EQ(s[i].depth, 50);
        EXPECT_EQ(s[i].limitDepth, limit[i]) << "row " << i + 1;
        EXPECT_EQ(s[i].weight, weight[i]) << "row " << i + 1;
    }
}

TEST(BuildUpperSegments, ASegmentNeedsHalfTheMinimumPointCountOfStrongPoints) {
    // Rows 1..10 give 10 records; 8 of them are strong (rows 5 and 6 are not).
    for (int minimum : {16, 18}) {
        SegmentScene scene;
        scene.profile(5, Profile::NoSecondBand);
        scene.profile(6, Profile::NoDarkValley);
        scene.detector.minPointCount = minimum;
        scene.chain(0, 11, 50);
        EXPECT_EQ(scene.detector.buildUpperSegments(), minimum == 16);
    }
}

TEST(BuildUpperSegments, RunsBreakOnlyOnJumpsInBothDepthAndAScan) {
    // Rows 1..8 at depth 50, then rows 11..19 three A-scans later at depth 53 or 51.
    SegmentScene scene;
    for (int secondDepth : {53, 51}) {
        Trace t;
        for (int y = 1; y <= 8; ++y) t.push_back(BoundaryPoint{50, y});
        for (int y = 11; y <= 19; ++y) t.push_back(BoundaryPoint{secondDepth, y});
        scene.detector.upperTraces.push_back(t);
    }

    ASSERT_TRUE(scene.detector.buildUpperSegments());
    ASSERT_EQ(scene.detector.upperSegments.size(), 2u);
    // Broken: the run of rows 2..8 has 6 steps and is dropped; rows 11..18 have 7 and keep all but row 18.
    const Segment& broken = scene.detector.upperSegments[0];
    ASSERT_EQ(broken.size(), 7u);
    EXPECT_EQ(broken.front().aScan, 11);
    EXPECT_EQ(broken.back().aScan, 17);
    // A depth step of 1 keeps one run: rows 2..8 and 11..17.
    const Segment& joined = scene.detector.upperSegments[1];
    ASSERT_EQ(joined.size(), 14u);
    EXPECT_EQ(joined.front().aScan, 2);
    EXPECT_EQ(joined.back().aScan, 17);
}

TEST(BuildUpperSegments, AShrunkWindowIsCarriedToTheNextChain) {
    // Without the deep chain, the window of 100 finds the peak at 75; after a point at depth 360 the
    // window is 400 - 360 - 2 = 38, so the peak is sought only up to 50 + 19 and found at 68.
    for (bool withDeepChain : {false, true}) {
        SegmentScene scene;
        for (int y = 0; y < kHeight; ++y) scene.profile(y, Profile::Ramp);
        scene.profile(25, Profile::Zero);
        if (withDeepChain) scene.chain(24, 26, 360);
        scene.chain(0, 11, 50);
        ASSERT_TRUE(scene.detector.buildUpperSegments());
        ASSERT_EQ(scene.detector.upperSegments.size(), 1u);
        for (const UpperPoint& p : scene.detector.upperSegments[0]) {
            EXPECT_EQ(p.limitDepth, withDeepChain ? 68 : 75);
            EXPECT_EQ(p.weight, 0.0f);
        }
    }
}

TEST(BuildUpperSegments, ShortChainsAreIgnored) {
    SegmentScene scene;
    EXPECT_FALSE(scene.detector.buildUpperSegments());
    scene.chain(3, 3, 50);
    scene.chain(5, 6, 50);
    EXPECT_FALSE(scene.detector.buildUpperSegments());
    EXPECT_TRUE(scene.detector.upperSegments.empty());
}
