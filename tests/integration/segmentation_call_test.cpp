#include <Velin/Entry/SegmentationRun.h>
#include <Velin/VelinLayerSegment.h>

#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;

namespace {

constexpr short kUntouched = 4321;

struct Planes {
    explicit Planes(std::size_t positions) : p1(positions, kUntouched), p2(p1), p3(p1), p4(p1) {}
    bool untouched() const {
        const std::vector<short> fresh(p1.size(), kUntouched);
        return p1 == fresh && p2 == fresh && p3 == fresh && p4 == fresh;
    }
    std::vector<short> p1, p2, p3, p4;
};

void recordProgress(int done, int total, void* user) {
    static_cast<std::vector<std::pair<int, int>>*>(user)->emplace_back(done, total);
}

}  // namespace

TEST(SegmentationCall, LeavesThePlanesUntouchedWithoutEnoughBScansOrWithoutTissue) {
    velin_test::SyntheticVolumeOptions options;
    options.numBScans = 10;
    options.numAScans = 64;
    options.depth = 160;
    const velin_test::SyntheticVolume layered = velin_test::makeLayeredVolume(options);
    Planes planes(layered.samples.size() / options.depth);
    CVelinLayerSegment segmenter;
    // Nine B-scans of a volume that would segment well.
    segmenter.VelinLayerSegment(layered.samples.data(), 9, options.numAScans, options.depth, planes.p1.data(),
                                planes.p2.data(), planes.p3.data(), planes.p4.data(), 100.0f, 0.0f, 0.0f, 0);
    EXPECT_TRUE(planes.untouched());

    // Every B-scan fails: too few bright pixels.
    std::vector<unsigned char> dark(layered.samples.size(), 30);
    int segmented = -1;
    EXPECT_EQ(runSegmentation(dark.data(), options.numBScans, options.numAScans, options.depth, planes.p1.data(),
                              planes.p2.data(), planes.p3.data(), planes.p4.data(), 100.0f, 0.0f, 0.0f, 0, nullptr,
                              nullptr, &segmented),
              RunOutcome::NothingFound);
    EXPECT_EQ(segmented, 0);
    EXPECT_TRUE(planes.untouched());
}

TEST(SegmentationCall, SegmentsASyntheticVolumeReportingEveryBScan) {
    velin_test::SyntheticVolumeOptions options;
    options.numBScans = 12;
    options.numAScans = 128;
    options.depth = 320;
    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume(options);
    const std::size_t positions = static_cast<std::size_t>(options.numBScans) * options.numAScans;
    Planes planes(positions);
    std::vector<std::pair<int, int>> progress;
    int segmented = -1;
    ASSERT_EQ(runSegmentation(volume.samples.data(), options.numBScans, options.numAScans, options.depth,
                              planes.p1.data(), planes.p2.data(), planes.p3.data(), planes.p4.data(), 100.0f, 0.0f,
                              0.0f, 0, recordProgress, &progress, &segmented),
              RunOutcome::Segmented);
    EXPECT_EQ(segmented, options.numBScans);
    ASSERT_EQ(progress.size(), static_cast<std::size_t>(options.numBScans));
    for (int b = 0; b < options.numBScans; ++b) EXPECT_EQ(progress[b], std::make_pair(b + 1, options.numBScans));

    // Every element is written: a depth or -1 in the boundary planes, a value or 0 in the others.
    std::size_t nearTop = 0;
    for (std::size_t i = 0; i < positions; ++i) {
        ASSERT_NE(planes.p1[i], kUntouched);
        ASSERT_NE(planes.p4[i], kUntouched);
        EXPECT_GE(planes.p1[i], -1);
        if (planes.p1[i] == -1) {
            EXPECT_EQ(planes.p3[i], 0);
        }
        nearTop += std::abs(planes.p1[i] - volume.top[i]) <= 4 ? 1 : 0;
    }
    EXPECT_GE(nearTop, positions * 9 / 10);
}
