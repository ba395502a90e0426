// Every output bit of the transform pair is pinned: the segmentation's pinned planes rest on it, so any
// speed-up of the transform must keep each element's float operations and their order. The hashes were
// recorded with the first, plainly vectorised transform; they hold for the plain row kernels and, where the
// processor has AVX2, for the AVX2 ones.

#include <Velin/Image/FftBand.h>
#include <Velin/Image/FftContext.h>
#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using namespace Orvan::Ipp;

namespace {

std::uint64_t fnv1a(const Ipp32f* data, int width, int height, int step, std::uint64_t hash) {
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = reinterpret_cast<const unsigned char*>(data) + static_cast<std::size_t>(y) * step;
        for (int i = 0; i < width * 4; ++i) hash = (hash ^ row[i]) * 1099511628211ull;
    }
    return hash;
}

// Forward transform of pseudo-random samples with fractions, then the inverse of that spectrum; one hash over
// both outputs.
std::uint64_t pairHash(int orderX, int orderY, bool plainKernels) {
    const int width = 1 << orderX, height = 1 << orderY;
    int step = 0, spectrumStep = 0, backStep = 0;
    Ipp32f* samples = ippiMalloc_32f_C1(width, height, &step);
    Ipp32f* spectrum = ippiMalloc_32f_C1(width, height, &spectrumStep);
    Ipp32f* back = ippiMalloc_32f_C1(width, height, &backStep);
    std::uint32_t state = 12345u + static_cast<std::uint32_t>(orderX * 31 + orderY);
    for (int y = 0; y < height; ++y) {
        Ipp32f* row =
            reinterpret_cast<Ipp32f*>(reinterpret_cast<unsigned char*>(samples) + static_cast<std::size_t>(y) * step);
        for (int x = 0; x < width; ++x) {
            state = state * 1664525u + 1013904223u;
            row[x] = static_cast<float>(state >> 8) / 65536.0f;  // 0 .. 256 with fractions
        }
    }
    IppiFFTSpec_R_32f* fft = nullptr;
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&fft, orderX, orderY, IPP_FFT_DIV_BY_SQRTN, ippAlgHintAccurate), ippStsNoErr);
    if (plainKernels) fft->avx2 = false;
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1R(samples, step, spectrum, spectrumStep, fft, nullptr), ippStsNoErr);
    EXPECT_EQ(ippiFFTInv_PackToR_32f_C1R(spectrum, spectrumStep, back, backStep, fft, nullptr), ippStsNoErr);
    std::uint64_t hash = fnv1a(spectrum, width, height, spectrumStep, 14695981039346656037ull);
    hash = fnv1a(back, width, height, backStep, hash);
    ippiFFTFree_R_32f(fft);
    ippiFree(back);
    ippiFree(spectrum);
    ippiFree(samples);
    return hash;
}

}  // namespace

TEST(FftBits, EveryOutputBitOfThePairStaysAsRecorded) {
    struct Case {
        int orderX, orderY;
        std::uint64_t hash;
    } const cases[] = {
        {10, 9, 0xc4feb1e1c8135567ull},  {10, 8, 0x391f82d01624ab57ull}, {9, 8, 0xa0169aa13e658ad7ull},
        {10, 10, 0x20a8afd34801b65dull}, {7, 5, 0x1fac9d0131a8501eull},  {4, 7, 0x4939b5c01d7801eull},
        {3, 1, 0x2a66df21a9d9849eull},   {1, 3, 0x2ffde47054254131ull},  {0, 4, 0xb69a1291a4781981ull},
        {5, 0, 0x4761f287a739edc5ull},
    };
    for (const Case& c : cases)
        for (bool plain : {false, true})
            EXPECT_EQ(pairHash(c.orderX, c.orderY, plain), c.hash)
                << "orders " << c.orderX << ", " << c.orderY << (plain ? ", plain kernels" : "") << ": 0x" << std::hex
                << pairHash(c.orderX, c.orderY, plain);
}

namespace {

// Bits of the packed image at (x, y), which the comparisons below need to tell +0 from -0.
std::uint32_t bitsAt(const Ipp32f* image, int step, int x, int y) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, reinterpret_cast<const unsigned char*>(image) + static_cast<std::size_t>(y) * step + 4 * x, 4);
    return bits;
}

}  // namespace

// The transforms limited to a low band of columns give the full transforms' bits in that band (+0 beyond it
// going forward), and an inverse whose outputs differ from the full inverse's at most in the sign of exact
// zeros, when the spectrum beyond the band is zero; -0 there, which the full inverse reads, is the hard case.
TEST(FftBits, LowBandTransformsKeepTheBitsOfTheColumnsTheyCompute) {
    for (const auto& order : {std::pair<int, int>{10, 9}, {9, 6}, {8, 3}, {5, 4}}) {
        const int width = 1 << order.first, height = 1 << order.second, half = width / 2;
        int step = 0;
        std::vector<Ipp32f*> images;
        for (int i = 0; i < 5; ++i) images.push_back(ippiMalloc_32f_C1(width, height, &step));
        Ipp32f *samples = images[0], *full = images[1], *band = images[2], *back = images[3], *bandBack = images[4];
        std::uint32_t state = 99u;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                state = state * 1664525u + 1013904223u;
                samples[static_cast<std::size_t>(y) * (step / 4) + x] = static_cast<float>(state >> 24);
            }
        IppiFFTSpec_R_32f* fft = nullptr;
        ASSERT_EQ(ippiFFTInitAlloc_R_32f(&fft, order.first, order.second, IPP_FFT_DIV_BY_SQRTN, ippAlgHintAccurate),
                  ippStsNoErr);
        ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1R(samples, step, full, step, fft, nullptr), ippStsNoErr);
        for (int live : {1, 3, half / 2 + 1, half - 1, half}) {
            SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height) + ", live " + std::to_string(live));
            ASSERT_EQ(fftForwardLowBand(samples, step, band, step, fft, live), ippStsNoErr);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const bool kept = x < 2 * live || x == width - 1;
                    const std::uint32_t b = bitsAt(band, step, x, y);
                    if (kept || b != 0u) ASSERT_EQ(b, bitsAt(full, step, x, y)) << x << "," << y;
                }
            // The full spectrum with -0 beyond the band, through both inverses; the band one in place.
            std::memcpy(band, full, static_cast<std::size_t>(step) * height);
            for (int y = 0; y < height; ++y)
                for (int x = 2 * live - 1; x < width - 1; ++x)
                    if (x > 0) band[static_cast<std::size_t>(y) * (step / 4) + x] = -0.0f;
            ASSERT_EQ(ippiFFTInv_PackToR_32f_C1R(band, step, back, step, fft, nullptr), ippStsNoErr);
            ASSERT_EQ(fftInverseLowBand(band, step, bandBack, step, fft, live), ippStsNoErr);
            ASSERT_EQ(fftInverseLowBand(band, step, band, step, fft, live), ippStsNoErr);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const float expected = back[static_cast<std::size_t>(y) * (step / 4) + x];
                    ASSERT_EQ(bitsAt(band, step, x, y), bitsAt(bandBack, step, x, y)) << x << "," << y;
                    if (expected == 0.0f)
                        ASSERT_EQ(bandBack[static_cast<std::size_t>(y) * (step / 4) + x], 0.0f) << x << "," << y;
                    else
                        ASSERT_EQ(bitsAt(bandBack, step, x, y), bitsAt(back, step, x, y)) << x << "," << y;
                }
        }
        ippiFFTFree_R_32f(fft);
        for (Ipp32f* image : images) ippiFree(image);
    }
}
