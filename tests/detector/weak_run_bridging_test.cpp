#include "TracingFixture.h"

#include <gtest/gtest.h>

using namespace velin_test;
using Orvan::Velin::ValueList;

namespace {

constexpr int kBase = 10;
constexpr int kRaised = 18;

// A lower trace over A-scans [first, first + n) at the base depth, its upper trace at depth 0.
struct Line {
    Trace lower;
    ValueList weights;
    Line(int first, int n) : lower(traceOf(std::vector<int>(static_cast<std::size_t>(n), kBase), first)),
                             weights(static_cast<std::size_t>(n), 1.0f) {}
    Line& raise(int from, int to) {
        for (auto& p : lower) if (p.aScan >= from && p.aScan <= to) p.depth = kRaised;
        return *this;
    }
    Line& weaken(int aScan) {
        weights[static_cast<std::size_t>(aScan - lower[0].aScan)] = 0.0f;
        return *this;
    }
};

// The images are 20 samples deep, so every snap window reaches the frame and no point is snapped: what
// changes comes from the bridging and the smoothing alone.
std::unique_ptr<VelinDetectorIpp> bridge(int aScans, const std::vector<Line>& lines) {
    auto d = makeDetector(20, aScans);
    for (const Line& l : lines) {
        Trace upper = l.lower;
        for (auto& p : upper) p.depth = 0;
        d->upperTraces.push_back(upper);
        d->lowerTraces.push_back(l.lower);
        d->lowerWeights.push_back(l.weights);
    }
    d->bridgeWeakRuns();
    return d;
}

int depthAt(const VelinDetectorIpp& d, int aScan) { return d.lowerTraces[0][static_cast<std::size_t>(aScan)].depth; }

}  // namespace

TEST(WeakRunBridging, WeakPointsCloserThanTheMarkWidthAreBridgedByOneLine) {
    // 64 A-scans: half-width 1. Weak points two apart mark 19..23 as one run, so the raised good point
    // between them goes as well.
    auto d = bridge(64, {Line(0, 64).raise(19, 23).weaken(20).weaken(22)});
    EXPECT_EQ(depthsOf(d->lowerTraces[0]), std::vector<int>(64, kBase));

    // Four apart, A-scan 22 stays unmarked and anchors two runs, so its bump survives.
    d = bridge(64, {Line(0, 64).raise(19, 25).weaken(20).weaken(24)});
    EXPECT_GT(depthAt(*d, 22), kBase);
}

TEST(WeakRunBridging, MarkWidthAndSmoothingLengthFollowTheAScanCount) {
    const struct { int aScans, halfWidth; } cases[] = {{220, 1}, {221, 5}, {999, 5}, {1000, 10}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.aScans);
        // Raised points inside the mark of the weak point at 100 are bridged away; a raised run just
        // outside the mark of the weak point at 160 is not.
        const int h = c.halfWidth;
        auto d = bridge(c.aScans, {Line(0, c.aScans).weaken(100).raise(101, 100 + h).weaken(160).raise(161 + h, 164 + h)});
        for (int a = 100 - h; a <= 100 + h; ++a) EXPECT_EQ(depthAt(*d, a), kBase) << a;
        EXPECT_GT(depthAt(*d, 162 + h), kBase);
    }
    // Without weak points only smoothing acts: a raised run of 8 survives length 7 but not length 21.
    EXPECT_GT(depthAt(*bridge(1023, {Line(0, 1023).raise(500, 507)}), 503), kBase);
    EXPECT_EQ(depthAt(*bridge(1024, {Line(0, 1024).raise(500, 507)}), 503), kBase);
}

TEST(WeakRunBridging, MarksOfOneSegmentApplyToAnotherCoveringTheSameAScans) {
    auto d = bridge(300, {Line(0, 300).weaken(150), Line(100, 100).raise(145, 155)});
    EXPECT_EQ(depthsOf(d->lowerTraces[1]), std::vector<int>(100, kBase));
}
