#include <Velin/Entry/SegmentationRun.h>
#include <Velin/VelinDetectorIpp.h>
#include <Velin/VelinLayerSegment.h>

#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#if defined(VELIN_HAVE_IO)
#include <Velin/Io/VolumeFile.h>
#endif

using namespace Orvan::Velin;

TEST(SegmentationCall, LeavesThePlanesUntouchedWithoutEnoughBScansWithoutTissueOrOnAFailure) {
    const velin_test::SyntheticVolume layered = velin_test::makeLayeredVolume({10, 64, 320});
    const std::vector<short> fresh(10 * 64, 4321);
    std::vector<short> p1(fresh), p2(fresh), p3(fresh), p4(fresh);
    // Nine B-scans of a volume that would segment well.
    CVelinLayerSegment().VelinLayerSegment(layered.samples.data(), 9, 64, 320, p1.data(), p2.data(), p3.data(),
                                           p4.data(), 100.0f, 0.0f, 0.0f, 0);
    // A failure inside the call (here the progress report throws once every B-scan is done) leaves the call with
    // its exception.
    const ProgressCallback failAtTheEnd = [](int done, int total, void*) {
        if (done == total) throw std::runtime_error("stop");
    };
    EXPECT_THROW(runSegmentation(layered.samples.data(), 10, 64, 320, p1.data(), p2.data(), p3.data(), p4.data(),
                                 100.0f, 0.0f, 0.0f, 0, failAtTheEnd, nullptr, nullptr),
                 std::runtime_error);
    // Every B-scan fails: too few bright pixels.
    const std::vector<unsigned char> dark(layered.samples.size(), 30);
    int segmented = -1;
    EXPECT_EQ(runSegmentation(dark.data(), 10, 64, 320, p1.data(), p2.data(), p3.data(), p4.data(), 100.0f, 0.0f, 0.0f,
                              0, nullptr, nullptr, &segmented),
              RunOutcome::NothingFound);
    EXPECT_EQ(segmented, 0);
    EXPECT_TRUE(p1 == fresh && p2 == fresh && p3 == fresh && p4 == fresh);
}

// The preparation of every B-scan: the filter stage accepts it, and its mask covers the nerve-fibre layer, is
// clear above it, and has its top edge on the top of the layer; the upper segments built from the mask edges
// follow the top of the layer.
TEST(PreparationOnSyntheticVolume, MaskCoversTheNerveFibreLayerAndUpperSegmentsFollowItsTop) {
    const velin_test::SyntheticVolume v = velin_test::makeLayeredVolume(velin_test::SyntheticVolumeOptions{});
    VelinDetectorIpp d;
    d.setParameters(v.samples.data(), v.numAScans, v.depth, v.numBScans, 100.0f, 0.0f, 0.0f, 0);
    ASSERT_TRUE(d.setupVolume());
    const int rows = v.numAScans - 2;
    for (int b = 0; b < v.numBScans; ++b) {
        d.upperTraces.clear(), d.upperSegments.clear(), d.filterStageMark = 0;
        ASSERT_TRUE(d.loadBScan(b) && d.runFilterStage()) << "B-scan " << b;
        const int* top = &v.top[static_cast<std::size_t>(b) * v.numAScans];
        const int* bottom = &v.nflBottom[static_cast<std::size_t>(b) * v.numAScans];
        int covered = 0, clearAbove = 0, edgesNearTop = 0, points = 0;
        auto set = [](std::uint8_t m) { return m != 0; };
        for (int a = 1; a <= rows; ++a) {
            const std::uint8_t* mask = d.maskImage.getRow(a);
            covered += std::all_of(mask + top[a] + 3, mask + bottom[a] - 3, set);
            clearAbove += std::none_of(mask + 1, mask + std::max(1, top[a] - 6), set);
            edgesNearTop +=
                std::abs(static_cast<int>(std::find_if(mask + 1, mask + v.depth, set) - mask) - top[a]) <= 4;
        }
        EXPECT_EQ(std::make_pair(covered, clearAbove), std::make_pair(rows, rows)) << "B-scan " << b;
        EXPECT_GE(edgesNearTop, rows * 95 / 100) << "B-scan " << b;
        ASSERT_TRUE(d.linkMaskEdges() && d.buildUpperSegments()) << "B-scan " << b;
        for (const Segment& segment : d.upperSegments)
            for (const UpperPoint& p : segment) {
                ++points;
                EXPECT_LE(std::abs(p.depth - top[p.aScan]), 3) << "B-scan " << b << ", A-scan " << p.aScan;
            }
        EXPECT_GT(points, v.numAScans / 2) << "B-scan " << b;
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
    ASSERT_TRUE(detector.setupVolume() && detector.loadBScan(0) && detector.runFilterStage());
    Trace edge;
    EXPECT_TRUE(detector.checkMaskLayer(edge, false));
    EXPECT_GE(edge.size(), static_cast<std::size_t>(volume.numAScans) * 9 / 10);
}
#endif
