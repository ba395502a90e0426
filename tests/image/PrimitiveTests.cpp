// The image primitives: every one reports bad arguments (pointers, region, step, in that order) before it
// writes anything; conversion rounding, saturation and NaN, statistics, histogram levels, the threshold's strict
// comparisons; neighbourhood filters against brute-force kernel references, the median's border and even-mask
// rules; the real 2-D FFT against a direct DFT placed into the packed layout, and MulPack against complex
// products taken slot by slot of that layout.

#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <random>
#include <vector>

using namespace Orvan::Ipp;

namespace {

// A test image of T whose rows are exactly `width` pixels apart. Pixels start at `fill`, or are drawn by
// draw(generator) from a generator seeded with `seed`.
template <typename T>
struct Plane {
    int width, height;
    std::vector<T> px;
    Plane(int w, int h, T fill = T()) : width(w), height(h), px(static_cast<std::size_t>(w) * h, fill) {}
    template <typename Draw>
    Plane(int w, int h, unsigned seed, Draw draw) : Plane(w, h) {
        std::mt19937 generator(seed);
        for (T& v : px) v = static_cast<T>(draw(generator));
    }
    T& at(int x, int y) { return px[static_cast<std::size_t>(y) * width + x]; }
    int step() const { return width * static_cast<int>(sizeof(T)); }
};

struct Call {
    const char* name;
    bool readsSrc, writesDst;
    IppStatus (*run)(Ipp8u* s, Ipp8u* d, int st, IppiSize z);  // source and destination as raw bytes
};

Ipp32f* F(Ipp8u* p) { return reinterpret_cast<Ipp32f*>(p); }
Ipp32f lo, hi;
Ipp64f sum;
Ipp32s hist[4], levels[5];

// One row per primitive: whether it reads a source and writes a destination, and its call.
// clang-format off
#define CALL(reads, writes, call) \
    Call{#call, reads, writes,    \
         []([[maybe_unused]] Ipp8u* s, [[maybe_unused]] Ipp8u* d, int st, IppiSize z) { return call; }}
// clang-format on
const Call kCalls[] = {
    CALL(false, true, ippiSet_8u_C1R(1, d, st, z)),
    CALL(true, true, ippiCopy_8u_C1R(s, st, d, st, z)),
    CALL(true, true, ippiCopy_32f_C1R(F(s), st, F(d), st, z)),
    CALL(true, true, ippiConvert_8u32f_C1R(s, st, F(d), st, z)),
    CALL(true, true, ippiConvert_32f8u_C1R(F(s), st, d, st, z, ippRndZero)),
    CALL(false, true, ippiAddC_32f_C1IR(1, F(d), st, z)),
    CALL(true, false, ippiMinMax_32f_C1R(F(s), st, z, &lo, &hi)),
    CALL(true, false, ippiSum_8u_C1R(s, st, z, &sum)),
    CALL(true, false, ippiHistogramEven_8u_C1R(s, st, z, hist, levels, 5, 0, 256)),
    CALL(true, true, ippiThreshold_LTValGTVal_8u_C1R(s, st, d, st, z, 1, 0, 2, 9)),
    CALL(true, true, ippiFilterGauss_8u_C1R(s, st, d, st, z, ippMskSize3x3)),
    CALL(true, true, ippiFilterSobelVertMask_32f_C1R(F(s), st, F(d), st, z, ippMskSize3x3)),
    CALL(true, true, ippiMulPack_32f_C1IR(F(s), st, F(d), st, z)),
};
#undef CALL

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

std::vector<Ipp8u> convert(const std::vector<float>& in, IppRoundMode mode) {
    std::vector<Ipp8u> out(in.size(), 77);
    const int n = static_cast<int>(in.size());
    EXPECT_EQ(ippiConvert_32f8u_C1R(in.data(), n * 4, out.data(), n, {n, 1}, mode), ippStsNoErr);
    return out;
}

// Histogram of `values` laid out as two rows with four padding bytes (never counted) after the first, followed
// by its levels.
std::vector<Ipp32s> histogram(const std::vector<Ipp8u>& values, int nLevels, Ipp32s lower, Ipp32s upper) {
    const int w = static_cast<int>(values.size()) / 2;
    std::vector<Ipp8u> img(values);
    img.insert(img.begin() + w, 4, 200);
    std::vector<Ipp32s> out(static_cast<std::size_t>(2 * nLevels - 1), -1);
    EXPECT_EQ(ippiHistogramEven_8u_C1R(img.data(), w + 4, {w, 2}, out.data(), &out[nLevels - 1], nLevels, lower, upper),
              0);
    return out;
}

using Image = Plane<float>;

const std::uniform_real_distribution<float> kUnit(-1.0f, 1.0f);

// An image in the packed layout, written out from its description for any width and height: vertical packs in
// column 0 and (even width) column W-1, horizontal (Re, Im) pairs elsewhere. Each stored spectrum value (i, j)
// comes from value(re, im, i, j), re and im being the positions of its two parts (im < 0 for a real value).
template <typename Value>
Image packed(int W, int H, Value value) {
    Image p(W, H);
    const auto put = [&](int re, int im, int i, int j) {
        const std::complex<double> v = value(re, im, i, j);
        p.px[re] = static_cast<float>(v.real());
        if (im >= 0) p.px[im] = static_cast<float>(v.imag());
    };
    const auto column = [&](int x, int j) {
        put(x, -1, 0, j);
        for (int k = 1; 2 * k < H; ++k) put((2 * k - 1) * W + x, 2 * k * W + x, k, j);
        if (H % 2 == 0) put((H - 1) * W + x, -1, H / 2, j);
    };
    column(0, 0);
    if (W % 2 == 0 && W > 1) column(W - 1, W / 2);
    for (int i = 0; i < H; ++i)
        for (int j = 1; 2 * j < W; ++j) put(i * W + 2 * j - 1, i * W + 2 * j, i, j);
    return p;
}

// Spectrum value (i, j) of `img` by the direct O(N^2) sum, in double precision.
std::complex<double> dft(Image& img, int i, int j) {
    std::complex<double> sum;
    for (int y = 0; y < img.height; ++y)
        for (int x = 0; x < img.width; ++x)
            sum += std::polar<double>(img.at(x, y),
                                      -6.283185307179586 * (double(i) * y / img.height + double(j) * x / img.width));
    return sum;
}

std::shared_ptr<IppiFFTSpec_R_32f> fftObject(int orderX, int orderY, int flag) {
    IppiFFTSpec_R_32f* object = nullptr;
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&object, orderX, orderY, flag, ippAlgHintAccurate), 0);
    return {object, ippiFFTFree_R_32f};
}

// One transform of `in` into `out`: forward into the packed layout, or inverse.
IppStatus transform(bool inverse, Image& in, Image& out, const std::shared_ptr<IppiFFTSpec_R_32f>& fft) {
    const auto run = inverse ? ippiFFTInv_PackToR_32f_C1R : ippiFFTFwd_RToPack_32f_C1R;
    return run(in.px.data(), in.step(), out.px.data(), out.step(), fft.get(), nullptr);
}

}  // namespace

TEST(PrimitiveStatus, NullPointerBadSizeAndBadStepLeaveDestinationUntouched) {
    for (const Call& call : kCalls) {
        // 4x4 floats in rows of 32 bytes, two rows and two pixels in, so a 5x5 mask could read its frame.
        std::vector<Ipp8u> src(1024, 3), dst(1024, 0xAB);
        Ipp8u *s = src.data() + 2 * 32 + 8, *d = dst.data() + 2 * 32 + 8;
        EXPECT_EQ(call.run(nullptr, nullptr, 0, {0, 0}), ippStsNullPtrErr) << call.name;
        EXPECT_EQ(call.run(s, d, 0, {0, 4}), ippStsSizeErr) << call.name;
        EXPECT_EQ(call.run(s, d, 32, {4, -1}), ippStsSizeErr) << call.name;
        EXPECT_EQ(call.run(s, d, 0, {4, 4}), ippStsStepErr) << call.name;
        EXPECT_EQ(call.run(s, nullptr, 32, {4, 4}), call.writesDst ? ippStsNullPtrErr : ippStsNoErr) << call.name;
        EXPECT_EQ(call.run(nullptr, call.readsSrc ? d : nullptr, 32, {4, 4}), ippStsNullPtrErr) << call.name;
        EXPECT_EQ(dst, std::vector<Ipp8u>(1024, 0xAB)) << call.name;
        EXPECT_EQ(call.run(s, d, 32, {4, 4}), ippStsNoErr) << call.name;
    }
}

TEST(PrimitiveStatus, OutputPointersMasksLevelsThresholdsAndFftObjects) {
    Ipp8u img[64] = {}, dst[64];
    Ipp32f fimg[64] = {};
    EXPECT_EQ(ippiMinMax_32f_C1R(fimg, 32, {4, 4}, &lo, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiSum_8u_C1R(img, 16, {4, 4}, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiHistogramEven_8u_C1R(img, 16, {4, 4}, nullptr, levels, 5, 0, 256), ippStsNullPtrErr);
    EXPECT_EQ(ippiHistogramEven_8u_C1R(img, 16, {4, 4}, hist, levels, 1, 0, 256), ippStsHistoNofLevelsErr);

    std::fill(dst, dst + 64, 0xEE);
    EXPECT_EQ(ippiThreshold_LTValGTVal_8u_C1R(img, 8, dst, 8, {4, 4}, 100, 0, 99, 255), ippStsThresholdErr);
    EXPECT_EQ(dst[0], 0xEE);
    EXPECT_EQ(ippiFilterGauss_8u_C1R(img + 9, 8, dst, 8, {2, 2}, static_cast<IppiMaskSize>(44)), ippStsMaskSizeErr);
    EXPECT_EQ(ippiFilterSobelVertMask_32f_C1R(fimg + 9, 32, fimg, 32, {2, 2}, static_cast<IppiMaskSize>(3)),
              ippStsMaskSizeErr);

    Ipp16s v[4] = {1, 2, 3, 4}, out[4];
    EXPECT_EQ(ippsFilterMedian_16s(nullptr, out, 4, 3), ippStsNullPtrErr);
    EXPECT_EQ(ippsFilterMedian_16s(v, out, 0, 3), ippStsSizeErr);
    EXPECT_EQ(ippsFilterMedian_16s(v, out, 4, 0), ippStsMaskSizeErr);

    IppiFFTSpec_R_32f* fft = nullptr;
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(nullptr, 2, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&fft, -1, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsFftOrderErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&fft, 2, 31, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsFftOrderErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&fft, 2, 2, 3, ippAlgHintNone), ippStsFftFlagErr);
    EXPECT_EQ(fft, nullptr);
    auto* notFft = reinterpret_cast<IppiFFTSpec_R_32f*>(fimg);  // a live FFT object carries a mark; zeros do not
    EXPECT_EQ(ippiFFTFree_R_32f(notFft), ippStsContextMatchErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1R(fimg, 16, fimg, 16, notFft, nullptr), ippStsContextMatchErr);
    EXPECT_EQ(ippiFFTFree_R_32f(nullptr), ippStsNullPtrErr);
    ASSERT_EQ(ippiFFTInitAlloc_R_32f(&fft, 2, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintFast), ippStsNoErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1R(nullptr, 16, fimg, 16, fft, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTInv_PackToR_32f_C1R(fimg, 0, fimg, 16, fft, nullptr), ippStsStepErr);
    EXPECT_EQ(ippiFFTFree_R_32f(fft), ippStsNoErr);
}

TEST(PixelMaps, ConversionTruncatesOrRoundsHalfEvenSaturatesAndMapsNaNToZeroThresholdIsStrict) {
    EXPECT_EQ(convert({254.99f, -3.0f, 300.0f, 0.99f, 255.0f, -0.5f, kNaN, kInf, -kInf}, ippRndZero),
              (std::vector<Ipp8u>{254, 0, 255, 0, 255, 0, 0, 255, 0}));
    EXPECT_EQ(convert({0.5f, 1.5f, 2.5f, 3.49f, 3.51f, 254.5f, 254.6f, -0.4f, 255.4f, kNaN}, ippRndNear),
              (std::vector<Ipp8u>{0, 2, 2, 3, 4, 254, 255, 0, 255, 0}));

    // The threshold's comparisons are strict, and equal thresholds are allowed.
    const Ipp8u src[6] = {49, 50, 51, 99, 100, 101};
    Ipp8u dst[6];
    ASSERT_EQ(ippiThreshold_LTValGTVal_8u_C1R(src, 6, dst, 6, {6, 1}, 50, 0, 100, 255), ippStsNoErr);
    EXPECT_EQ(std::vector<Ipp8u>(dst, dst + 6), (std::vector<Ipp8u>{0, 50, 51, 99, 100, 255}));
    ASSERT_EQ(ippiThreshold_LTValGTVal_8u_C1R(src, 6, dst, 6, {6, 1}, 51, 1, 51, 2), ippStsNoErr);
    EXPECT_EQ(std::vector<Ipp8u>(dst, dst + 6), (std::vector<Ipp8u>{1, 1, 51, 2, 2, 2}));
}

TEST(Statistics, MinMaxSkipsNaNSumStaysExactAndHistogramLevelsAndBins) {
    float img[2][8] = {{3.0f, kNaN, -2.5f, 9.0f, 100.0f}, {kNaN, 7.0f, -4.0f, kNaN, -50.0f}};
    Ipp32f mn = 0, mx = 0;
    ASSERT_EQ(ippiMinMax_32f_C1R(&img[0][0], 32, {4, 2}, &mn, &mx), ippStsNoErr);  // column 4 lies outside
    EXPECT_TRUE(mn == -4.0f && mx == 9.0f) << mn << " " << mx;
    const float nans[3] = {kNaN, kNaN, kNaN};
    ASSERT_EQ(ippiMinMax_32f_C1R(nans, 12, {3, 1}, &mn, &mx), ippStsNoErr);
    EXPECT_TRUE(std::isnan(mn) && std::isnan(mx));
    // Of two equal extremes the first in row order is the one: +0 and -0 tell which. Rows of 37 reach past
    // any vector width, and the later zero sits in an earlier lane than the first.
    for (const bool negativeFirst : {false, true}) {
        std::vector<float> zeros(37 * 3, 1.0f);
        zeros[5] = negativeFirst ? -0.0f : 0.0f;
        zeros[37 + 2] = negativeFirst ? 0.0f : -0.0f;
        for (float& v : zeros) v = v == 1.0f ? 2.0f : v;  // everything else above the zeros
        zeros[40] = kNaN;
        ASSERT_EQ(ippiMinMax_32f_C1R(zeros.data(), 37 * 4, {37, 3}, &mn, &mx), ippStsNoErr);
        EXPECT_TRUE(mn == 0.0f && std::signbit(mn) == negativeFirst && mx == 2.0f) << negativeFirst;
        for (float& v : zeros) v = v == 2.0f ? -2.0f : v;  // now the zeros are the greatest
        ASSERT_EQ(ippiMinMax_32f_C1R(zeros.data(), 37 * 4, {37, 3}, &mn, &mx), ippStsNoErr);
        EXPECT_TRUE(mx == 0.0f && std::signbit(mx) == negativeFirst && mn == -2.0f) << negativeFirst;
    }

    // A float running sum would round long before 300 rows of 4096 bytes of 255.
    const std::vector<Ipp8u> bytes(4096 * 300, 255);
    Ipp64f sum = 0;
    ASSERT_EQ(ippiSum_8u_C1R(bytes.data(), 4096, {4096, 300}, &sum), ippStsNoErr);
    EXPECT_EQ(sum, 255.0 * 4096 * 300);

    // Histogram levels spread the remainder over the first bins; bins are lower-inclusive, upper-exclusive.
    const std::vector<Ipp8u> values = {0, 63, 64, 127, 128, 254, 255, 255};
    EXPECT_EQ(histogram(values, 5, 0, 255), (std::vector<Ipp32s>{2, 2, 1, 1, 0, 64, 128, 192, 255}));
    EXPECT_EQ(histogram(values, 3, 0, 256), (std::vector<Ipp32s>{4, 4, 0, 128, 256}));
    EXPECT_EQ(histogram(values, 13, 0, 255),
              (std::vector<Ipp32s>{1, 0,  2,  0,  0,  2,   0,   0,   0,   0,   0,   1,  // counts
                                   0, 22, 44, 66, 87, 108, 129, 150, 171, 192, 213, 234, 255}));
}

TEST(NeighbourhoodFilters, MatchKernelReferencesInsideTheRegionOnly) {
    const Plane<Ipp8u> bytes(23, 11, 7, [](std::mt19937& r) { return r() % 256; });
    // Integer-valued floats keep every partial sum exact, whatever order the filter sums in.
    const Plane<float> floats(23, 11, 8, [](std::mt19937& r) { return int(r() % 201) - 100; });
    const std::vector<int> smooth[2] = {{1, 2, 1}, {1, 4, 6, 4, 1}};
    const std::vector<int> deriv[2] = {{1, 0, -1}, {1, 2, 0, -2, -1}};  // left column positive
    for (int r : {1, 2}) {
        Plane<Ipp8u> b = bytes, g(23, 11, 200);
        Plane<float> f = floats, s(23, 11, -999.0f);
        const IppiSize roi{23 - 2 * r, 11 - 2 * r};
        const IppiMaskSize mask = r == 1 ? ippMskSize3x3 : ippMskSize5x5;
        ASSERT_EQ(ippiFilterGauss_8u_C1R(&b.at(r, r), b.step(), &g.at(r, r), g.step(), roi, mask), 0);
        ASSERT_EQ(ippiFilterSobelVertMask_32f_C1R(&f.at(r, r), f.step(), &s.at(r, r), s.step(), roi, mask), 0);
        const long divisor = r == 1 ? 16 : 256;
        for (int y = 0; y < 11; ++y)
            for (int x = 0; x < 23; ++x) {
                if (x < r || y < r || x >= 23 - r || y >= 11 - r) {
                    ASSERT_TRUE(g.at(x, y) == 200 && s.at(x, y) == -999.0f) << "frame written at " << x << "," << y;
                    continue;
                }
                long sum = 0;
                double edge = 0;
                for (int dy = -r; dy <= r; ++dy)
                    for (int dx = -r; dx <= r; ++dx) {
                        sum += smooth[r - 1][dy + r] * smooth[r - 1][dx + r] * b.at(x + dx, y + dy);
                        edge += smooth[r - 1][dy + r] * deriv[r - 1][dx + r] * f.at(x + dx, y + dy);
                    }
                long q = sum / divisor;  // exact halves (one pixel in about sixteen) round to even
                if (2 * (sum % divisor) > divisor || (2 * (sum % divisor) == divisor && q % 2 == 1)) ++q;
                ASSERT_EQ(g.at(x, y), q) << "gauss mask " << r << " at " << x << "," << y;
                ASSERT_EQ(s.at(x, y), static_cast<float>(edge)) << "sobel mask " << r << " at " << x << "," << y;
            }
    }
}

// Centred window, values beyond the ends replaced by the end values, even masks reduced by one with a
// warning; also in place.
TEST(MedianFilter, CentredWindowReplicatedEndsAndEvenMasksShrunk) {
    for (int len : {1, 2, 5, 33}) {
        const Plane<Ipp16s> src(len, 1, len, [](std::mt19937& r) { return int(r() % 21) - 10; });  // many ties
        for (int mask : {1, 2, 3, 4, 7, 10, 81}) {
            const int h = (mask - 1) / 2;
            std::vector<Ipp16s> want(static_cast<std::size_t>(len));
            for (int i = 0; i < len; ++i) {
                std::vector<Ipp16s> w;
                for (int k = -h; k <= h; ++k)
                    w.push_back(src.px[static_cast<std::size_t>(std::clamp(i + k, 0, len - 1))]);
                std::nth_element(w.begin(), w.begin() + h, w.end());
                want[static_cast<std::size_t>(i)] = w[static_cast<std::size_t>(h)];
            }
            std::vector<Ipp16s> out = src.px;  // filtered in place for some masks
            ASSERT_EQ(ippsFilterMedian_16s(mask % 3 == 0 ? out.data() : src.px.data(), out.data(), len, mask),
                      mask % 2 == 0 ? ippStsEvenMedianMaskSize : ippStsNoErr);
            EXPECT_EQ(out, want) << "len " << len << " mask " << mask;
        }
    }
}

TEST(Fft, MatchesDirectDftInPackedLayoutAndInvertsForAllSmallSizesAndFlags) {
    const int flags[4] = {IPP_FFT_DIV_FWD_BY_N, IPP_FFT_DIV_INV_BY_N, IPP_FFT_DIV_BY_SQRTN, IPP_FFT_NODIV_BY_ANY};
    for (int ox = 0; ox <= 6; ++ox)
        for (int oy = 0; oy <= 5; ++oy) {
            const int W = 1 << ox, H = 1 << oy, flag = flags[(ox + oy) % 4];
            const double n = double(W) * H;
            const double fwdScale = flag == 1 ? 1.0 / n : flag == 4 ? 1.0 / std::sqrt(n) : 1.0;
            const double invScale = flag == 2 ? 1.0 / n : flag == 4 ? 1.0 / std::sqrt(n) : 1.0;
            Image src(W, H, static_cast<unsigned>(17 * ox + oy + 1), kUnit), fwd(W, H), back(W, H);
            Image want = packed(W, H, [&](int, int, int i, int j) { return dft(src, i, j); });
            const auto fft = fftObject(ox, oy, flag);
            ASSERT_EQ(transform(false, src, fwd, fft), ippStsNoErr);
            ASSERT_EQ(transform(true, want, back, fft), ippStsNoErr);
            double peak = 0.0;
            for (float v : want.px) peak = std::max(peak, std::fabs(double(v)));
            for (std::size_t i = 0; i < fwd.px.size(); ++i) {
                ASSERT_NEAR(fwd.px[i], want.px[i] * fwdScale, 1e-4 * peak * fwdScale) << W << "x" << H << " at " << i;
                ASSERT_NEAR(back.px[i], src.px[i] * n * invScale, 1e-5 * n * invScale) << W << "x" << H << " at " << i;
            }
        }
}

TEST(Fft, RoundTripAtDetectorSizeLeavesRowPaddingAlone) {
    const int W = 1024, H = 512, padded = W + 8;
    Image src(padded, H, 99, kUnit), spectrum(padded, H), back(padded, H, 7.0f);
    const auto fft = fftObject(10, 9, IPP_FFT_DIV_BY_SQRTN);
    ASSERT_EQ(transform(false, src, spectrum, fft), ippStsNoErr);
    ASSERT_EQ(transform(true, spectrum, back, fft), ippStsNoErr);
    double err = 0.0, norm = 0.0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            err += std::pow(double(back.at(x, y)) - src.at(x, y), 2);
            norm += std::pow(double(src.at(x, y)), 2);
        }
    EXPECT_EQ(std::count(back.px.begin(), back.px.end(), 7.0f), 8 * H) << "row padding written";
    EXPECT_LT(std::sqrt(err / norm), 1e-5);
}

TEST(MulPack, MultipliesRealSlotsAsRealsAndPairsAsComplexForEvenAndOddSizes) {
    for (IppiSize size : {IppiSize{8, 4}, IppiSize{2, 2}, IppiSize{1, 1}, IppiSize{6, 5}, IppiSize{7, 6},
                          IppiSize{5, 3}, IppiSize{1, 4}, IppiSize{4, 1}}) {
        Image a(size.width, size.height, 3, kUnit), b(size.width, size.height, 4, kUnit);
        const Image want = packed(size.width, size.height, [&](int re, int im, int, int) {
            const auto value = [&](Image& p) { return std::complex<double>(p.px[re], im < 0 ? 0.0f : p.px[im]); };
            return value(a) * value(b);
        });
        ASSERT_EQ(ippiMulPack_32f_C1IR(a.px.data(), a.step(), b.px.data(), b.step(), size), ippStsNoErr);
        for (std::size_t i = 0; i < want.px.size(); ++i)
            EXPECT_NEAR(b.px[i], want.px[i], 1e-6) << size.width << "x" << size.height << " at " << i;
    }
}
