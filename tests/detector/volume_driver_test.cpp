#include <Velin/VelinDetectorIpp.h>

#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Orvan::Velin;

// Five B-scans (a few-scans volume) of which the second and fourth are dark and cannot succeed.
TEST(VolumeDriver, EveryBScanLeavesOneEntryAndASecondRunReusesTheSetup) {
    velin_test::SyntheticVolumeOptions options;
    options.numBScans = 5;
    options.numAScans = 64;
    options.depth = 160;
    velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume(options);
    const std::size_t bscanSize = static_cast<std::size_t>(options.numAScans) * options.depth;
    for (std::size_t b : {1u, 3u}) std::fill_n(volume.samples.begin() + b * bscanSize, bscanSize, 0);

    VelinDetectorIpp detector;
    detector.setParameters(volume.samples.data(), options.numAScans, options.depth, options.numBScans, 100.0f, 0.0f,
                           0.0f, 0);
    const bool found = detector.detectVolume();
    EXPECT_EQ(detector.fewScansMode, 1);
    EXPECT_EQ(found, detector.successCount >= 1);
    EXPECT_LE(detector.successCount, 3);
    const auto* spec = detector.fftSpec;

    EXPECT_EQ(detector.detectVolume(), found);
    EXPECT_EQ(detector.fftSpec, spec);
    for (const MatrixList* list :
         {&detector.boundaryList1, &detector.boundaryList2, &detector.valueList1, &detector.valueList2}) {
        ASSERT_EQ(list->size(), 5u);
        EXPECT_EQ((*list)[1].getRowCount(), 0u);
        EXPECT_EQ((*list)[3].getRowCount(), 0u);
    }
}
