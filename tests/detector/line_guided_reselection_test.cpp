#include "TracingFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

using namespace velin_test;
using Orvan::Velin::CandidateList;
using Orvan::Velin::CheckedList;
using Orvan::Velin::ExtremumRecord;
using Orvan::Velin::Segment;
using Orvan::Velin::UpperPoint;
using Orvan::Velin::ValueList;

TEST(LineGuidedReselection, FitWeightsPointsByTheirResponseAndRejectsShortOrEmptySpans) {
    auto d = makeDetector(16, 4);
    d->responseMin = -4.0f;
    d->responseImage.getRow(0)[0] = -4.0f;
    d->responseImage.getRow(1)[0] = -4.0f;
    d->responseImage.getRow(1)[10] = -12.0f;  // three times the weight of the point beside it
    const Trace lower{{0, 0}, {0, 1}, {10, 1}};
    const ValueList weights{1.0f, 1.0f, 1.0f};

    double a = 1.0, b = 1.0;
    ASSERT_TRUE(d->fitLocalLine(3, 0, lower, weights, a, b));
    EXPECT_DOUBLE_EQ(b, 7.5);  // through (0, 0) and the weighted mean depth 7.5 at A-scan 1
    EXPECT_DOUBLE_EQ(a, 0.0);

    EXPECT_FALSE(d->fitLocalLine(4, 0, lower, weights, a, b));
    EXPECT_FALSE(d->fitLocalLine(2, 2, lower, weights, a, b));
    EXPECT_FALSE(d->fitLocalLine(3, 0, lower, ValueList{1.0f, 0.0f, 0.0f}, a, b));
    d->responseMin = 0.0f;
    EXPECT_FALSE(d->fitLocalLine(3, 0, lower, weights, a, b));
    EXPECT_EQ(a, 0.0);
    EXPECT_EQ(b, 0.0);
}

TEST(LineGuidedReselection, ReselectPointBiasAcceptanceAndClamps) {
    auto d = makeDetector(16, 4);
    const BoundaryPoint upper{50, 7};
    auto pick = [&](int mode, const CandidateList& k, BoundaryPoint p, double a, double b = 0.0) {
        d->reselectPoint(mode, k, a, b, upper, p);
        return p;
    };
    const BoundaryPoint far{130, 7};
    // Mode 0 takes the candidate above only when it is nearer than 0.75 x the one below: 7.6 against
    // 10.4 (line at 99.6) is, 7.9 against 10.1 (line at 99.9) is not. Mode 1 takes the nearest.
    const CandidateList k1{{92, 7, -1.0f}, {110, 7, -1.0f}};
    EXPECT_EQ(pick(0, k1, far, 99.6).depth, 92);
    EXPECT_EQ(pick(0, k1, far, 99.9).depth, 110);
    EXPECT_EQ(pick(1, k1, far, 99.9).depth, 92);
    // A point nearer the line than every candidate stays; a nearest candidate 30 or more away gives way
    // to the last one; a taken candidate brings its A-scan.
    EXPECT_EQ(pick(1, k1, BoundaryPoint{101, 7}, 99.9).depth, 101);
    EXPECT_EQ(pick(1, CandidateList{{140, 7, -1.0f}, {160, 7, -1.0f}}, BoundaryPoint{200, 7}, 99.9).depth, 160);
    EXPECT_EQ(pick(1, CandidateList{{101, 9, -1.0f}}, far, 99.9).aScan, 9);

    // Without candidates the point moves onto the line, truncated, then under the upper point, and is
    // capped at 1022 from 1024 on.
    EXPECT_EQ(pick(0, {}, far, 40.9, 2.0).depth, 54);
    EXPECT_EQ(pick(0, {}, far, 20.0).depth, 50);
    EXPECT_EQ(pick(0, {}, far, 1023.9).depth, 1023);
    EXPECT_EQ(pick(0, {}, far, 1024.0).depth, 1022);
}

namespace {

constexpr int kShallow = -12;  // candidate offsets from the boundary
constexpr int kDeep = 14;
constexpr int kDisplaced = 30;

// `copies` identical lower traces over n A-scans following `path`, except a run of ten points from
// `from` on, displaced 30 samples down with weight 0. Each A-scan's response has its deepest valley on the path and shallower
// ones at the candidate depths, all more than 10 apart so that snapping keeps every point in place.
std::unique_ptr<VelinDetectorIpp> displacedRun(const std::function<int(int)>& path, int n, int copies, int from = 145) {
    auto d = makeDetector(320, n, 1.0f);
    d->responseMin = -2.0f;
    Segment segment;
    Trace upper, lower;
    ValueList weights;
    CheckedList<CandidateList> candidates;
    for (int a = 0; a < n; ++a) {
        const int p = path(a);
        float* row = d->responseImage.getRow(a);
        row[p] = -2.0f;
        row[p + kShallow] = row[p + kDeep] = row[p + kDisplaced] = -1.0f;
        const bool displaced = a >= from && a < from + 10;
        segment.push_back(UpperPoint{0, a, p, a, 1.0f});
        upper.push_back(BoundaryPoint{0, a});
        lower.push_back(BoundaryPoint{displaced ? p + kDisplaced : p, a});
        weights.push_back(displaced ? 0.0f : 1.0f);
        candidates.push_back(CandidateList{{p + kShallow, a, -1.0f}, {p + kDeep, a, -1.0f}, {p + kDisplaced, a, -1.0f}});
    }
    d->upperSegments.push_back(segment);
    for (int c = 0; c < copies; ++c) {
        d->upperTraces.push_back(upper);
        d->lowerTraces.push_back(lower);
        d->lowerWeights.push_back(weights);
        d->candidateLists.push_back(candidates);
    }
    return d;
}

int flat(int) { return 100; }
int vShape(int a) { return 100 + std::abs(a - 150); }

}  // namespace

TEST(LineGuidedReselection, ALoneTraceTakesTheNearestCandidateSeveralTracesTheDeeperSide) {
    auto single = displacedRun(flat, 300, 1);
    single->reselectLowerTraces();
    EXPECT_EQ(single->lowerTraces[0][150].depth, 100 + kShallow);

    auto several = displacedRun(flat, 300, 2);
    several->reselectLowerTraces();
    EXPECT_EQ(several->lowerTraces[0][150].depth, 100 + kDeep);
    EXPECT_EQ(several->lowerTraces[1][150].depth, 100 + kDeep);

    // Fifty points or fewer leave no room for a fit: the displaced run stays.
    auto shortTrace = displacedRun(flat, 50, 1, 20);
    VelinDetectorIpp& s = *shortTrace;
    s.reselectAlongLocalLines(s.upperTraces[0], s.lowerTraces[0], s.lowerWeights[0], s.candidateLists[0], 0);
    EXPECT_EQ(s.lowerTraces[0][25].depth, 100 + kDisplaced);
}

TEST(LineGuidedReselection, ALoneBentTraceIsReselectedInTwoPartsSplitAtTheBend) {
    // Lines centred on the apex of a V average its two arms and miss the boundary there; fitted on
    // each arm alone they lead back to the candidate nearest the arm.
    auto split = displacedRun(vShape, 300, 1);
    split->reselectLowerTraces();
    EXPECT_LT(split->lowerTraces[0][150].depth, vShape(150));

    auto whole = displacedRun(vShape, 300, 1);
    VelinDetectorIpp& w = *whole;
    w.reselectAlongLocalLines(w.upperTraces[0], w.lowerTraces[0], w.lowerWeights[0], w.candidateLists[0], 1);
    EXPECT_GT(w.lowerTraces[0][150].depth, vShape(150));
}
