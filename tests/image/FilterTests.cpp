// Neighbourhood filters against hand-derived values and brute-force kernel references, and the median's
// border and even-mask rules.

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

Ipp8u gaussCentre(Plane<Ipp8u> src) {
    Ipp8u out = 0;
    EXPECT_EQ(ippiFilterGauss_8u_C1R(&src.at(1, 1), src.step(), &out, 1, {1, 1}, ippMskSize3x3), ippStsNoErr);
    return out;
}

}  // namespace

TEST(GaussFilter, ExactHalvesRoundToEven) {
    // A lone centre weighs 4/16: 2 -> 0.5 -> 0, 6 -> 1.5 -> 2, 10 -> 2.5 -> 2, 14 -> 3.5 -> 4; 3 -> 0.75 -> 1.
    for (auto [centre, want] : {std::pair<int, int>{2, 0}, {6, 2}, {10, 2}, {14, 4}, {3, 1}}) {
        Plane<Ipp8u> src(3, 3, 0);
        src.at(1, 1) = static_cast<Ipp8u>(centre);
        EXPECT_EQ(gaussCentre(src), want) << "centre " << centre;
    }
}

TEST(NeighbourhoodFilters, MatchKernelReferencesInsideTheRegionOnly) {
    std::mt19937 rng(7);
    Plane<Ipp8u> bytes(23, 11);
    Plane<float> floats(23, 11);
    for (Ipp8u& v : bytes.px) v = static_cast<Ipp8u>(rng() % 256);
    // Integer-valued floats keep every partial sum exact, whatever order the filter sums in.
    for (float& v : floats.px) v = static_cast<float>(static_cast<int>(rng() % 201) - 100);
    const std::vector<int> smooth[2] = {{1, 2, 1}, {1, 4, 6, 4, 1}};
    const std::vector<int> deriv[2] = {{1, 0, -1}, {1, 2, 0, -2, -1}};  // left column positive
    for (int r : {1, 2}) {
        const IppiSize roi{23 - 2 * r, 11 - 2 * r};
        const IppiMaskSize mask = r == 1 ? ippMskSize3x3 : ippMskSize5x5;
        Plane<Ipp8u> g(23, 11, 200);
        Plane<float> s(23, 11, -999.0f);
        ASSERT_EQ(ippiFilterGauss_8u_C1R(&bytes.at(r, r), bytes.step(), &g.at(r, r), g.step(), roi, mask), 0);
        ASSERT_EQ(ippiFilterSobelVertMask_32f_C1R(&floats.at(r, r), floats.step(), &s.at(r, r), s.step(), roi, mask), 0);
        const long divisor = r == 1 ? 16 : 256;
        for (int y = 0; y < 11; ++y)
            for (int x = 0; x < 23; ++x) {
                if (x < r || y < r || x >= 23 - r || y >= 11 - r) {
                    ASSERT_EQ(g.at(x, y), 200);
                    ASSERT_EQ(s.at(x, y), -999.0f);
                    continue;
                }
                long sum = 0;
                double edge = 0;
                for (int dy = -r; dy <= r; ++dy)
                    for (int dx = -r; dx <= r; ++dx) {
                        sum += smooth[r - 1][dy + r] * smooth[r - 1][dx + r] * bytes.at(x + dx, y + dy);
                        edge += smooth[r - 1][dy + r] * deriv[r - 1][dx + r] * floats.at(x + dx, y + dy);
                    }
                long q = sum / divisor;
                if (2 * (sum % divisor) > divisor || (2 * (sum % divisor) == divisor && q % 2 == 1)) ++q;
                ASSERT_EQ(g.at(x, y), q) << "gauss mask " << r << " at " << x << "," << y;
                ASSERT_EQ(s.at(x, y), static_cast<float>(edge)) << "sobel mask " << r << " at " << x << "," << y;
            }
    }
}

TEST(MedianFilter, EvenMaskShrinksByOneWithWarning) {
    std::mt19937 rng(1);
    std::vector<Ipp16s> src(40);
    for (Ipp16s& v : src) v = static_cast<Ipp16s>(static_cast<int>(rng() % 2001) - 1000);
    for (int even : {2, 4, 10}) {
        std::vector<Ipp16s> a(src.size()), b(src.size());
        EXPECT_EQ(ippsFilterMedian_16s(src.data(), a.data(), 40, even), ippStsEvenMedianMaskSize);
        EXPECT_EQ(ippsFilterMedian_16s(src.data(), b.data(), 40, even - 1), ippStsNoErr);
        EXPECT_EQ(a, b) << "mask " << even;
    }
}

TEST(MedianFilter, CentredWindowWithReplicatedEndsAlsoInPlace) {
    std::mt19937 rng(2);
    for (int len : {1, 2, 5, 33}) {
        std::vector<Ipp16s> src(static_cast<std::size_t>(len));
        for (Ipp16s& v : src) v = static_cast<Ipp16s>(static_cast<int>(rng() % 21) - 10);  // many ties
        for (int mask : {1, 3, 7, 81}) {
            const int h = (mask - 1) / 2;
            std::vector<Ipp16s> want(src.size());
            for (int i = 0; i < len; ++i) {
                std::vector<Ipp16s> w;
                for (int k = -h; k <= h; ++k) w.push_back(src[static_cast<std::size_t>(std::clamp(i + k, 0, len - 1))]);
                std::nth_element(w.begin(), w.begin() + h, w.end());
                want[static_cast<std::size_t>(i)] = w[static_cast<std::size_t>(h)];
            }
            std::vector<Ipp16s> inPlace = src;
            ASSERT_EQ(ippsFilterMedian_16s(inPlace.data(), inPlace.data(), len, mask), ippStsNoErr);
            EXPECT_EQ(inPlace, want) << "len " << len << " mask " << mask;
        }
    }
}
