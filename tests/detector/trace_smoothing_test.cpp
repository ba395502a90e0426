#include "UpperPreparationHelpers.h"

#include <gtest/gtest.h>

using namespace Orvan::Velin;
using upper_test::depthsOf;
using upper_test::traceOf;
using Depths = std::vector<int>;

TEST(SmoothDepths, TheWindowFollowsTheTraceLengthAndTheCentreIsLeftOut) {
    VelinDetectorIpp d;
    Trace three = traceOf({10, 50, 21}, 4);
    d.smoothDepths(three, 7);
    EXPECT_EQ(depthsOf(three), (Depths{10, 15, 21}));
    EXPECT_EQ(three[2].aScan, 6);

    // n = 10 < 2 * 7 gives a window of 4, which the median treats as 3.
    Trace ten = traceOf({10, 30, 12, 14, 40, 16, 18, 20, 50, 22});
    d.smoothDepths(ten, 7);
    EXPECT_EQ(depthsOf(ten), (Depths{10, 11, 13, 14, 16, 17, 18, 19, 21, 22}));

    // A three-sample spike survives a median of 5 but not the full window of 7.
    Depths spiked(20, 50);
    spiked[9] = spiked[10] = spiked[11] = 80;
    Trace twenty = traceOf(spiked);
    d.smoothDepths(twenty, 7);
    EXPECT_EQ(depthsOf(twenty), Depths(20, 50));
}

TEST(SnapToResponseMinimum, MovesToTheShallowestLeastValueAwayFromTheFrame) {
    VelinDetectorIpp d;
    upper_test::fillImage(d.responseImage, 30, 1, 0.0f);
    float* row = d.responseImage.getRow(0);
    row[12] = row[17] = -3.0f;
    row[2] = row[27] = -9.0f;
    Trace t = traceOf({15, 5, 25, 6, 24}, 0, 0);
    d.snapToResponseMinimum(d.responseImage, t, 5);
    EXPECT_EQ(depthsOf(t), (Depths{12, 5, 25, 2, 27}));
}

TEST(BridgeBelowMeanWeight, WeakRunsFollowTheLineBetweenTheirAnchors) {
    VelinDetectorIpp d;
    // Mean 0.6: points 1 and 2 lie between (20, a=0) and (10, a=3); the steps truncate toward zero.
    Trace falling = traceOf({20, 99, 99, 10, 10});
    d.bridgeBelowMeanWeight(falling, ValueList{1, 0, 0, 1, 1});
    EXPECT_EQ(depthsOf(falling), (Depths{20, 17, 14, 10, 10}));

    // The first point anchors even when weak; a run reaching the end is anchored at the last point.
    Trace ends = traceOf({0, 99, 30, 30, 99, 99, 60});
    d.bridgeBelowMeanWeight(ends, ValueList{0, 0, 1, 1, 0, 0, 0});
    EXPECT_EQ(depthsOf(ends), (Depths{0, 15, 30, 30, 40, 50, 60}));
}
