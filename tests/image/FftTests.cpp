// The real 2-D FFT and MulPack against independent double-precision references: a direct DFT, and a
// spectrum unpacked to full complex form, multiplied and repacked.

#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

using namespace Orvan::Ipp;

namespace {

using Spectrum = std::vector<std::complex<double>>;  // H rows of W values

struct Image {
    int width, height;
    std::vector<float> pixels;
    Image(int w, int h) : width(w), height(h), pixels(static_cast<std::size_t>(w) * h) {}
    float& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
    int step() const { return width * static_cast<int>(sizeof(float)); }
};

Image randomImage(int w, int h, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    Image img(w, h);
    for (float& v : img.pixels) v = u(rng);
    return img;
}

Spectrum directDft(Image& img) {
    const int W = img.width, H = img.height;
    const double tau = 2.0 * 3.14159265358979323846;
    Spectrum out(static_cast<std::size_t>(W) * H);
    for (int i = 0; i < H; ++i)
        for (int j = 0; j < W; ++j) {
            std::complex<double> sum = 0.0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x)
                    sum += static_cast<double>(img.at(x, y)) *
                           std::polar(1.0, -tau * (static_cast<double>(i) * y / H + static_cast<double>(j) * x / W));
            out[static_cast<std::size_t>(i) * W + j] = sum;
        }
    return out;
}

// The packed layout written out from its description, for any width and height.
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

// The inverse of packSpectrum, filling the other half from conjugate symmetry.
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

double maxAbs(const std::vector<float>& v) {
    double m = 0.0;
    for (float x : v) m = std::max(m, std::fabs(static_cast<double>(x)));
    return m;
}

double relativeL2(const std::vector<float>& got, const std::vector<float>& want) {
    double num = 0.0, den = 0.0;
    for (std::size_t i = 0; i < got.size(); ++i) {
        num += (static_cast<double>(got[i]) - want[i]) * (static_cast<double>(got[i]) - want[i]);
        den += static_cast<double>(want[i]) * want[i];
    }
    return std::sqrt(num / den);
}

struct Spec {
    IppiFFTSpec_R_32f* spec = nullptr;
    Spec(int ox, int oy, int flag) {
        EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec, ox, oy, flag, ippAlgHintAccurate), ippStsNoErr);
    }
    ~Spec() { ippiFFTFree_R_32f(spec); }
};

}  // namespace

TEST(Fft, ForwardMatchesDirectDftInPackedLayoutForAllSmallSizes) {
    for (int ox = 0; ox <= 6; ++ox)
        for (int oy = 0; oy <= 5; ++oy) {
            const int W = 1 << ox, H = 1 << oy;
            Image src = randomImage(W, H, static_cast<unsigned>(17 * ox + oy));
            Image want = packSpectrum(directDft(src), W, H);
            Spec s(ox, oy, IPP_FFT_NODIV_BY_ANY);
            Image got(W, H);
            ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1R(src.pixels.data(), src.step(), got.pixels.data(), got.step(),
                                                 s.spec, nullptr),
                      ippStsNoErr);
            const double scale = maxAbs(want.pixels);
            for (std::size_t i = 0; i < got.pixels.size(); ++i)
                ASSERT_NEAR(got.pixels[i], want.pixels[i], 1e-4 * scale) << W << "x" << H << " element " << i;
        }
}

TEST(Fft, InverseOfPackedDftRecoversImageForAllSmallSizes) {
    for (int ox = 0; ox <= 6; ++ox)
        for (int oy = 0; oy <= 5; ++oy) {
            const int W = 1 << ox, H = 1 << oy;
            Image src = randomImage(W, H, static_cast<unsigned>(31 * ox + oy));
            Image packed = packSpectrum(directDft(src), W, H);
            Spec s(ox, oy, IPP_FFT_DIV_INV_BY_N);
            Image got(W, H);
            ASSERT_EQ(ippiFFTInv_PackToR_32f_C1R(packed.pixels.data(), packed.step(), got.pixels.data(),
                                                 got.step(), s.spec, nullptr),
                      ippStsNoErr);
            for (std::size_t i = 0; i < got.pixels.size(); ++i)
                ASSERT_NEAR(got.pixels[i], src.pixels[i], 1e-5) << W << "x" << H << " element " << i;
        }
}

TEST(Fft, NormalisationFlagsScaleEachDirection) {
    const int ox = 3, oy = 2, W = 8, H = 4;
    Image src = randomImage(W, H, 5);
    Image dft = packSpectrum(directDft(src), W, H);
    struct Case {
        int flag;
        double forward, roundTrip;
    };
    for (Case c : {Case{IPP_FFT_DIV_FWD_BY_N, 1.0 / (W * H), 1.0}, Case{IPP_FFT_DIV_INV_BY_N, 1.0, 1.0},
                   Case{IPP_FFT_DIV_BY_SQRTN, 1.0 / std::sqrt(W * H), 1.0},
                   Case{IPP_FFT_NODIV_BY_ANY, 1.0, static_cast<double>(W * H)}}) {
        Spec s(ox, oy, c.flag);
        Image fwd(W, H), back(W, H);
        ippiFFTFwd_RToPack_32f_C1R(src.pixels.data(), src.step(), fwd.pixels.data(), fwd.step(), s.spec, nullptr);
        ippiFFTInv_PackToR_32f_C1R(fwd.pixels.data(), fwd.step(), back.pixels.data(), back.step(), s.spec, nullptr);
        for (std::size_t i = 0; i < fwd.pixels.size(); ++i) {
            EXPECT_NEAR(fwd.pixels[i], dft.pixels[i] * c.forward, 1e-4) << "flag " << c.flag;
            EXPECT_NEAR(back.pixels[i], src.pixels[i] * c.roundTrip, 1e-3) << "flag " << c.flag;
        }
    }
}

TEST(Fft, RoundTripAtDetectorSizeWithPaddedRows) {
    // 1024 x 512 as the detector calls it, from and to images whose rows are padded beyond the width.
    const int W = 1024, H = 512, padded = W + 8, step = padded * 4;
    Image src = randomImage(padded, H, 99);
    Spec s(10, 9, IPP_FFT_DIV_BY_SQRTN);
    std::vector<float> spectrum(static_cast<std::size_t>(padded) * H), back(spectrum.size(), 7.0f);
    ASSERT_EQ(ippiFFTFwd_RToPack_32f_C1R(src.pixels.data(), step, spectrum.data(), step, s.spec, nullptr), 0);
    ASSERT_EQ(ippiFFTInv_PackToR_32f_C1R(spectrum.data(), step, back.data(), step, s.spec, nullptr), 0);
    std::vector<float> got, want;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < padded; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * padded + x;
            if (x < W) {
                got.push_back(back[i]);
                want.push_back(src.pixels[i]);
            } else {
                ASSERT_EQ(back[i], 7.0f) << "padding written at row " << y;
            }
        }
    EXPECT_LT(relativeL2(got, want), 1e-5);
}

TEST(Fft, SpecificationStatuses) {
    IppiFFTSpec_R_32f* spec = nullptr;
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(nullptr, 2, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec, -1, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsFftOrderErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec, 2, 31, IPP_FFT_DIV_BY_SQRTN, ippAlgHintNone), ippStsFftOrderErr);
    EXPECT_EQ(ippiFFTInitAlloc_R_32f(&spec, 2, 2, 3, ippAlgHintNone), ippStsFftFlagErr);
    EXPECT_EQ(spec, nullptr);

    float buf[16] = {};
    EXPECT_EQ(ippiFFTFree_R_32f(reinterpret_cast<IppiFFTSpec_R_32f*>(buf)), ippStsContextMatchErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1R(buf, 16, buf, 16, reinterpret_cast<IppiFFTSpec_R_32f*>(buf), nullptr),
              ippStsContextMatchErr);
    EXPECT_EQ(ippiFFTFree_R_32f(nullptr), ippStsNullPtrErr);

    ASSERT_EQ(ippiFFTInitAlloc_R_32f(&spec, 2, 2, IPP_FFT_DIV_BY_SQRTN, ippAlgHintFast), ippStsNoErr);
    EXPECT_EQ(ippiFFTFwd_RToPack_32f_C1R(nullptr, 16, buf, 16, spec, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiFFTInv_PackToR_32f_C1R(buf, 0, buf, 16, spec, nullptr), ippStsStepErr);
    EXPECT_EQ(ippiFFTFree_R_32f(spec), ippStsNoErr);
}

TEST(MulPack, MatchesFullComplexProductForEvenAndOddSizes) {
    for (IppiSize size : {IppiSize{8, 4}, IppiSize{2, 2}, IppiSize{1, 1}, IppiSize{6, 5}, IppiSize{7, 6},
                          IppiSize{5, 3}, IppiSize{1, 4}, IppiSize{4, 1}}) {
        Image a = randomImage(size.width, size.height, 3), b = randomImage(size.width, size.height, 4);
        Spectrum fa = unpackSpectrum(a), fb = unpackSpectrum(b);
        for (std::size_t i = 0; i < fa.size(); ++i) fa[i] *= fb[i];
        Image want = packSpectrum(fa, size.width, size.height);
        ASSERT_EQ(ippiMulPack_32f_C1IR(a.pixels.data(), a.step(), b.pixels.data(), b.step(), size), ippStsNoErr);
        for (std::size_t i = 0; i < want.pixels.size(); ++i)
            EXPECT_NEAR(b.pixels[i], want.pixels[i], 1e-6) << size.width << "x" << size.height << " at " << i;
    }
}

TEST(MulPack, ProductOfTransformsIsTransformOfCircularConvolution) {
    const int W = 8, H = 4;
    Image x = randomImage(W, H, 11), k(W, H);
    k.at(1, 0) = 1.0f;  // a shift by one column
    Spec s(3, 2, IPP_FFT_DIV_INV_BY_N);
    Image fx(W, H), fk(W, H), out(W, H);
    ippiFFTFwd_RToPack_32f_C1R(x.pixels.data(), x.step(), fx.pixels.data(), fx.step(), s.spec, nullptr);
    ippiFFTFwd_RToPack_32f_C1R(k.pixels.data(), k.step(), fk.pixels.data(), fk.step(), s.spec, nullptr);
    ippiMulPack_32f_C1IR(fk.pixels.data(), fk.step(), fx.pixels.data(), fx.step(), IppiSize{W, H});
    ippiFFTInv_PackToR_32f_C1R(fx.pixels.data(), fx.step(), out.pixels.data(), out.step(), s.spec, nullptr);
    for (int y = 0; y < H; ++y)
        for (int xx = 0; xx < W; ++xx) EXPECT_NEAR(out.at(xx, y), x.at((xx + W - 1) % W, y), 1e-5);
}
