#include "support/SyntheticVolume.h"

#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>

using namespace Orvan::Velin;

// Runs the preparation of every B-scan of the layered volume up to the upper segments and checks that each
// B-scan has a segment, and that the segment points lie on the top of the nerve-fibre layer.
TEST(UpperPreparationOnSyntheticVolume, EveryBScanYieldsASegmentOnTheTopOfTheBrightBand) {
    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume(velin_test::SyntheticVolumeOptions{});
    VelinDetectorIpp detector;
    detector.setParameters(volume.samples.data(), volume.numAScans, volume.depth, volume.numBScans, 100.0f, 0.0f,
                           0.0f, 0);
    ASSERT_TRUE(detector.setupVolume());

    for (int b = 0; b < volume.numBScans; ++b) {
        detector.upperTraces.clear();
        detector.upperSegments.clear();
        detector.filterStageMark = 0;
        ASSERT_TRUE(detector.loadBScan(b)) << "B-scan " << b;
        ASSERT_TRUE(detector.runFilterStage()) << "B-scan " << b;
        ASSERT_TRUE(detector.linkMaskEdges()) << "B-scan " << b;
        ASSERT_TRUE(detector.buildUpperSegments()) << "B-scan " << b;

        int points = 0;
        for (const Segment& segment : detector.upperSegments) {
            for (const UpperPoint& p : segment) {
                const int top = volume.top[static_cast<std::size_t>(b) * volume.numAScans + p.aScan];
                const int offset = std::abs(p.depth - top);
                EXPECT_LE(offset, 3) << "B-scan " << b << ", A-scan " << p.aScan << ": " << p.depth << " vs " << top;
                ++points;
            }
        }
        EXPECT_GT(points, volume.numAScans / 2) << "B-scan " << b;
    }
}
