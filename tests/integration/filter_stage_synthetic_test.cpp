#include <Velin/VelinDetectorIpp.h>

#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#if defined(VELIN_HAVE_IO)
#include <tools/io/VolumeFile.h>
#endif

using namespace Orvan::Velin;

namespace {

// Large enough for real-sized filters, small enough to run quickly.
velin_test::SyntheticVolumeOptions smallVolume() {
    velin_test::SyntheticVolumeOptions options;
    options.numBScans = 12;
    options.numAScans = 128;
    options.depth = 320;
    return options;
}

}  // namespace

TEST(FilterStageOnSyntheticVolume, AcceptsEveryBScanAndTheMaskCoversTheNerveFibreLayer) {
    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume(smallVolume());
    VelinDetectorIpp detector;
    detector.setParameters(volume.samples.data(), volume.numAScans, volume.depth, volume.numBScans, 100.0f, 0.0f, 0.0f,
                           0);
    ASSERT_TRUE(detector.setupVolume());
    for (int b = 0; b < volume.numBScans; ++b) {
        ASSERT_TRUE(detector.loadBScan(b)) << "B-scan " << b;
        ASSERT_TRUE(detector.runFilterStage()) << "B-scan " << b;
        int covered = 0, clearAbove = 0, edgesNearTop = 0, rows = 0;
        for (int a = 1; a < volume.numAScans - 1; ++a, ++rows) {
            const std::size_t position = static_cast<std::size_t>(b) * volume.numAScans + a;
            const int top = volume.top[position];
            const int bottom = volume.nflBottom[position];
            const std::uint8_t* mask = detector.maskImage.getRow(a);
            bool bandCovered = true;
            for (int d = top + 3; d < bottom - 3; ++d) bandCovered = bandCovered && mask[d] != 0;
            covered += bandCovered ? 1 : 0;
            bool above = true;
            for (int d = 1; d < top - 6; ++d) above = above && mask[d] == 0;
            clearAbove += above ? 1 : 0;
            int edge = 1;
            while (edge < volume.depth && mask[edge] == 0) ++edge;
            edgesNearTop += std::abs(edge - top) <= 4 ? 1 : 0;
        }
        EXPECT_EQ(covered, rows) << "B-scan " << b;
        EXPECT_EQ(clearAbove, rows) << "B-scan " << b;
        EXPECT_GE(edgesNearTop, rows * 95 / 100) << "B-scan " << b;
    }
}

#if defined(VELIN_HAVE_IO)
// The shared sample B-scan is 496 samples deep; padded to 512 (a whole row step) it loads row by row, and its
// retina must come out as a plausible layer.
TEST(FilterStageOnSampleScan, AcceptsThePaddedSampleBScanAsOneLayer) {
    const std::string path = std::string(VELIN_SHARED_DATA_DIR) + "/vol/onh.vol";
    if (!std::ifstream(path)) GTEST_SKIP() << "sample data not found at " << path;
    const velin::io::Volume volume = velin::io::readVolume(path, velin::io::ReadOptions{});
    constexpr int kPaddedDepth = 512;
    ASSERT_LE(volume.depth, kPaddedDepth);
    std::vector<unsigned char> padded(static_cast<std::size_t>(volume.numAScans) * kPaddedDepth, 0);
    for (int a = 0; a < volume.numAScans; ++a)
        std::copy_n(&volume.samples[static_cast<std::size_t>(a) * volume.depth], volume.depth,
                    &padded[a * kPaddedDepth]);

    VelinDetectorIpp detector;
    detector.setParameters(padded.data(), volume.numAScans, kPaddedDepth, 1, 100.0f, 0.0f, 0.0f, 0);
    ASSERT_TRUE(detector.setupVolume());
    ASSERT_TRUE(detector.loadBScan(0));
    ASSERT_TRUE(detector.runFilterStage());
    Trace edge;
    EXPECT_TRUE(detector.checkMaskLayer(edge, false));
    EXPECT_GE(edge.size(), static_cast<std::size_t>(volume.numAScans) * 9 / 10);
}
#endif
