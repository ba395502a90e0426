#include <Velin/Image/FftBatch.h>
#include <Velin/Image/IppChecks.h>

#include <cmath>

namespace Orvan {
namespace Ipp {
namespace detail {

namespace {

const double kPi = 3.14159265358979323846;

// The lane loops take every row as a restrict-qualified parameter: that is what tells the compiler the
// eight streams never overlap, so each loop becomes straight vector code.

VELIN_ALWAYS_INLINE void lanesRadix2(float* VELIN_RESTRICT ar, float* VELIN_RESTRICT ai, float* VELIN_RESTRICT br,
                                     float* VELIN_RESTRICT bi, int lanes) {
    for (int l = 0; l < lanes; ++l) {
        const float xr = ar[l], xi = ai[l], yr = br[l], yi = bi[l];
        ar[l] = xr + yr;
        ai[l] = xi + yi;
        br[l] = xr - yr;
        bi[l] = xi - yi;
    }
}

// Two radix-2 decimation-in-time stages fused: four sub-transforms of length L become one of length 4L.
// (c2, s2) = w^(2k) joins the pairs, (c1, s1) = w^k the halves; w^L = -i (forward) or +i (inverse) appears
// as an exchange of real and imaginary parts.
template <bool Inverse>
VELIN_ALWAYS_INLINE void lanesRadix4(float* VELIN_RESTRICT r0, float* VELIN_RESTRICT i0, float* VELIN_RESTRICT r1,
                                     float* VELIN_RESTRICT i1, float* VELIN_RESTRICT r2, float* VELIN_RESTRICT i2,
                                     float* VELIN_RESTRICT r3, float* VELIN_RESTRICT i3, int lanes, float c1, float s1,
                                     float c2, float s2) {
    for (int l = 0; l < lanes; ++l) {
        const float p1r = r1[l] * c2 - i1[l] * s2, p1i = r1[l] * s2 + i1[l] * c2;
        const float p3r = r3[l] * c2 - i3[l] * s2, p3i = r3[l] * s2 + i3[l] * c2;
        const float x0r = r0[l] + p1r, x0i = i0[l] + p1i;
        const float x1r = r0[l] - p1r, x1i = i0[l] - p1i;
        const float y0r = r2[l] + p3r, y0i = i2[l] + p3i;
        const float y1r = r2[l] - p3r, y1i = i2[l] - p3i;
        const float q0r = y0r * c1 - y0i * s1, q0i = y0r * s1 + y0i * c1;
        const float q1r = y1r * c1 - y1i * s1, q1i = y1r * s1 + y1i * c1;
        r0[l] = x0r + q0r;
        i0[l] = x0i + q0i;
        r2[l] = x0r - q0r;
        i2[l] = x0i - q0i;
        if (Inverse) {  // x1 + i*q1 and x1 - i*q1
            r1[l] = x1r - q1i;
            i1[l] = x1i + q1r;
            r3[l] = x1r + q1i;
            i3[l] = x1i - q1r;
        } else {  // x1 - i*q1 and x1 + i*q1
            r1[l] = x1r + q1i;
            i1[l] = x1i - q1r;
            r3[l] = x1r - q1i;
            i3[l] = x1i + q1r;
        }
    }
}

// One radix-2 stage with unit twiddle, used first when the length is an odd power of two so that every
// later stage can be radix-4.
VELIN_ALWAYS_INLINE void radix2Unit(float* re, float* im, std::ptrdiff_t stride, int lanes, int n) {
    for (int s = 0; s < n; s += 2)
        lanesRadix2(re + s * stride, im + s * stride, re + (s + 1) * stride, im + (s + 1) * stride, lanes);
}

template <bool Inverse>
VELIN_ALWAYS_INLINE void radix4(float* re, float* im, std::ptrdiff_t stride, int lanes, int n, int L, const float* cosT,
                                const float* sinT) {
    const int tstep = n / (4 * L);
    for (int s = 0; s < n; s += 4 * L) {
        for (int k = 0; k < L; ++k) {
            const float c1 = cosT[k * tstep];
            const float s1 = Inverse ? sinT[k * tstep] : -sinT[k * tstep];
            const float c2 = cosT[2 * k * tstep];
            const float s2 = Inverse ? sinT[2 * k * tstep] : -sinT[2 * k * tstep];
            const std::ptrdiff_t o0 = (s + k) * stride, o1 = o0 + L * stride, o2 = o1 + L * stride,
                                 o3 = o2 + L * stride;
            lanesRadix4<Inverse>(re + o0, im + o0, re + o1, im + o1, re + o2, im + o2, re + o3, im + o3, lanes, c1,
                                 s1, c2, s2);
        }
    }
}

}  // namespace

FftBatch::FftBatch(int log2Length) : n_(1 << log2Length), log2n_(log2Length) {
    reversed_.resize(static_cast<std::size_t>(n_));
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(n_); ++i) {
        std::uint32_t r = 0;
        for (int b = 0; b < log2n_; ++b) r |= ((i >> b) & 1u) << (log2n_ - 1 - b);
        reversed_[i] = r;
    }
    const int half = n_ / 2 > 0 ? n_ / 2 : 1;
    cos_.resize(static_cast<std::size_t>(half));
    sin_.resize(static_cast<std::size_t>(half));
    for (int j = 0; j < half; ++j) {
        const double a = 2.0 * kPi * j / n_;
        cos_[static_cast<std::size_t>(j)] = static_cast<float>(std::cos(a));
        sin_[static_cast<std::size_t>(j)] = static_cast<float>(std::sin(a));
    }
}

VELIN_SIMD_CLONES void FftBatch::transform(float* re, float* im, std::ptrdiff_t stride, int lanes, bool inverse) const {
    if (n_ == 1) return;
    int L = 1;
    if (log2n_ % 2 != 0) {
        radix2Unit(re, im, stride, lanes, n_);
        L = 2;
    }
    for (; L < n_; L *= 4) {
        if (inverse)
            radix4<true>(re, im, stride, lanes, n_, L, cos_.data(), sin_.data());
        else
            radix4<false>(re, im, stride, lanes, n_, L, cos_.data(), sin_.data());
    }
}

}  // namespace detail
}  // namespace Ipp
}  // namespace Orvan
