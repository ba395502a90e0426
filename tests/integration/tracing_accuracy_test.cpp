#include "support/SyntheticVolume.h"

#include <Velin/VelinDetectorIpp.h>
#include <Velin/VelinLayerSegment.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using velin_test::SyntheticVolume;
using velin_test::SyntheticVolumeOptions;

namespace {

// Share of positions within `tolerance` of the truth (a missing point is a miss), and the mean absolute and
// signed errors over the points found.
struct Score {
    int tolerance, within = 0, total = 0, found = 0;
    double absoluteSum = 0.0, signedSum = 0.0;
    void add(int depth, int truth) {
        ++total;
        if (depth < 0) return;
        ++found;
        absoluteSum += std::abs(depth - truth);
        signedSum += depth - truth;
        within += std::abs(depth - truth) <= tolerance;
    }
    double fraction() const { return total > 0 ? static_cast<double>(within) / total : 0.0; }
};

void report(const std::string& what, const Score& upper, const Score& lower) {
    for (const Score* s : {&upper, &lower})
        std::printf("%s, plane %d: %.1f%% within %d, mean absolute error %.2f, mean error %+.2f\n", what.c_str(),
                    s == &upper ? 1 : 2, 100.0 * s->fraction(), s->tolerance, s->absoluteSum / std::max(s->found, 1),
                    s->signedSum / std::max(s->found, 1));
}

}  // namespace

class TracedBoundaries : public testing::TestWithParam<SyntheticVolumeOptions> {};

// Each B-scan's pipeline up to the points it stores: upper points on the top of the bright nerve-fibre
// layer, lower points on its lower edge, over every B-scan that succeeded.
TEST_P(TracedBoundaries, FollowTheNerveFibreLayerOnEverySegmentedBScan) {
    const SyntheticVolume v = velin_test::makeLayeredVolume(GetParam());
    Orvan::Velin::VelinDetectorIpp d;
    d.setParameters(v.samples.data(), v.numAScans, v.depth, v.numBScans, 100.0f, 5.0f, 0.0f, 0);
    ASSERT_TRUE(d.setupVolume());
    Score upper{3}, lower{3};
    for (int b = 0; b < v.numBScans; ++b) {
        if (!d.processBScan(b)) continue;
        for (std::size_t k = 0; k < d.upperTraces.size(); ++k) {
            for (std::size_t i = 0; i < d.upperTraces[k].size(); ++i) {
                const std::size_t at = static_cast<std::size_t>(b) * v.numAScans + d.upperTraces[k][i].aScan;
                upper.add(d.upperTraces[k][i].depth, v.top[at]);
                lower.add(d.lowerTraces[k][i].depth, v.nflBottom[at]);
            }
        }
    }
    report("traced, " + std::to_string(v.numAScans) + " A-scans", upper, lower);
    EXPECT_GE(upper.fraction(), 0.9);
    EXPECT_GE(lower.fraction(), 0.9);
}

// The usual shape, and 512 A-scans, where the line-guided pass runs as well.
INSTANTIATE_TEST_SUITE_P(SyntheticVolumes, TracedBoundaries,
                         testing::Values(SyntheticVolumeOptions{16, 256, 512, 1, 0.15},
                                         SyntheticVolumeOptions{16, 512, 512, 2, 0.15}));

// The whole exported call, with the cross-scan correction and the surface pass, on 16 B-scans x 256 A-scans x
// 512 samples. The 16 B-scans are consecutive ones of a 64-B-scan acquisition: the surface pass smooths across
// B-scans over about two B-scan spacings, which keeps the layer's shape only when neighbouring B-scans are
// close. (Spread over just 16 B-scans, the synthetic layer moves by up to six samples per B-scan, and even its
// exact surface, smoothed the same way, leaves only about 81% of the upper boundary within two samples.)
TEST(EndToEnd, SyntheticLayeredVolumeBoundariesAreFound) {
    const SyntheticVolume acquisition = velin_test::makeLayeredVolume({64});
    const int numBScans = 16, first = 24;
    const std::size_t positions = static_cast<std::size_t>(numBScans) * acquisition.numAScans;
    const std::size_t offset = static_cast<std::size_t>(first) * acquisition.numAScans;
    const unsigned char* volume = acquisition.samples.data() + offset * acquisition.depth;
    std::vector<short> p1(positions, -7), p2(positions, -7), p3(positions, -7), p4(positions, -7);
    CVelinLayerSegment().VelinLayerSegment(volume, numBScans, acquisition.numAScans, acquisition.depth, p1.data(),
                                           p2.data(), p3.data(), p4.data(), 100.0f, 5.0f, 0.0f, 0);
    Score upper{2}, lower{4};
    for (std::size_t i = 0; i < positions; ++i) {
        upper.add(p1[i], acquisition.top[offset + i]);
        lower.add(p2[i], acquisition.nflBottom[offset + i]);
        ASSERT_TRUE(p3[i] >= 0 && p3[i] <= 100 && p4[i] >= 0 && p4[i] <= 100) << i << ": " << p3[i] << ", " << p4[i];
        // Where no depth was found the value planes hold 0.
        ASSERT_TRUE(p1[i] >= -1 && (p1[i] != -1 || p3[i] == 0)) << i << ": " << p1[i] << ", " << p3[i];
    }
    report("exported planes", upper, lower);
    EXPECT_GE(upper.fraction(), 0.95);
    EXPECT_GE(lower.fraction(), 0.95);
}
