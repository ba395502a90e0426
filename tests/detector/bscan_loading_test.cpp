#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Orvan::Velin;

namespace {

// A detector set up for a volume of `numBScans` B-scans of `numAScans` x `depth` samples.
struct LoadCase {
    VelinDetectorIpp detector;
    std::vector<unsigned char> volume;

    LoadCase(int numBScans, int numAScans, int depth) : volume(static_cast<std::size_t>(numBScans) * numAScans * depth) {}

    void setup(int numBScans, int numAScans, int depth) {
        detector.setParameters(volume.data(), numAScans, depth, numBScans, 100.0f, 0.0f, 0.0f, 0);
        ASSERT_TRUE(detector.setupVolume());
    }
};

}  // namespace

// A bright band from depth 20 to 35 over a dark background, identical in every A-scan.
TEST(BScanLoading, RescalesToTheFullByteRangeAndGivesSignedDepthEdges) {
    constexpr int kAScans = 16, kDepth = 64;
    LoadCase c(12, kAScans, kDepth);
    for (int a = 0; a < kAScans; ++a)
        for (int d = 0; d < kDepth; ++d) c.volume[(kAScans + a) * kDepth + d] = d >= 20 && d < 36 ? 200 : 10;
    c.setup(12, kAScans, kDepth);
    ASSERT_TRUE(c.detector.loadBScan(1));
    EXPECT_EQ(c.detector.lastStatus, 0);

    float low = 1e9f, high = -1e9f;
    int intensityMax = 0;
    for (int y = 0; y < kAScans; ++y) {
        for (int x = 0; x < kDepth; ++x) {
            low = std::min(low, c.detector.filteredImage.getRow(y)[x]);
            high = std::max(high, c.detector.filteredImage.getRow(y)[x]);
            intensityMax = std::max(intensityMax, static_cast<int>(c.detector.intensityImage.getRow(y)[x]));
            EXPECT_EQ(static_cast<int>(c.detector.intensityImage.getRow(y)[x]),
                      static_cast<int>(c.detector.filteredImage.getRow(y)[x]));
        }
    }
    EXPECT_EQ(low, 0.0f);
    EXPECT_NEAR(high, 255.0f, 1e-3f);
    EXPECT_GE(intensityMax, 254);

    const ippImage32f& response = c.detector.responseImage;
    const int row = kAScans / 2;
    EXPECT_GT(response.getRow(row)[20], 0.0f);  // brightening with depth at the top of the band
    EXPECT_LT(response.getRow(row)[35], 0.0f);  // darkening at its bottom
    EXPECT_GT(c.detector.intensityImage.getRow(row)[28], c.detector.intensityImage.getRow(row)[5]);
    // The one-pixel frames keep the zeros of setup.
    for (int x = 0; x < kDepth; ++x) {
        EXPECT_EQ(response.getRow(0)[x], 0.0f);
        EXPECT_EQ(c.detector.smoothImage.getRow(kAScans - 1)[x], 0);
    }
    for (int y = 0; y < kAScans; ++y) EXPECT_EQ(response.getRow(y)[kDepth - 1], 0.0f);
    EXPECT_EQ(c.detector.smoothImage.getRow(row)[28], 200);
}

TEST(BScanLoading, CopiesTheBScanAsOneBlockIgnoringTheRowStep) {
    constexpr int kAScans = 4, kDepth = 40;  // rows padded to 64 bytes
    LoadCase c(10, kAScans, kDepth);
    for (std::size_t i = 0; i < c.volume.size(); ++i) c.volume[i] = static_cast<unsigned char>(i % 251);
    c.setup(10, kAScans, kDepth);
    ASSERT_EQ(c.detector.rawImage.getStep(), 64);
    ASSERT_TRUE(c.detector.loadBScan(2));
    const std::size_t start = 2 * kAScans * kDepth;
    // Row 0 holds A-scan 0 and the first 24 samples of A-scan 1; row 1 begins with sample 24 of A-scan 1.
    EXPECT_EQ(c.detector.rawImage.getRow(0)[39], c.volume[start + 39]);
    EXPECT_EQ(c.detector.rawImage.getRow(1)[0], c.volume[start + 64]);
    EXPECT_EQ(c.detector.rawImage.getRow(2)[15], c.volume[start + 128 + 15]);
}

TEST(BScanLoading, FlatBScanRescalesToNanAndStillLoads) {
    LoadCase c(10, 8, 32);
    c.setup(10, 8, 32);
    ASSERT_TRUE(c.detector.loadBScan(0));
    EXPECT_TRUE(std::isnan(c.detector.filteredImage.getRow(3)[3]));
}

TEST(Diffusion, MovesEachInteriorPixelAFifthAlongTheLaplacian) {
    VelinDetectorIpp detector;
    ippImage32f image;
    image.allocate(5, 5);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x) image.getRow(y)[x] = 0.0f;
    image.getRow(2)[2] = 10.0f;
    image.getRow(0)[2] = 5.0f;  // frame: read by its neighbour, never changed

    detector.diffuse(image, 0, 0.2);
    EXPECT_EQ(image.getRow(2)[2], 10.0f);

    detector.diffuse(image, 1, 0.2);
    EXPECT_FLOAT_EQ(image.getRow(2)[2], 2.0f);
    EXPECT_FLOAT_EQ(image.getRow(1)[2], 3.0f);  // 0.2 * (10 + 5)
    EXPECT_FLOAT_EQ(image.getRow(2)[1], 2.0f);
    EXPECT_FLOAT_EQ(image.getRow(1)[1], 0.0f);
    EXPECT_EQ(image.getRow(0)[2], 5.0f);
    EXPECT_EQ(image.getRow(2)[0], 0.0f);
}
