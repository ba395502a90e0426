// Real 2-D FFT in the packed layout: rows first (each real row through a half-length complex transform),
// then the columns of the row spectra, both with the batched kernel of FftBatch.

#include <Velin/Image/FftSpec.h>
#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <algorithm>
#include <cmath>
#include <new>

namespace Orvan {
namespace Ipp {

namespace {

const double kPi = 3.14159265358979323846;

// Rows transformed together: 16 floats per element keep the butterflies in whole vector registers while a
// block of a 1024-sample row (64 KiB) stays in the first-level cache.
constexpr int kRowBlock = 16;
// Columns transformed together: 64 columns of 512 rows fill a quarter of a MiB, well inside L2.
constexpr int kColumnBlock = 64;

bool validSpec(const IppiFFTSpec_R_32f* spec) { return spec->magic == IppiFFTSpec_R_32f::kMagic; }

// ---- rows, forward: real rows -> row spectra in the planes ---------------------------------------------

void forwardRows(const IppiFFTSpec_R_32f& s, const Ipp32f* pSrc, int srcStep) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    float* pr = s.planeRe.data();
    float* pi = s.planeIm.data();
    if (W == 1) {
        for (int y = 0; y < H; ++y) {
            pr[y * ps] = detail::rowAt(pSrc, srcStep, y)[0];
            pi[y * ps] = 0.0f;
        }
        return;
    }
    float* br = s.blockRe.data();
    float* bi = s.blockIm.data();
    const float* wc = s.splitCos.data();
    const float* ws = s.splitSin.data();
    for (int y0 = 0; y0 < H; y0 += kRowBlock) {
        const int lanes = std::min(kRowBlock, H - y0);
        // Even samples become the real part, odd samples the imaginary part of a half-length signal.
        for (int b = 0; b < lanes; ++b) {
            const Ipp32f* row = detail::rowAt(pSrc, srcStep, y0 + b);
            for (int m = 0; m < n; ++m) {
                br[m * kRowBlock + b] = row[2 * m];
                bi[m * kRowBlock + b] = row[2 * m + 1];
            }
        }
        s.rowFft->transform(br, bi, kRowBlock, lanes, false);
        // Split the half-length spectrum Z into the real row's spectrum X:
        // X(k) = Fe + w^k Fo and X(n-k) = conj(Fe - w^k Fo), Fe = (Z(k) + conj Z(n-k))/2,
        // Fo = (Z(k) - conj Z(n-k))/(2i). X(0) and X(n) are real and share column 0.
        for (int b = 0; b < lanes; ++b) {
            pr[(y0 + b) * ps] = br[b] + bi[b];
            pi[(y0 + b) * ps] = br[b] - bi[b];
        }
        for (int k = 1; k <= n / 2; ++k) {
            const int c = n - k;
            const float cr = wc[k], ci = -ws[k];
            for (int b = 0; b < lanes; ++b) {
                const float ar = br[k * kRowBlock + b], ai = bi[k * kRowBlock + b];
                const float zr = br[c * kRowBlock + b], zi = bi[c * kRowBlock + b];
                const float fer = 0.5f * (ar + zr), fei = 0.5f * (ai - zi);
                const float for_ = 0.5f * (ai + zi), foi = 0.5f * (zr - ar);
                const float tr = cr * for_ - ci * foi, ti = cr * foi + ci * for_;
                float* rowRe = pr + (y0 + b) * ps;
                float* rowIm = pi + (y0 + b) * ps;
                rowRe[k] = fer + tr;
                rowIm[k] = fei + ti;
                rowRe[c] = fer - tr;
                rowIm[c] = ti - fei;
            }
        }
    }
}

// ---- rows, inverse: row spectra in the planes -> real rows -----------------------------------------------

void inverseRows(const IppiFFTSpec_R_32f& s, Ipp32f* pDst, int dstStep) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    const float* pr = s.planeRe.data();
    const float* pi = s.planeIm.data();
    const float scale = s.inverseScale;
    if (W == 1) {
        for (int y = 0; y < H; ++y) detail::rowAt(pDst, dstStep, y)[0] = pr[y * ps] * scale;
        return;
    }
    float* br = s.blockRe.data();
    float* bi = s.blockIm.data();
    const float* wc = s.splitCos.data();
    const float* ws = s.splitSin.data();
    for (int y0 = 0; y0 < H; y0 += kRowBlock) {
        const int lanes = std::min(kRowBlock, H - y0);
        // Rebuild the half-length spectrum: Z(k) = (X(k) + conj X(n-k)) + i conj(w^k) (X(k) - conj X(n-k)),
        // which is twice the forward Z, so the half-length inverse yields width * x.
        for (int b = 0; b < lanes; ++b) {
            const float x0 = pr[(y0 + b) * ps], xn = pi[(y0 + b) * ps];
            br[b] = x0 + xn;
            bi[b] = x0 - xn;
        }
        for (int k = 1; k <= n / 2; ++k) {
            const int c = n - k;
            const float cr = wc[k], ci = -ws[k];
            for (int b = 0; b < lanes; ++b) {
                const float* rowRe = pr + (y0 + b) * ps;
                const float* rowIm = pi + (y0 + b) * ps;
                const float ar = rowRe[k], ai = rowIm[k], zr = rowRe[c], zi = rowIm[c];
                const float sr = ar + zr, si = ai - zi;
                const float dr = ar - zr, di = ai + zi;
                const float vr = cr * dr + ci * di, vi = cr * di - ci * dr;
                br[k * kRowBlock + b] = sr - vi;
                bi[k * kRowBlock + b] = si + vr;
                br[c * kRowBlock + b] = sr + vi;
                bi[c * kRowBlock + b] = vr - si;
            }
        }
        s.rowFft->transform(br, bi, kRowBlock, lanes, true);
        for (int b = 0; b < lanes; ++b) {
            Ipp32f* row = detail::rowAt(pDst, dstStep, y0 + b);
            for (int m = 0; m < n; ++m) {
                row[2 * m] = br[m * kRowBlock + b] * scale;
                row[2 * m + 1] = bi[m * kRowBlock + b] * scale;
            }
        }
    }
}

void columns(const IppiFFTSpec_R_32f& s, bool inverse) {
    for (int c0 = 0; c0 < s.half; c0 += kColumnBlock) {
        const int lanes = std::min(kColumnBlock, s.half - c0);
        s.columnFft->transform(s.planeRe.data() + c0, s.planeIm.data() + c0, s.planeStride, lanes, inverse);
    }
}

// ---- packing -----------------------------------------------------------------------------------------------

// Column 0 of the planes holds C(k) = A(k,0) + i A(k,W/2), the transform of two real columns at once.
// A(k,0) = (C(k) + conj C(H-k))/2 and A(k,W/2) = (C(k) - conj C(H-k))/(2i); each is stored as a vertical
// pack: Re at row 2k-1, Im at row 2k, and the purely real A(0) and A(H/2) at rows 0 and H-1.
void pack(const IppiFFTSpec_R_32f& s, Ipp32f* pDst, int dstStep) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    const float* pr = s.planeRe.data();
    const float* pi = s.planeIm.data();
    const float scale = s.forwardScale;
    for (int y = 0; y < H; ++y) {
        Ipp32f* out = detail::rowAt(pDst, dstStep, y);
        const float* rowRe = pr + y * ps;
        const float* rowIm = pi + y * ps;
        for (int j = 1; j < n; ++j) {
            out[2 * j - 1] = rowRe[j] * scale;
            out[2 * j] = rowIm[j] * scale;
        }
    }
    const int last = W - 1;
    const auto put = [&](int row, int column, float v) { detail::rowAt(pDst, dstStep, row)[column] = v * scale; };
    // A(0,·): both columns are real at k = 0, so C(0) = A(0,0) + i A(0,W/2) directly.
    put(0, 0, pr[0]);
    if (W > 1) put(0, last, pi[0]);
    for (int k = 1; k <= H / 2; ++k) {
        const float ar = pr[k * ps], ai = pi[k * ps];
        const float zr = pr[(H - k) * ps], zi = pi[(H - k) * ps];
        const float er = 0.5f * (ar + zr), ei = 0.5f * (ai - zi);  // A(k,0)
        const float orr = 0.5f * (ai + zi), oi = 0.5f * (zr - ar);  // A(k,W/2)
        if (2 * k == H) {
            put(H - 1, 0, er);
            if (W > 1) put(H - 1, last, orr);
        } else {
            put(2 * k - 1, 0, er);
            put(2 * k, 0, ei);
            if (W > 1) {
                put(2 * k - 1, last, orr);
                put(2 * k, last, oi);
            }
        }
    }
}

void unpack(const IppiFFTSpec_R_32f& s, const Ipp32f* pSrc, int srcStep) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    float* pr = s.planeRe.data();
    float* pi = s.planeIm.data();
    for (int y = 0; y < H; ++y) {
        const Ipp32f* in = detail::rowAt(pSrc, srcStep, y);
        float* rowRe = pr + y * ps;
        float* rowIm = pi + y * ps;
        for (int j = 1; j < n; ++j) {
            rowRe[j] = in[2 * j - 1];
            rowIm[j] = in[2 * j];
        }
    }
    const int last = W - 1;
    const auto get = [&](int row, int column) { return detail::rowAt(pSrc, srcStep, row)[column]; };
    // C(k) = A(k,0) + i A(k,W/2); the rows above H/2 follow from conjugate symmetry of both real columns.
    pr[0] = get(0, 0);
    pi[0] = W > 1 ? get(0, last) : 0.0f;
    for (int k = 1; k <= H / 2; ++k) {
        float ar, ai = 0.0f, br = 0.0f, bi = 0.0f;
        if (2 * k == H) {
            ar = get(H - 1, 0);
            if (W > 1) br = get(H - 1, last);
        } else {
            ar = get(2 * k - 1, 0);
            ai = get(2 * k, 0);
            if (W > 1) {
                br = get(2 * k - 1, last);
                bi = get(2 * k, last);
            }
        }
        pr[k * ps] = ar - bi;
        pi[k * ps] = ai + br;
        if (2 * k != H) {
            pr[(H - k) * ps] = ar + bi;
            pi[(H - k) * ps] = br - ai;
        }
    }
}

IppStatus checkTransform(const Ipp32f* pSrc, int srcStep, const Ipp32f* pDst, int dstStep,
                         const IppiFFTSpec_R_32f* spec) {
    if (pSrc == nullptr || pDst == nullptr || spec == nullptr) return ippStsNullPtrErr;
    if (!validSpec(spec)) return ippStsContextMatchErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiFFTInitAlloc_R_32f(IppiFFTSpec_R_32f** pFFTSpec, int orderX, int orderY, int flag,
                                 IppHintAlgorithm /*hint: one algorithm serves every hint*/) {
    if (pFFTSpec == nullptr) return ippStsNullPtrErr;
    *pFFTSpec = nullptr;
    if (orderX < 0 || orderX > 30 || orderY < 0 || orderY > 30) return ippStsFftOrderErr;
    if (flag != IPP_FFT_DIV_FWD_BY_N && flag != IPP_FFT_DIV_INV_BY_N && flag != IPP_FFT_DIV_BY_SQRTN &&
        flag != IPP_FFT_NODIV_BY_ANY)
        return ippStsFftFlagErr;
    try {
        std::unique_ptr<IppiFFTSpec_R_32f> s(new IppiFFTSpec_R_32f);
        s->width = 1 << orderX;
        s->height = 1 << orderY;
        s->half = orderX > 0 ? s->width / 2 : 1;
        const double total = static_cast<double>(s->width) * s->height;
        if (flag == IPP_FFT_DIV_FWD_BY_N) s->forwardScale = static_cast<float>(1.0 / total);
        if (flag == IPP_FFT_DIV_INV_BY_N) s->inverseScale = static_cast<float>(1.0 / total);
        if (flag == IPP_FFT_DIV_BY_SQRTN) {
            s->forwardScale = static_cast<float>(1.0 / std::sqrt(total));
            s->inverseScale = s->forwardScale;
        }
        if (orderX > 0) {
            s->rowFft.reset(new detail::FftBatch(orderX - 1));
            s->splitCos.resize(static_cast<std::size_t>(s->half) + 1);
            s->splitSin.resize(static_cast<std::size_t>(s->half) + 1);
            for (int k = 0; k <= s->half; ++k) {
                const double a = 2.0 * kPi * k / s->width;
                s->splitCos[static_cast<std::size_t>(k)] = static_cast<float>(std::cos(a));
                s->splitSin[static_cast<std::size_t>(k)] = static_cast<float>(std::sin(a));
            }
            const std::size_t block = static_cast<std::size_t>(s->half) * kRowBlock;
            s->blockRe.resize(block);
            s->blockIm.resize(block);
        }
        s->columnFft.reset(new detail::FftBatch(orderY));
        // A padded row length keeps power-of-two strides from mapping every row onto the same cache sets.
        s->planeStride = ((s->half + 15) / 16) * 16 + 16;
        const std::size_t plane = static_cast<std::size_t>(s->planeStride) * static_cast<std::size_t>(s->height);
        s->planeRe.resize(plane);
        s->planeIm.resize(plane);
        *pFFTSpec = s.release();
    } catch (const std::exception&) {
        return ippStsMemAllocErr;
    }
    return ippStsNoErr;
}

IppStatus ippiFFTFree_R_32f(IppiFFTSpec_R_32f* pFFTSpec) {
    if (pFFTSpec == nullptr) return ippStsNullPtrErr;
    if (!validSpec(pFFTSpec)) return ippStsContextMatchErr;
    pFFTSpec->magic = 0;
    delete pFFTSpec;
    return ippStsNoErr;
}

IppStatus ippiFFTFwd_RToPack_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                     const IppiFFTSpec_R_32f* pFFTSpec, Ipp8u* /*pBuffer: the spec owns its buffers*/) {
    const IppStatus st = checkTransform(pSrc, srcStep, pDst, dstStep, pFFTSpec);
    if (st != ippStsNoErr) return st;
    forwardRows(*pFFTSpec, pSrc, srcStep);
    columns(*pFFTSpec, false);
    pack(*pFFTSpec, pDst, dstStep);
    return ippStsNoErr;
}

IppStatus ippiFFTInv_PackToR_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                     const IppiFFTSpec_R_32f* pFFTSpec, Ipp8u* /*pBuffer: the spec owns its buffers*/) {
    const IppStatus st = checkTransform(pSrc, srcStep, pDst, dstStep, pFFTSpec);
    if (st != ippStsNoErr) return st;
    unpack(*pFFTSpec, pSrc, srcStep);
    columns(*pFFTSpec, true);
    inverseRows(*pFFTSpec, pDst, dstStep);
    return ippStsNoErr;
}

}  // namespace Ipp
}  // namespace Orvan
