#include "TracingFixture.h"

#include <gtest/gtest.h>

#include <utility>

using namespace velin_test;

namespace {

// One trace over all A-scans at depth 10 with the given ranges raised to 18 and the given points weak.
// The image is 20 samples deep, so no snap window fits and only bridging and smoothing act.
std::vector<int> bridged(int aScans, const std::vector<std::pair<int, int>>& raised, const std::vector<int>& weak) {
    auto d = makeDetector(20, aScans);
    Trace lower = traceOf(std::vector<int>(static_cast<std::size_t>(aScans), 10));
    ValueList weights(static_cast<std::size_t>(aScans), 1.0f);
    for (const auto& r : raised) for (int a = r.first; a <= r.second; ++a) lower[a].depth = 18;
    for (int a : weak) weights[a] = 0.0f;
    d->upperTraces.push_back(traceOf(std::vector<int>(static_cast<std::size_t>(aScans), 0)));
    d->lowerTraces.push_back(lower);
    d->lowerWeights.push_back(weights);
    d->bridgeWeakRuns();
    return depthsOf(d->lowerTraces[0]);
}

}  // namespace

TEST(WeakRunBridging, WeakPointsCloserThanTheMarkWidthAreBridgedByOneLine) {
    // 64 A-scans: half-width 1. Weak points two apart mark 19..23 as one run, raised good point included.
    EXPECT_EQ(bridged(64, {{19, 23}}, {20, 22}), std::vector<int>(64, 10));
    // Four apart, A-scan 22 stays unmarked and anchors two runs, so its bump survives.
    EXPECT_GT(bridged(64, {{19, 25}}, {20, 24})[22], 10);
}

TEST(WeakRunBridging, MarkWidthAndSmoothingLengthFollowTheAScanCount) {
    for (const auto& c : {std::pair<int, int>{220, 1}, {221, 5}, {999, 5}, {1000, 10}}) {
        // Raised points inside the mark of the weak point at 100 go; a raised run just outside the mark
        // of the weak point at 160 stays.
        const int h = c.second;
        const std::vector<int> depths = bridged(c.first, {{101, 100 + h}, {161 + h, 164 + h}}, {100, 160});
        for (int a = 100 - h; a <= 100 + h; ++a) EXPECT_EQ(depths[a], 10) << c.first << " at " << a;
        EXPECT_GT(depths[162 + h], 10) << c.first;
    }
    // A raised run of 8 survives smoothing of length 7, not of length 21.
    EXPECT_GT(bridged(1023, {{500, 507}}, {})[503], 10);
    EXPECT_EQ(bridged(1024, {{500, 507}}, {})[503], 10);
}
