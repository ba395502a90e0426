#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace Orvan::Velin;

namespace {

// A detector set up for `numBScans` B-scans of `numAScans` x `depth` samples, filled by `sample(index)`.
struct LoadCase {
    VelinDetectorIpp detector;
    std::vector<unsigned char> volume;

    template <class Sample>
    LoadCase(int numBScans, int numAScans, int depth, Sample sample)
        : volume(static_cast<std::size_t>(numBScans) * numAScans * depth) {
        for (std::size_t i = 0; i < volume.size(); ++i) volume[i] = static_cast<unsigned char>(sample(i));
        detector.setParameters(volume.data(), numAScans, depth, numBScans, 100.0f, 0.0f, 0.0f, 0);
        EXPECT_TRUE(detector.setupVolume());
    }
};

}  // namespace

// A bright band at depths 20..35 over a dark background, the same in every A-scan.
TEST(BScanLoading, RescalesToTheFullByteRangeAndGivesSignedDepthEdgesInsideAZeroFrame) {
    LoadCase c(12, 16, 64, [](std::size_t i) { return i % 64 >= 20 && i % 64 < 36 ? 200 : 10; });
    ASSERT_TRUE(c.detector.loadBScan(1));
    float low = 1e9f, high = -1e9f;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 64; ++x) {
            const float value = c.detector.filteredImage.getRow(y)[x];
            low = std::min(low, value);
            high = std::max(high, value);
            EXPECT_EQ(c.detector.intensityImage.getRow(y)[x], static_cast<int>(value));
        }
        EXPECT_EQ(c.detector.responseImage.getRow(y)[63], 0.0f);
    }
    EXPECT_EQ(low, 0.0f);
    EXPECT_NEAR(high, 255.0f, 1e-3f);

    const float* response = c.detector.responseImage.getRow(8);
    EXPECT_GT(response[20], 0.0f);  // brightening with depth at the top of the band
    EXPECT_LT(response[35], 0.0f);  // darkening at its bottom
    EXPECT_EQ(c.detector.responseImage.getRow(0)[20], 0.0f);
    EXPECT_EQ(c.detector.smoothImage.getRow(15)[28], 0);
    EXPECT_EQ(c.detector.smoothImage.getRow(8)[28], 200);
}

TEST(BScanLoading, CopiesTheBScanAsOneBlockIgnoringTheRowStep) {
    LoadCase c(10, 4, 40, [](std::size_t i) { return i % 251; });  // rows padded to 64 bytes
    ASSERT_EQ(c.detector.rawImage.getStep(), 64);
    ASSERT_TRUE(c.detector.loadBScan(2));
    const std::size_t start = 2 * 4 * 40;
    // Row 1 begins with sample 24 of A-scan 1, the 64th byte of the B-scan.
    EXPECT_EQ(c.detector.rawImage.getRow(0)[39], c.volume[start + 39]);
    EXPECT_EQ(c.detector.rawImage.getRow(1)[0], c.volume[start + 64]);
    EXPECT_EQ(c.detector.rawImage.getRow(2)[15], c.volume[start + 128 + 15]);
}

TEST(BScanLoading, FlatBScanRescalesToNanAndStillLoads) {
    LoadCase c(10, 8, 32, [](std::size_t) { return 0; });
    ASSERT_TRUE(c.detector.loadBScan(0));
    EXPECT_TRUE(std::isnan(c.detector.filteredImage.getRow(3)[3]));
}

TEST(Diffusion, MovesEachInteriorPixelAFifthAlongTheLaplacianAndLeavesTheFrame) {
    VelinDetectorIpp detector;
    ippImage32f image;
    image.allocate(5, 5);
    for (int y = 0; y < 5; ++y) std::fill(image.getRow(y), image.getRow(y) + 5, 0.0f);
    image.getRow(2)[2] = 10.0f;
    image.getRow(0)[2] = 5.0f;

    detector.diffuse(image, 0, 0.2);
    EXPECT_EQ(image.getRow(2)[2], 10.0f);
    detector.diffuse(image, 1, 0.2);
    EXPECT_FLOAT_EQ(image.getRow(2)[2], 2.0f);
    EXPECT_FLOAT_EQ(image.getRow(1)[2], 3.0f);  // 0.2 * (10 + 5)
    EXPECT_FLOAT_EQ(image.getRow(2)[1], 2.0f);
    EXPECT_FLOAT_EQ(image.getRow(1)[1], 0.0f);
    EXPECT_EQ(image.getRow(0)[2], 5.0f);
}
