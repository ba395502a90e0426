// The real 2-D FFT and MulPack against independent double-precision references: a direct DFT, and spectra
// unpacked to full complex form, multiplied and repacked.

#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

using namespace Orvan::Ipp;

namespace {

const double kTau = 6.283185307179586;
using Spectrum = std::vector<std::complex<double>>;  // H rows of W values

struct Image {
    int width, height;
    std::vector<float> px;
    Image(int w, int h, unsigned seed = 0) : width(w), height(h), px(static_cast<std::size_t>(w) * h) {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<float> u(-1.0f, 1.0f);
        if (seed != 0)
            for (float& v : px) v = u(rng);
    }
    float& at(int x, int y) { return px[static_cast<std::size_t>(y) * width + x]; }
    int step() const { return width * 4; }
};

Spectrum directDft(Image& img) {
    const int W = img.width, H = img.height;
    Spectrum out(static_cast<std::size_t>(W) * H);
    for (int i = 0; i < H; ++i)
        for (int j = 0; j < W; ++j)
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x)
                    out[static_cast<std::size_t>(i) * W + j] +=
                        std::polar<double>(img.at(x, y), -kTau * (double(i) * y / H + double(j) * x / W));
    return out;
}

// The packed layout written out from its description, for any width and height: vertical packs in column
// 0 and (even width) column W-1, horizontal (Re, Im) pairs elsewhere.
Image packSpectrum(const Spectrum& f, int W, int H) {
    Image p(W, H);
    const auto F = [&](int i, int j) { return f[static_cast<std::size_t>(i) * W + j]; };
    const auto column = [&](int x, int j) {
        p.at(x, 0) = static_cast<float>(F(0, j).real());
        for (int k = 1; 2 * k < H; ++k) {
            p.at(x, 2 * k - 1) = static_cast<float>(F(k, j).real());
            p.at(x, 2 * k) = static_cast<float>(F(k, j).imag());
        }
        if (H % 2 == 0) p.at(x, H - 1) = static_cast<float>(F(H / 2, j).real());
    };
    column(0, 0);
    if (W % 2 == 0 && W > 1) column(W - 1, W / 2);
    for (int i = 0; i < H; ++i)
        for (int j = 1; 2 * j < W; ++j) {
            p.at(2 * j - 1, i) = static_cast<float>(F(i, j).real());
            p.at(2 * j, i) = static_cast<float>(F(i, j).imag());
        }
    return p;
}

// The inverse of packSpectrum; the other half follows from conjugate symmetry.
Spectrum unpackSpectrum(Image& p) {
    const int W = p.width, H = p.height;
    Spectrum f(static_cast<std::size_t>(W) * H);
    const auto set = [&](int i, int j, std::complex<double> v) {
        f[static_cast<std::size_t>(i) * W + j] = v;
        f[static_cast<std::size_t>((H - i) % H) * W + (W - j) % W] = std::conj(v);
    };
    const auto column = [&](int x, int j) {
        set(0, j, p.at(x, 0));
        for (int k = 1; 2 * k < H; ++k) set(k, j, {p.at(x, 2 * k - 1), p.at(x, 2 * k)});
        if (H % 2 == 0) set(H / 2, j, p.at(x, H - 1));
    };
    column(0, 0);
    if (W % 2 == 0 && W > 1) column(W - 1, W / 2);
    for (int i = 0; i < H; ++i)
        for (int j = 1; 2 * j < W; ++j) set(i, j, {p.at(2 * j - 1, i), p.at(2 * j, i)});
    return f;
}

struct FftObject {
    IppiFFTSpec_R_32f* object = nullptr;
    FftObject(int ox, int oy, int flag) { EXPECT_EQ(ippiFFTInitAlloc_R_32f(&object, ox, oy, flag, ippAlgHintAccurate), 0); }
    ~FftObject() { ippiFFTFree_R_32f(object); }
};

}  // namespace

TEST(Fft, MatchesDirectDftInPackedLayoutAndInvertsForAllSmallSizesAndFlags) {
    const int flags[4] = {IPP_FFT_DIV_FWD_BY_N, IPP_FFT_DIV_INV_BY_N, IPP_FFT_DIV_BY_SQRTN, IPP_FFT_NODIV_BY_ANY};
    for (int ox = 0; ox <= 6; ++ox)
        for (int oy = 0; oy <= 5; ++oy) {
            const int W = 1 << ox, H = 1 << oy, flag = flags[(ox + oy) % 4];
            const double n = double(W) * H;
            const double fwdScale = flag == 1 ? 1.0 / n : flag == 4 ? 1.0 / std::sqrt(n) : 1.0;
            const double invScale = flag == 2 ? 1.0 / n : flag == 4 ? 1.0 / std::sqrt(n) : 1.0;
            Image src(W, H, static_cast<unsigned>(17 * ox + oy + 1)), fwd(W, H), back(W, H);
            Image want = packSpectrum(directDft(src), W, H);
            FftObject s(ox, oy, flag);
            ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1R(src.px.data(), src.step(), fwd.px.data(), fwd.step(), s.object, nullptr), 0);
            ASSERT_EQ(ippiFFTInv_PackToR_32f_C1R(want.px.data(), want.step(), back.px.data(), back.step(), s.object, nullptr), 0);
            double peak = 0.0;
            for (float v : want.px) peak = std::max(peak, std::fabs(double(v)));
            for (std::size_t i = 0; i < fwd.px.size(); ++i) {
                ASSERT_NEAR(fwd.px[i], want.px[i] * fwdScale, 1e-4 * peak * fwdScale) << W << "x" << H << " at " << i;
                ASSERT_NEAR(back.px[i], src.px[i] * n * invScale, 1e-5 * n * invScale) << W << "x" << H << " at " << i;
            }
        }
}

TEST(Fft, RoundTripAtDetectorSizeLeavesRowPaddingAlone) {
    const int W = 1024, H = 512, padded = W + 8, step = padded * 4;
    Image src(padded, H, 99), spectrum(padded, H), back(padded, H);
    std::fill(back.px.begin(), back.px.end(), 7.0f);
    FftObject s(10, 9, IPP_FFT_DIV_BY_SQRTN);
    ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1R(src.px.data(), step, spectrum.px.data(), step, s.object, nullptr), 0);
    ASSERT_EQ(ippiFFTInv_PackToR_32f_C1R(spectrum.px.data(), step, back.px.data(), step, s.object, nullptr), 0);
    double err = 0.0, norm = 0.0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < padded; ++x) {
            if (x >= W) {
                ASSERT_EQ(back.at(x, y), 7.0f) << "padding written at row " << y;
                continue;
            }
            err += std::pow(double(back.at(x, y)) - src.at(x, y), 2);
            norm += std::pow(double(src.at(x, y)), 2);
        }
    EXPECT_LT(std::sqrt(err / norm), 1e-5);
}

TEST(Fft, CreationReleaseAndTransformStatuses) {
    IppiFFTSpec_R_32f* fft = nullptr;
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(nullptr, 2, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&fft, -1, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsFftOrderErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&fft, 2, 31, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsFftOrderErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&fft, 2, 2, 3, ippAlgHintNone), ippStsFftFlagErr);
    EXPECT_EQ(fft, nullptr);

    float buf[16] = {};
    auto* notFft = reinterpret_cast<IppiFFTSpec_R_32f*>(buf);
    EXPECT_EQ(ippiFFTFree_R_32f(notFft), ippStsContextMatchErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1R(buf, 16, buf, 16, notFft, nullptr), ippStsContextMatchErr);
    EXPECT_EQ(ippiFFTFree_R_32f(nullptr), ippStsNullPtrErr);

    ASSERT_EQ(ippiFFTInitAlloc_R_32f(&fft, 2, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintFast), ippStsNoErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1R(nullptr, 16, buf, 16, fft, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTInv_PackToR_32f_C1R(buf, 0, buf, 16, fft, nullptr), ippStsStepErr);
    EXPECT_EQ(ippiFFTFree_R_32f(fft), ippStsNoErr);
}

TEST(MulPack, MatchesFullComplexProductForEvenAndOddSizes) {
    for (IppiSize size : {IppiSize{8, 4}, IppiSize{2, 2}, IppiSize{1, 1}, IppiSize{6, 5}, IppiSize{7, 6},
                          IppiSize{5, 3}, IppiSize{1, 4}, IppiSize{4, 1}}) {
        Image a(size.width, size.height, 3), b(size.width, size.height, 4);
        Spectrum fa = unpackSpectrum(a), fb = unpackSpectrum(b);
        for (std::size_t i = 0; i < fa.size(); ++i) fa[i] *= fb[i];
        Image want = packSpectrum(fa, size.width, size.height);
        ASSERT_EQ(ippiMulPack_32f_C1IR(a.px.data(), a.step(), b.px.data(), b.step(), size), ippStsNoErr);
        for (std::size_t i = 0; i < want.px.size(); ++i)
            EXPECT_NEAR(b.px[i], want.px[i], 1e-6) << size.width << "x" << size.height << " at " << i;
    }
}
