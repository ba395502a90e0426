#include "DetectorTestHelpers.h"

#include <cstring>

namespace {

std::unique_ptr<VelinDetectorIpp> setUp(int aScans, int depth, float selector = 0.0f,
                                        const std::uint8_t* data = nullptr, int bScans = 12) {
    auto d = std::make_unique<VelinDetectorIpp>();
    d->setParameters(data, aScans, depth, bScans, 100.0f, selector, 0.0f, 0);
    return d;
}

// A detector set up for `bScans` B-scans of `aScans` x `depth` samples, sample i of the volume being sample(i).
template <class Sample>
std::unique_ptr<VelinDetectorIpp> loaded(std::vector<std::uint8_t>& volume, int bScans, int aScans, int depth,
                                         Sample sample) {
    volume.resize(static_cast<std::size_t>(bScans) * aScans * depth);
    for (std::size_t i = 0; i < volume.size(); ++i) volume[i] = static_cast<std::uint8_t>(sample(i));
    auto d = setUp(aScans, depth, 0.0f, volume.data(), bScans);
    EXPECT_TRUE(d->setupVolume());
    return d;
}

}  // namespace

TEST(MaskWidthTable, BoundsOnTheScanCountAreInclusiveSelectorComparisonsStrictAndNanKeepsTheDefault) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        int aScans;
        float selector, width;
    } rows[] = {// clang-format off
        {600, 20.0f, 0.15f}, {600, 20.5f, 0.2f}, {513, 9.9f, 0.15f}, {512, 9.9f, 0.25f}, {257, 10.0f, 0.3f},
        {257, 29.0f, 0.3f}, {256, 29.0f, 0.5f}, {129, 30.0f, 0.55f}, {128, 30.0f, 0.6f}, {1, -1.0f, 0.6f},
        {1024, nan, 0.15f}, {512, nan, 0.3f}, {200, nan, 0.55f}, {64, nan, 0.6f},
        {128, 31.0f, std::nextafter(0.65f, 1.0f)}};  // one float step above 0.65, on purpose
    // clang-format on
    for (const auto& row : rows) EXPECT_EQ(setUp(row.aScans, 64, row.selector)->maskWidth, row.width) << row.aScans;

    VelinDetectorIpp detector;  // a negative smoothing level counts as 0
    detector.setParameters(nullptr, 300, 496, 40, 2.5f, 1.0f, 7.5f, -5);
    EXPECT_EQ(detector.optionFlag, 0);
}

TEST(VolumeSetup, FftOrdersAreTheSmallestPowersOfTwoFromTwoUp) {
    for (const auto& c : {std::pair<int, int>{1, 1}, {2, 1}, {3, 2}, {512, 9}, {513, 10}}) {
        auto d = setUp(5, c.first);
        ASSERT_TRUE(d->setupVolume()) << c.first;
        EXPECT_EQ(Ints({d->fftOrderDepth, d->fftSizeAScans}), Ints({c.second, 8})) << c.first;
    }
    auto empty = setUp(4, 0);
    EXPECT_FALSE(empty->setupVolume());
    EXPECT_TRUE(empty->lastStatus != 0 && empty->fftSpec == nullptr);
}

// With an 8 x 8 transform and mask width 0.6 the transfer value is exp(-(u^2 + v^2) * 32 ln 2 / (2 (0.6 * 8)^2)),
// set to 0 below 0.004 and to 1 above 0.996. See docs/frequency-mask.md for the cells: column 0 holds v = 0..3
// in its odd rows and v = 3 again in the last; the other odd columns hold u = 1..3 for rows v and 7 - v.
TEST(FrequencyMask, TransferValuesSitInTheirPackCellsWithTheMirrorOneRowOff) {
    auto d = setUp(8, 8);
    ASSERT_TRUE(d->setupVolume());
    auto m = [](int u, int v) {
        const double value = std::exp(-(u * u + v * v) * 22.18070978 / (2.0 * 4.8 * 4.8));
        return value < 0.004 ? 0.0 : value;
    };
    auto expected = [&](int row, int column) {
        if (column == 0) return row == 0 ? 1.0 : row % 2 ? m(0, std::min(3, (row + 1) / 2)) : 0.0;
        return column % 2 == 0 || column == 7 ? 0.0 : m((column + 1) / 2, std::min(row, 7 - row));
    };
    for (int row = 0; row < 8; ++row)
        for (int column = 0; column < 8; ++column)
            EXPECT_NEAR(d->fftFilterImage.getRow(row)[column], expected(row, column), 1e-6) << row << "," << column;
}

// A bright band at depths 20..35 over a dark background, the same in every A-scan.
TEST(BScanLoading, RescalesToTheFullByteRangeAndGivesSignedDepthEdgesInsideAZeroFrame) {
    std::vector<std::uint8_t> volume;
    auto d = loaded(volume, 12, 16, 64, [](std::size_t i) { return i % 64 >= 20 && i % 64 < 36 ? 200 : 10; });
    ASSERT_TRUE(d->loadBScan(1));
    float low = 1e9f, high = -1e9f;
    for (int y = 0; y < 16; ++y) {
        const float* filtered = d->filteredImage.getRow(y);
        low = std::min(low, *std::min_element(filtered, filtered + 64));
        high = std::max(high, *std::max_element(filtered, filtered + 64));
        for (int x = 0; x < 64; ++x) EXPECT_EQ(d->intensityImage.getRow(y)[x], static_cast<int>(filtered[x]));
        EXPECT_EQ(d->responseImage.getRow(y)[63], 0.0f);
    }
    EXPECT_TRUE(low == 0.0f && std::abs(high - 255.0f) < 1e-3f) << low << ".." << high;
    // Brightening with depth at the top of the band, darkening at its bottom; the frame row stays 0.
    const float* response = d->responseImage.getRow(8);
    EXPECT_TRUE(response[20] > 0.0f && response[35] < 0.0f && d->responseImage.getRow(0)[20] == 0.0f);
    EXPECT_EQ(Ints({d->smoothImage.getRow(15)[28], d->smoothImage.getRow(8)[28]}), Ints({0, 200}));

    // A flat B-scan rescales to NaN, unguarded, and still loads.
    d = loaded(volume, 10, 8, 32, [](std::size_t) { return 0; });
    ASSERT_TRUE(d->loadBScan(0));
    EXPECT_TRUE(std::isnan(d->filteredImage.getRow(3)[3]));

    // Rows padded to 64 bytes: the B-scan is copied as one block, so row 1 begins with the 64th byte.
    d = loaded(volume, 10, 4, 40, [](std::size_t i) { return i % 251; });
    ASSERT_EQ(d->rawImage.getStep(), 64);
    ASSERT_TRUE(d->loadBScan(2));
    const std::uint8_t* start = volume.data() + 2 * 4 * 40;
    EXPECT_EQ(Ints({d->rawImage.getRow(0)[39], d->rawImage.getRow(1)[0], d->rawImage.getRow(2)[15]}),
              Ints({start[39], start[64], start[128 + 15]}));
}

// In few-scans volumes loading diffuses the low-pass image (5 steps of 0.2) before rescaling it; since diffusion
// commutes with the rescaling, that equals the normal load, diffused and rescaled again.
TEST(BScanLoading, FewScansVolumesDiffuseBeforeRescaling) {
    std::vector<std::uint8_t> volume;
    const auto sample = [](std::size_t i) { return i * 37 % 101 + (i % 64 > 20 ? 100 : 0); };
    auto normal = loaded(volume, 12, 16, 64, sample);
    auto few = loaded(volume, 12, 16, 64, sample);
    few->fewScansMode = 1;
    ASSERT_TRUE(normal->loadBScan(3) && few->loadBScan(3));
    ippImage32f expected;
    fillImage(expected, 64, 16, [&](int x, int y) { return normal->filteredImage.getRow(y)[x]; });
    VelinDetectorIpp().diffuse(expected, 5, 0.2);
    float low = 1e9f, high = -1e9f;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 64; ++x)
            low = std::min(low, expected.getRow(y)[x]), high = std::max(high, expected.getRow(y)[x]);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 64; ++x)
            ASSERT_NEAR(few->filteredImage.getRow(y)[x], (expected.getRow(y)[x] - low) * 255.0 / (high - low), 1e-3)
                << x << "," << y;
}

// Rows of 40 samples in a 64 x 8 transform whose filter passes only the mean. The block copy fills 128 of the 200
// visible samples (rows 0..2 and 8 samples of row 3), so a B-scan of value v transforms to the constant
// (128 v + 312 c) / 512, where c is what the transform left outside the B-scan the time before (0 after setup).
TEST(BScanLoading, TheWorkImageOutsideTheBScanKeepsThePreviousTransform) {
    std::vector<std::uint8_t> volume;
    auto d = loaded(volume, 12, 5, 40, [](std::size_t i) { return i < 200 ? 8 : 16; });
    fillImage(d->fftFilterImage, 64, 8, 0.0f);
    d->fftFilterImage.getRow(0)[0] = 1.0f;
    const float expected[] = {128 * 8 / 512.0f, (128 * 16 + 312 * 2) / 512.0f, (128 * 16 + 312 * 5.21875f) / 512.0f};
    const int bScans[] = {0, 1, 1};
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(d->loadBScan(bScans[i]));
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 64; ++x)
                ASSERT_NEAR(d->fftWorkImage.getRow(y)[x], expected[i], 1e-4) << i << ": " << x << "," << y;
    }
}

// The low-pass skips the spectrum's columns the mask zeroes, and must still give the bits of the whole
// transforms, also outside the B-scan, where the next B-scan reads them: on speckle, on a dark B-scan, and
// through a mask that passes nothing, whose low-pass is exactly zero: only the whole transforms give each zero
// its sign.
TEST(BScanLoading, SkippingTheMaskedColumnsKeepsEveryBitOfTheLowPass) {
    const auto bits = [](const ippImage32f& image, int width, int height) {
        std::vector<std::uint32_t> out(static_cast<std::size_t>(width) * height);
        for (int y = 0; y < height; ++y) std::memcpy(&out[static_cast<std::size_t>(y) * width], image.getRow(y), 4u * width);
        return out;
    };
    std::vector<std::uint8_t> volume;
    // Unpadded, with more live columns than one block of the column transform; padded; nothing passed.
    for (const auto& shape : {std::array<int, 3>{256, 512, 1}, {50, 200, 1}, {64, 256, 0}}) {
        const int aScans = shape[0], depth = shape[1];
        const auto sample = [depth](std::size_t i) { return i / depth % 12 == 3 ? 0 : (i * 2654435761u >> 7) % 256; };
        auto skipping = loaded(volume, 12, aScans, depth, sample);
        auto whole = loaded(volume, 12, aScans, depth, sample);
        ASSERT_GT(skipping->fftLiveColumns, 0) << depth;
        whole->fftLiveColumns = 0;
        if (shape[2] == 0)
            for (auto* d : {skipping.get(), whole.get()})
                fillImage(d->fftFilterImage, d->fftFilterImage.getWidth(), d->fftFilterImage.getHeight(), 0.0f);
        for (int b : {0, 3, 4, 3}) {  // B-scan 3 is dark
            ASSERT_TRUE(skipping->loadBScan(b) == whole->loadBScan(b));
            const int w = skipping->fftWorkImage.getWidth(), h = skipping->fftWorkImage.getHeight();
            ASSERT_EQ(bits(skipping->fftWorkImage, w, h), bits(whole->fftWorkImage, w, h)) << depth << " " << b;
            ASSERT_EQ(bits(skipping->filteredImage, depth, aScans), bits(whole->filteredImage, depth, aScans));
        }
    }
}

TEST(Diffusion, MovesEachInteriorPixelAFifthAlongTheLaplacianAndLeavesTheFrame) {
    VelinDetectorIpp detector;
    ippImage32f image;
    fillImage(image, 5, 5, [](int x, int y) { return x == 2 && y == 2 ? 10.0f : x == 2 && y == 0 ? 5.0f : 0.0f; });
    detector.diffuse(image, 1, 0.2);
    // The centre keeps a fifth, (2, 1) gets 0.2 * (10 + 5), the diagonal nothing, the frame stays.
    const Floats after{image.getRow(2)[2], image.getRow(1)[2], image.getRow(2)[1], image.getRow(1)[1],
                       image.getRow(0)[2]};
    for (int i = 0; i < 5; ++i) EXPECT_FLOAT_EQ(after[i], Floats({2, 3, 2, 0, 5})[i]) << i;
}
