#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;

namespace {
Trace traceOf(const std::vector<int>& depths, int firstAScan = 0, int aScanStep = 1) {
    Trace t;
    for (std::size_t i = 0; i < depths.size(); ++i)
        t.push_back(BoundaryPoint{depths[i], firstAScan + static_cast<int>(i) * aScanStep});
    return t;
}

std::vector<int> depthsOf(const Trace& t) {
    std::vector<int> d;
    for (const BoundaryPoint& p : t) d.push_back(p.depth);
    return d;
}
}  // namespace

TEST(SmoothDepths, ShortTracesLeaveTheCentreOutOfItsOwnAverage) {
    VelinDetectorIpp detector;
    Trace three = traceOf({10, 50, 21}, 4);
    detector.smoothDepths(three, 7);
    EXPECT_EQ(depthsOf(three), (std::vector<int>{10, 15, 21}));
    EXPECT_EQ(three[2].aScan, 6);

    Trace two = traceOf({10, 50});
    detector.smoothDepths(two, 7);
    EXPECT_EQ(depthsOf(two), (std::vector<int>{10, 50}));
}

TEST(SmoothDepths, TenPointsWithLengthSevenUseWindowFour) {
    // n = 10 < 2 * 7 gives a window of 4, which the median treats as 3.
    VelinDetectorIpp detector;
    Trace t = traceOf({10, 30, 12, 14, 40, 16, 18, 20, 50, 22});
    detector.smoothDepths(t, 7);
    EXPECT_EQ(depthsOf(t), (std::vector<int>{10, 11, 13, 14, 16, 17, 18, 19, 21, 22}));
}

TEST(SmoothDepths, LongTracesUseTheFullWindow) {
    // A three-sample spike survives a median of 5 but not one of 7.
    VelinDetectorIpp detector;
    std::vector<int> depths(20, 50);
    depths[9] = depths[10] = depths[11] = 80;
    Trace t = traceOf(depths);
    detector.smoothDepths(t, 7);
    EXPECT_EQ(depthsOf(t), std::vector<int>(20, 50));
}

TEST(SnapToResponseMinimum, MovesToTheShallowestLeastValueAwayFromTheFrame) {
    VelinDetectorIpp detector;
    detector.responseImage.allocate(30, 2);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 30; ++x) detector.responseImage.getRow(y)[x] = 0.0f;
    float* row = detector.responseImage.getRow(1);
    row[12] = row[17] = -3.0f;  // equal minima: the shallower wins
    row[2] = row[27] = -9.0f;   // near the frame: only points whose window still fits may reach them

    Trace t{{15, 1}, {5, 1}, {25, 1}, {6, 1}, {24, 1}};
    detector.snapToResponseMinimum(detector.responseImage, t, 5);
    EXPECT_EQ(depthsOf(t), (std::vector<int>{12, 5, 25, 2, 27}));

    Trace unchanged{{15, 1}};
    detector.snapToResponseMinimum(detector.responseImage, unchanged, 30);
    EXPECT_EQ(unchanged[0].depth, 15);
}

TEST(BridgeBelowMeanWeight, WeakRunsFollowTheLineBetweenTheirAnchors) {
    VelinDetectorIpp detector;
    // Mean 0.6: points 1 and 2 are bridged from (20, a=0) to (10, a=3), truncating toward zero.
    Trace falling = traceOf({20, 99, 99, 10, 10});
    detector.bridgeBelowMeanWeight(falling, ValueList{1, 0, 0, 1, 1});
    EXPECT_EQ(depthsOf(falling), (std::vector<int>{20, 17, 14, 10, 10}));

    // The first point anchors even when weak; a run reaching the end is anchored at the last point.
    Trace ends = traceOf({0, 99, 30, 30, 99, 99, 60});
    detector.bridgeBelowMeanWeight(ends, ValueList{0, 0, 1, 1, 0, 0, 0});
    EXPECT_EQ(depthsOf(ends), (std::vector<int>{0, 15, 30, 30, 40, 50, 60}));

    // The slope is per A-scan, whichever way the trace runs.
    Trace leftward = traceOf({20, 99, 99, 30}, 10, -1);
    detector.bridgeBelowMeanWeight(leftward, ValueList{1, 0, 0, 1});
    EXPECT_EQ(depthsOf(leftward), (std::vector<int>{20, 23, 26, 30}));

    Trace mismatched = traceOf({20, 99, 10});
    detector.bridgeBelowMeanWeight(mismatched, ValueList{1, 0});
    EXPECT_EQ(depthsOf(mismatched), (std::vector<int>{20, 99, 10}));
}
