// Point primitives: conversion rounding, saturation and NaN, statistics, histogram levels and the
// threshold's strict comparisons.

#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using namespace Orvan::Ipp;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

std::vector<Ipp8u> convert(const std::vector<float>& in, IppRoundMode mode) {
    std::vector<Ipp8u> out(in.size(), 77);
    const int n = static_cast<int>(in.size());
    EXPECT_EQ(ippiConvert_32f8u_C1R(in.data(), n * 4, out.data(), n, {n, 1}, mode), ippStsNoErr);
    return out;
}

}  // namespace

TEST(Conversion, TruncatesOrRoundsHalfEvenSaturatesAndMapsNaNToZero) {
    EXPECT_EQ(convert({254.99f, -3.0f, 300.0f, 0.99f, 255.0f, -0.5f, kNaN, kInf, -kInf}, ippRndZero),
              (std::vector<Ipp8u>{254, 0, 255, 0, 255, 0, 0, 255, 0}));
    EXPECT_EQ(convert({0.5f, 1.5f, 2.5f, 3.49f, 3.51f, 254.5f, 254.6f, -0.4f, 255.4f, kNaN}, ippRndNear),
              (std::vector<Ipp8u>{0, 2, 2, 3, 4, 254, 255, 0, 255, 0}));
}

TEST(Statistics, MinMaxSkipsNaNAndSumStaysExact) {
    float img[2][8] = {{3.0f, kNaN, -2.5f, 9.0f, 100.0f}, {kNaN, 7.0f, -4.0f, kNaN, -50.0f}};
    Ipp32f mn = 0, mx = 0;
    ASSERT_EQ(ippiMinMax_32f_C1R(&img[0][0], 32, {4, 2}, &mn, &mx), ippStsNoErr);  // column 4 lies outside
    EXPECT_EQ(mn, -4.0f);
    EXPECT_EQ(mx, 9.0f);
    const float nans[3] = {kNaN, kNaN, kNaN};
    ASSERT_EQ(ippiMinMax_32f_C1R(nans, 12, {3, 1}, &mn, &mx), ippStsNoErr);
    EXPECT_TRUE(std::isnan(mn) && std::isnan(mx));

    const int W = 4096, H = 300;
    std::vector<Ipp8u> bytes(static_cast<std::size_t>(W) * H, 255);
    bytes[5] = 0;
    Ipp64f sum = 0;
    ASSERT_EQ(ippiSum_8u_C1R(bytes.data(), W, {W, H}, &sum), ippStsNoErr);
    EXPECT_EQ(sum, 255.0 * W * H - 255.0);
}

TEST(Histogram, LevelsSpreadTheRemainderOverTheFirstBins) {
    Ipp8u px = 0;
    Ipp32s hist[12], levels[13];
    ASSERT_EQ(ippiHistogramEven_8u_C1R(&px, 1, {1, 1}, hist, levels, 13, 0, 255), ippStsNoErr);
    EXPECT_EQ(std::vector<Ipp32s>(levels, levels + 13),
              (std::vector<Ipp32s>{0, 22, 44, 66, 87, 108, 129, 150, 171, 192, 213, 234, 255}));
}

TEST(Histogram, CountsLowerInclusiveUpperExclusive) {
    std::vector<Ipp8u> img(256 * 3);
    for (std::size_t i = 0; i < img.size(); ++i) img[i] = static_cast<Ipp8u>(i % 256);
    img[7] = 255;  // 255 now appears four times, 7 twice

    std::vector<Ipp32s> hist(256, -1), levels(257);
    ASSERT_EQ(ippiHistogramEven_8u_C1R(img.data(), 256, {256, 3}, hist.data(), levels.data(), 257, 0, 256), 0);
    for (int k = 0; k < 257; ++k) ASSERT_EQ(levels[static_cast<std::size_t>(k)], k);
    EXPECT_EQ(hist[0], 3);
    EXPECT_EQ(hist[7], 2);
    EXPECT_EQ(hist[255], 4);

    // With upper 255 the 255s fall outside every bin.
    std::vector<Ipp32s> coarse(4, -1), coarseLevels(5);
    ASSERT_EQ(ippiHistogramEven_8u_C1R(img.data(), 256, {256, 3}, coarse.data(), coarseLevels.data(), 5, 0, 255), 0);
    EXPECT_EQ(coarseLevels, (std::vector<Ipp32s>{0, 64, 128, 192, 255}));
    EXPECT_EQ(coarse, (std::vector<Ipp32s>{64 * 3 - 1, 64 * 3, 64 * 3, 63 * 3}));
}

TEST(Threshold, ComparisonsAreStrictAndEqualThresholdsAllowed) {
    const Ipp8u src[6] = {49, 50, 51, 99, 100, 101};
    Ipp8u dst[6];
    ASSERT_EQ(ippiThreshold_LTValGTVal_8u_C1R(src, 6, dst, 6, {6, 1}, 50, 0, 100, 255), ippStsNoErr);
    EXPECT_EQ(std::vector<Ipp8u>(dst, dst + 6), (std::vector<Ipp8u>{0, 50, 51, 99, 100, 255}));
    ASSERT_EQ(ippiThreshold_LTValGTVal_8u_C1R(src, 6, dst, 6, {6, 1}, 51, 1, 51, 2), ippStsNoErr);
    EXPECT_EQ(std::vector<Ipp8u>(dst, dst + 6), (std::vector<Ipp8u>{1, 1, 51, 2, 2, 2}));
}
