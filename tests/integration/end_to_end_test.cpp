#include "support/SyntheticVolume.h"

#include <Velin/VelinLayerSegment.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

struct PlaneScore {
    double within = 0.0;        ///< share of all positions within the tolerance; a missing point is a miss
    double meanAbsError = 0.0;  ///< over the positions that hold a depth
};

PlaneScore score(const std::vector<short>& plane, const std::vector<int>& truth, int tolerance) {
    std::size_t within = 0, found = 0;
    double errorSum = 0.0;
    for (std::size_t i = 0; i < plane.size(); ++i) {
        if (plane[i] == -1) continue;
        const int error = std::abs(plane[i] - truth[i]);
        ++found;
        errorSum += error;
        within += error <= tolerance ? 1 : 0;
    }
    return PlaneScore{double(within) / plane.size(), found > 0 ? errorSum / found : 0.0};
}

}  // namespace

// The whole exported call on 16 B-scans x 256 A-scans x 512 samples with known boundaries. The 16 B-scans are
// consecutive ones of a 64-B-scan acquisition: the surface pass smooths across B-scans over about two B-scan
// spacings, which keeps the layer's shape only when neighbouring B-scans are close. (Spread over just 16
// B-scans, the synthetic layer moves by up to six samples per B-scan, and even its exact surface, smoothed
// the same way, leaves only about 81% of the upper boundary within two samples.)
TEST(EndToEnd, SyntheticLayeredVolumeBoundariesAreFound) {
    velin_test::SyntheticVolumeOptions options;
    options.numBScans = 64;
    const velin_test::SyntheticVolume acquisition = velin_test::makeLayeredVolume(options);
    const int numBScans = 16, first = 24;
    const std::size_t bscanSize = static_cast<std::size_t>(acquisition.numAScans) * acquisition.depth;
    const std::vector<unsigned char> volume(acquisition.samples.begin() + first * bscanSize,
                                            acquisition.samples.begin() + (first + numBScans) * bscanSize);
    const std::size_t offset = static_cast<std::size_t>(first) * acquisition.numAScans;
    const std::size_t positions = static_cast<std::size_t>(numBScans) * acquisition.numAScans;
    const std::vector<int> top(acquisition.top.begin() + offset, acquisition.top.begin() + offset + positions);
    const std::vector<int> nflBottom(acquisition.nflBottom.begin() + offset,
                                     acquisition.nflBottom.begin() + offset + positions);

    std::vector<short> plane1(positions, -7), plane2(positions, -7), plane3(positions, -7), plane4(positions, -7);
    CVelinLayerSegment().VelinLayerSegment(volume.data(), numBScans, acquisition.numAScans, acquisition.depth,
                                           plane1.data(), plane2.data(), plane3.data(), plane4.data(), 100.0f, 5.0f,
                                           0.0f, 0);

    const PlaneScore upper = score(plane1, top, 2);
    const PlaneScore lower = score(plane2, nflBottom, 4);
    std::printf("plane 1: %.1f%% within 2, mean absolute error %.2f\n", 100.0 * upper.within, upper.meanAbsError);
    std::printf("plane 2: %.1f%% within 4, mean absolute error %.2f\n", 100.0 * lower.within, lower.meanAbsError);
    EXPECT_GE(upper.within, 0.95);
    EXPECT_GE(lower.within, 0.95);
    for (std::size_t i = 0; i < positions; ++i) {
        ASSERT_TRUE(plane3[i] >= 0 && plane3[i] <= 100) << "plane 3 at " << i << ": " << plane3[i];
        ASSERT_TRUE(plane4[i] >= 0 && plane4[i] <= 100) << "plane 4 at " << i << ": " << plane4[i];
    }
}
