// Neighbourhood filters against hand-derived values and brute-force references, and the median's border
// and even-mask rules.

#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace Orvan::Ipp;

namespace {

template <typename T>
struct Plane {
    int width, height;
    std::vector<T> px;
    Plane(int w, int h, T fill = T()) : width(w), height(h), px(static_cast<std::size_t>(w) * h, fill) {}
    T& at(int x, int y) { return px[static_cast<std::size_t>(y) * width + x]; }
    int step() const { return width * static_cast<int>(sizeof(T)); }
};

// Gaussian over the interior of a w x h image, border b; returns the full-size destination.
Plane<Ipp8u> gauss(Plane<Ipp8u>& src, IppiMaskSize mask, int b) {
    Plane<Ipp8u> dst(src.width, src.height, 200);
    EXPECT_EQ(ippiFilterGauss_8u_C1R(&src.at(b, b), src.step(), &dst.at(b, b), dst.step(),
                                     {src.width - 2 * b, src.height - 2 * b}, mask),
              ippStsNoErr);
    return dst;
}

// Exact integer reference: weighted sum, then division rounding ties to even.
int roundHalfEven(long sum, long divisor) {
    long q = sum / divisor, r = sum % divisor;
    if (2 * r > divisor || (2 * r == divisor && q % 2 == 1)) ++q;
    return static_cast<int>(q);
}

}  // namespace

TEST(GaussFilter, ExactHalvesRoundToEven) {
    // A single bright centre contributes 4/16 of its value: 2 -> 0.5, 6 -> 1.5, 10 -> 2.5, 14 -> 3.5.
    for (auto [centre, want] : {std::pair<int, int>{2, 0}, {6, 2}, {10, 2}, {14, 4}, {3, 1}, {1, 0}}) {
        Plane<Ipp8u> src(3, 3, 0);
        src.at(1, 1) = static_cast<Ipp8u>(centre);
        EXPECT_EQ(gauss(src, ippMskSize3x3, 1).at(1, 1), want) << "centre " << centre;
    }
    // 8 + 16*q for q odd: the neighbourhood sum 24 (1.5) goes up to 2, 40 (2.5) stays at 2.
    Plane<Ipp8u> src(3, 3, 0);
    src.at(0, 0) = 8;   // weight 1
    src.at(1, 0) = 8;   // weight 2
    EXPECT_EQ(gauss(src, ippMskSize3x3, 1).at(1, 1), 2);
    src.at(2, 2) = 16;  // sum 40
    EXPECT_EQ(gauss(src, ippMskSize3x3, 1).at(1, 1), 2);
}

TEST(GaussFilter, MatchesReferenceAndLeavesFrameUntouched) {
    std::mt19937 rng(7);
    Plane<Ipp8u> src(23, 11);
    for (Ipp8u& v : src.px) v = static_cast<Ipp8u>(rng() % 256);
    const int k3[3] = {1, 2, 1}, k5[5] = {1, 4, 6, 4, 1};
    for (int radius : {1, 2}) {
        Plane<Ipp8u> dst = gauss(src, radius == 1 ? ippMskSize3x3 : ippMskSize5x5, radius);
        const int* k = radius == 1 ? k3 : k5;
        for (int y = 0; y < src.height; ++y)
            for (int x = 0; x < src.width; ++x) {
                const bool inside = x >= radius && y >= radius && x < src.width - radius && y < src.height - radius;
                if (!inside) {
                    ASSERT_EQ(dst.at(x, y), 200) << x << "," << y;
                    continue;
                }
                long sum = 0;
                for (int dy = -radius; dy <= radius; ++dy)
                    for (int dx = -radius; dx <= radius; ++dx)
                        sum += k[dy + radius] * k[dx + radius] * src.at(x + dx, y + dy);
                ASSERT_EQ(dst.at(x, y), roundHalfEven(sum, radius == 1 ? 16 : 256)) << x << "," << y;
            }
    }
}

TEST(SobelFilter, LeftColumnCountsPositively) {
    // Intensity falling from left to right gives a positive response.
    Plane<float> src(5, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) src.at(x, y) = static_cast<float>(10 - 2 * x);
    Plane<float> dst(5, 3, -99.0f);
    ASSERT_EQ(ippiFilterSobelVertMask_32f_C1R(&src.at(1, 1), src.step(), &dst.at(1, 1), dst.step(), {3, 1},
                                              ippMskSize3x3),
              ippStsNoErr);
    for (int x = 1; x <= 3; ++x) EXPECT_EQ(dst.at(x, 1), 16.0f);  // (1+2+1) * 2 * 2
    EXPECT_EQ(dst.at(0, 1), -99.0f);
    EXPECT_EQ(dst.at(4, 1), -99.0f);
    EXPECT_EQ(dst.at(2, 0), -99.0f);
}

TEST(SobelFilter, MatchesKernelReferenceForBothMasks) {
    // Integer-valued pixels make every partial sum exact, so the reference may sum in any order.
    std::mt19937 rng(3);
    Plane<float> src(17, 9);
    for (float& v : src.px) v = static_cast<float>(static_cast<int>(rng() % 201) - 100);
    const int smooth3[3] = {1, 2, 1}, deriv3[3] = {1, 0, -1};
    const int smooth5[5] = {1, 4, 6, 4, 1}, deriv5[5] = {1, 2, 0, -2, -1};
    for (int r : {1, 2}) {
        const int* smooth = r == 1 ? smooth3 : smooth5;
        const int* deriv = r == 1 ? deriv3 : deriv5;
        Plane<float> dst(src.width, src.height, 0.0f);
        ASSERT_EQ(ippiFilterSobelVertMask_32f_C1R(&src.at(r, r), src.step(), &dst.at(r, r), dst.step(),
                                                  {src.width - 2 * r, src.height - 2 * r},
                                                  r == 1 ? ippMskSize3x3 : ippMskSize5x5),
                  ippStsNoErr);
        for (int y = r; y < src.height - r; ++y)
            for (int x = r; x < src.width - r; ++x) {
                double want = 0;
                for (int dy = -r; dy <= r; ++dy)
                    for (int dx = -r; dx <= r; ++dx) want += smooth[dy + r] * deriv[dx + r] * src.at(x + dx, y + dy);
                ASSERT_EQ(dst.at(x, y), static_cast<float>(want)) << "mask " << r << " at " << x << "," << y;
            }
    }
}

TEST(MedianFilter, CentredWindowWithReplicatedEnds) {
    const std::vector<Ipp16s> src = {9, 1, 5, -3, 7, 2, 8};
    std::vector<Ipp16s> dst(src.size());
    ASSERT_EQ(ippsFilterMedian_16s(src.data(), dst.data(), 7, 3), ippStsNoErr);
    // dst[0] = median(9, 9, 1) uses the replicated first value; dst[6] = median(2, 8, 8).
    EXPECT_EQ(dst, (std::vector<Ipp16s>{9, 5, 1, 5, 2, 7, 8}));
    ASSERT_EQ(ippsFilterMedian_16s(src.data(), dst.data(), 7, 5), ippStsNoErr);
    // dst[0] = median(9, 9, 9, 1, 5), dst[1] = median(9, 9, 1, 5, -3)
    EXPECT_EQ(dst[0], 9);
    EXPECT_EQ(dst[1], 5);
    EXPECT_EQ(dst[6], 8);
}

TEST(MedianFilter, EvenMaskShrinksByOneWithWarning) {
    std::mt19937 rng(1);
    std::vector<Ipp16s> src(40);
    for (Ipp16s& v : src) v = static_cast<Ipp16s>(static_cast<int>(rng() % 2001) - 1000);
    for (int even : {2, 4, 6, 10}) {
        std::vector<Ipp16s> a(src.size()), b(src.size());
        EXPECT_EQ(ippsFilterMedian_16s(src.data(), a.data(), 40, even), ippStsEvenMedianMaskSize);
        EXPECT_EQ(ippsFilterMedian_16s(src.data(), b.data(), 40, even - 1), ippStsNoErr);
        EXPECT_EQ(a, b) << "mask " << even;
    }
    std::vector<Ipp16s> copy(src.size());
    EXPECT_EQ(ippsFilterMedian_16s(src.data(), copy.data(), 40, 2), ippStsEvenMedianMaskSize);
    EXPECT_EQ(copy, src);
}

TEST(MedianFilter, MatchesBruteForceAndWorksInPlace) {
    std::mt19937 rng(2);
    for (int len : {1, 2, 5, 33}) {
        std::vector<Ipp16s> src(static_cast<std::size_t>(len));
        for (Ipp16s& v : src) v = static_cast<Ipp16s>(static_cast<int>(rng() % 21) - 10);  // many ties
        for (int mask : {1, 3, 7, 9, 81}) {
            const int h = (mask - 1) / 2;
            std::vector<Ipp16s> want(src.size());
            for (int i = 0; i < len; ++i) {
                std::vector<Ipp16s> w;
                for (int k = -h; k <= h; ++k) w.push_back(src[static_cast<std::size_t>(std::clamp(i + k, 0, len - 1))]);
                std::sort(w.begin(), w.end());
                want[static_cast<std::size_t>(i)] = w[static_cast<std::size_t>(h)];
            }
            std::vector<Ipp16s> inPlace = src;
            ASSERT_EQ(ippsFilterMedian_16s(inPlace.data(), inPlace.data(), len, mask), ippStsNoErr);
            EXPECT_EQ(inPlace, want) << "len " << len << " mask " << mask;
        }
    }
}
