#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

using namespace Orvan::Velin;

namespace {

float maskWidthFor(int numAScans, float selector) {
    VelinDetectorIpp detector;
    detector.setParameters(nullptr, numAScans, 64, 12, 100.0f, selector, 0.0f, 0);
    return detector.maskWidth;
}

}  // namespace

TEST(MaskWidthTable, BoundsOnTheScanCountAreInclusiveSelectorComparisonsStrictAndNanKeepsTheDefault) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        int aScans;
        float selector;
        float width;
    } rows[] = {{600, 20.0f, 0.15f}, {600, 20.5f, 0.2f}, {513, 9.9f, 0.15f},  {512, 9.9f, 0.25f}, {257, 10.0f, 0.3f},
                {257, 29.0f, 0.3f},  {256, 29.0f, 0.5f}, {129, 30.0f, 0.55f}, {128, 30.0f, 0.6f}, {1, -1.0f, 0.6f},
                {1024, nan, 0.15f},  {512, nan, 0.3f},   {200, nan, 0.55f},   {64, nan, 0.6f}};
    for (const auto& row : rows) EXPECT_EQ(maskWidthFor(row.aScans, row.selector), row.width) << row.aScans;

    // One float step above 0.65, on purpose.
    const float wide = maskWidthFor(128, 31.0f);
    std::uint32_t pattern;
    std::memcpy(&pattern, &wide, sizeof pattern);
    EXPECT_EQ(pattern, 0x3F266667u);

    VelinDetectorIpp detector;
    detector.setParameters(nullptr, 300, 496, 40, 2.5f, 1.0f, 7.5f, -5);
    EXPECT_EQ(detector.optionFlag, 0);
}

TEST(VolumeSetup, FftOrdersAreTheSmallestPowersOfTwoFromTwoUp) {
    const int depths[] = {1, 2, 3, 512, 513};
    const int orders[] = {1, 1, 2, 9, 10};
    for (int i = 0; i < 5; ++i) {
        VelinDetectorIpp detector;
        detector.setParameters(nullptr, 5, depths[i], 12, 100.0f, 0.0f, 0.0f, 0);
        ASSERT_TRUE(detector.setupVolume()) << depths[i];
        EXPECT_EQ(detector.fftOrderDepth, orders[i]) << depths[i];
        EXPECT_EQ(detector.fftFilterImage.getWidth(), 1 << orders[i]);
        EXPECT_EQ(detector.fftSizeAScans, 8);
        EXPECT_EQ(detector.maskImage.getWidth(), depths[i]);
    }

    VelinDetectorIpp empty;
    empty.setParameters(nullptr, 4, 0, 12, 100.0f, 0.0f, 0.0f, 0);
    EXPECT_FALSE(empty.setupVolume());
    EXPECT_NE(empty.lastStatus, 0);
    EXPECT_EQ(empty.fftSpec, nullptr);
}

// With an 8 x 8 transform and mask width 0.6 the transfer value is exp(-(u^2 + v^2) * 32 ln 2 / (2 (0.6 * 8)^2)),
// set to 0 below 0.004 and to 1 above 0.996. See docs/frequency-mask.md for the cells.
TEST(FrequencyMask, TransferValuesSitInTheirPackCellsWithTheMirrorOneRowOff) {
    VelinDetectorIpp detector;
    detector.setParameters(nullptr, 8, 8, 12, 100.0f, 0.0f, 0.0f, 0);
    ASSERT_TRUE(detector.setupVolume());
    auto m = [](int u, int v) {
        const double value = std::exp(-(u * u + v * v) * 22.18070978 / (2.0 * 4.8 * 4.8));
        return value < 0.004 ? 0.0 : value;
    };
    auto cell = [&](int row, int column) { return static_cast<double>(detector.fftFilterImage.getRow(row)[column]); };

    EXPECT_EQ(cell(0, 0), 1.0);
    for (int f = 1; f <= 3; ++f) {
        EXPECT_NEAR(cell(2 * f - 1, 0), m(0, f), 1e-6) << f;
        EXPECT_EQ(cell(2 * f, 0), 0.0) << f;
    }
    EXPECT_NEAR(cell(7, 0), m(0, 3), 1e-6);
    for (int u = 1; u <= 3; ++u) {
        for (int v = 0; v <= 3; ++v) {
            EXPECT_NEAR(cell(v, 2 * u - 1), m(u, v), 1e-6) << u << "," << v;
            EXPECT_NEAR(cell(7 - v, 2 * u - 1), m(u, v), 1e-6) << u << "," << v;
            EXPECT_EQ(cell(v, 2 * u) + cell(7 - v, 2 * u), 0.0);
        }
    }
    for (int row = 0; row < 8; ++row) EXPECT_EQ(cell(row, 7), 0.0);
}

TEST(FrequencyMask, FallsToOneHalfAtAQuarterOfWidthTimesHeight) {
    VelinDetectorIpp detector;
    detector.setParameters(nullptr, 64, 64, 12, 100.0f, 0.0f, 0.0f, 0);
    detector.maskWidth = 0.5f;
    ASSERT_TRUE(detector.setupVolume());
    // Radius 0.5 * 64 / 4 = 8 along u (cell 2u - 1 of row 0) and along v (row 2v - 1 of column 0).
    EXPECT_NEAR(detector.fftFilterImage.getRow(0)[15], 0.5f, 1e-5f);
    EXPECT_NEAR(detector.fftFilterImage.getRow(15)[0], 0.5f, 1e-5f);
}
