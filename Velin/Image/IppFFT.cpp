// Real 2-D FFT in the packed layout: rows first (each real row through a half-length complex transform),
// then the columns of the row spectra, both with the batched kernel of FftBatch.

#include <Velin/Image/FftBand.h>
#include <Velin/Image/FftContext.h>
#include <Velin/Image/FftTranspose.h>
#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <algorithm>
#include <cmath>
#include <new>

namespace Orvan {
namespace Ipp {

namespace {

const double kPi = 3.14159265358979323846;

// Rows are transformed kRowBlock (FftTranspose.h) at a time. Eight lanes make two SSE (one AVX) vectors per
// butterfly, and the block of a 1024-sample row (32 KiB) stays in the first-level cache.
using detail::kRowBlock;
// Columns transformed together: 64 columns of 512 rows fill a quarter of a MiB, well inside L2.
constexpr int kColumnBlock = 64;

bool isLiveFft(const IppiFFTSpec_R_32f* fft) { return fft->magic == IppiFFTSpec_R_32f::kMagic; }

// ---- lane loops of the real/half-length split; restrict parameters let them vectorise -------------------

// Z(k), Z(c) of the half-length transform (c = n-k) -> X(k), X(c) of the real row, in place:
// X(k) = Fe + w^k Fo and X(c) = conj(Fe - w^k Fo), Fe = (Z(k) + conj Z(c))/2, Fo = (Z(k) - conj Z(c))/(2i).
void splitPair(float* VELIN_RESTRICT kr, float* VELIN_RESTRICT ki, float* VELIN_RESTRICT cr,
               float* VELIN_RESTRICT ci, int lanes, float wr, float wi) {
    for (int l = 0; l < lanes; ++l) {
        const float ar = kr[l], ai = ki[l], zr = cr[l], zi = ci[l];
        const float fer = 0.5f * (ar + zr), fei = 0.5f * (ai - zi);
        const float for_ = 0.5f * (ai + zi), foi = 0.5f * (zr - ar);
        const float tr = wr * for_ - wi * foi, ti = wr * foi + wi * for_;
        kr[l] = fer + tr;
        ki[l] = fei + ti;
        cr[l] = fer - tr;
        ci[l] = ti - fei;
    }
}

// The inverse of splitPair, scaled by two: Z(k) = (X(k) + conj X(c)) + i conj(w^k) (X(k) - conj X(c)), and
// Z(c) from the same terms. Reads the natural-order staging rows, writes the bit-reversed block rows.
void mergePair(const float* VELIN_RESTRICT xkr, const float* VELIN_RESTRICT xki, const float* VELIN_RESTRICT xcr,
               const float* VELIN_RESTRICT xci, float* VELIN_RESTRICT zkr, float* VELIN_RESTRICT zki,
               float* VELIN_RESTRICT zcr, float* VELIN_RESTRICT zci, int lanes, float wr, float wi) {
    for (int l = 0; l < lanes; ++l) {
        const float ar = xkr[l], ai = xki[l], zr = xcr[l], zi = xci[l];
        const float sr = ar + zr, si = ai - zi;
        const float dr = ar - zr, di = ai + zi;
        const float vr = wr * dr + wi * di, vi = wr * di - wi * dr;
        zkr[l] = sr - vi;
        zki[l] = si + vr;
        zcr[l] = sr + vi;
        zci[l] = vr - si;
    }
}

// ---- rows, forward: real rows -> row spectra in the planes ---------------------------------------------

VELIN_SIMD_CLONES void forwardRows(const IppiFFTSpec_R_32f& s, const Ipp32f* pSrc, int srcStep) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    float* pr = s.planeRe.data();
    float* pi = s.planeIm.data();
    // Row y of the spectra goes to plane row reversed(y): the column transform expects bit-reversed input.
    const detail::FftBatch& cols = *s.columnFft;
    if (W == 1) {
        for (int y = 0; y < H; ++y) {
            pr[cols.reversed(y) * ps] = detail::rowAt(pSrc, srcStep, y)[0];
            pi[cols.reversed(y) * ps] = 0.0f;
        }
        return;
    }
    const detail::FftBatch& rows = *s.rowFft;
    float* br = s.blockRe.data();
    float* bi = s.blockIm.data();
    const float* wc = s.splitCos.data();
    const float* ws = s.splitSin.data();
    const Ipp32f* in[kRowBlock];
    float* outRe[kRowBlock];
    float* outIm[kRowBlock];
    for (int y0 = 0; y0 < H; y0 += kRowBlock) {
        const int lanes = std::min(static_cast<int>(kRowBlock), H - y0);
        for (int b = 0; b < lanes; ++b) {
            in[b] = detail::rowAt(pSrc, srcStep, y0 + b);
            outRe[b] = pr + cols.reversed(y0 + b) * ps;
            outIm[b] = pi + cols.reversed(y0 + b) * ps;
        }
        // Even samples become the real part, odd samples the imaginary part of a half-length signal, stored
        // transposed (one block row per sample, one lane per image row) in bit-reversed order.
        detail::rowsToBlock(in, lanes, n, rows, br, bi, s.avx2);
        rows.transform(br, bi, kRowBlock, lanes, false);
        // X(0) and X(n) are real; they share block row 0 as X(0) + i X(n). X(n/2) is conj Z(n/2).
        for (int b = 0; b < lanes; ++b) {
            const float z0r = br[b], z0i = bi[b];
            br[b] = z0r + z0i;
            bi[b] = z0r - z0i;
        }
        for (int k = 1; 2 * k < n; ++k) {
            const std::ptrdiff_t c = n - k;
            splitPair(br + k * kRowBlock, bi + k * kRowBlock, br + c * kRowBlock, bi + c * kRowBlock, lanes, wc[k],
                      -ws[k]);
        }
        if (n >= 2)
            for (int b = 0; b < lanes; ++b) bi[(n / 2) * kRowBlock + b] = -bi[(n / 2) * kRowBlock + b];
        detail::blockToRows(br, bi, lanes, n, outRe, outIm, s.avx2);
    }
}

// ---- rows, inverse: row spectra in the planes -> real rows -----------------------------------------------

VELIN_SIMD_CLONES void inverseRows(const IppiFFTSpec_R_32f& s, Ipp32f* pDst, int dstStep) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    const float* pr = s.planeRe.data();
    const float* pi = s.planeIm.data();
    const float scale = s.inverseScale;
    if (W == 1) {
        for (int y = 0; y < H; ++y) detail::rowAt(pDst, dstStep, y)[0] = pr[y * ps] * scale;
        return;
    }
    const detail::FftBatch& rows = *s.rowFft;
    float* br = s.blockRe.data();
    float* bi = s.blockIm.data();
    float* xr = s.stageRe.data();
    float* xi = s.stageIm.data();
    const float* wc = s.splitCos.data();
    const float* ws = s.splitSin.data();
    const float* inRe[kRowBlock];
    const float* inIm[kRowBlock];
    Ipp32f* out[kRowBlock];
    for (int y0 = 0; y0 < H; y0 += kRowBlock) {
        const int lanes = std::min(static_cast<int>(kRowBlock), H - y0);
        for (int b = 0; b < lanes; ++b) {
            inRe[b] = pr + (y0 + b) * ps;
            inIm[b] = pi + (y0 + b) * ps;
            out[b] = detail::rowAt(pDst, dstStep, y0 + b);
        }
        detail::rowsToBlockComplex(inRe, inIm, lanes, n, xr, xi, s.avx2);
        // The rebuilt half-length spectrum is twice the forward one, so its inverse yields width * x.
        for (int b = 0; b < lanes; ++b) {
            br[b] = xr[b] + xi[b];
            bi[b] = xr[b] - xi[b];
        }
        for (int k = 1; 2 * k < n; ++k) {
            const std::ptrdiff_t c = n - k;
            const std::ptrdiff_t rk = static_cast<std::ptrdiff_t>(rows.reversed(k)) * kRowBlock;
            const std::ptrdiff_t rc = static_cast<std::ptrdiff_t>(rows.reversed(static_cast<int>(c))) * kRowBlock;
            mergePair(xr + k * kRowBlock, xi + k * kRowBlock, xr + c * kRowBlock, xi + c * kRowBlock, br + rk, bi + rk,
                      br + rc, bi + rc, lanes, wc[k], -ws[k]);
        }
        if (n >= 2) {
            const std::ptrdiff_t h = static_cast<std::ptrdiff_t>(n / 2) * kRowBlock;
            const std::ptrdiff_t rh = static_cast<std::ptrdiff_t>(rows.reversed(n / 2)) * kRowBlock;
            for (int b = 0; b < lanes; ++b) {
                br[rh + b] = 2.0f * xr[h + b];
                bi[rh + b] = -2.0f * xi[h + b];
            }
        }
        rows.transform(br, bi, kRowBlock, lanes, true);
        detail::blockToRealRows(br, bi, lanes, n, scale, out, s.avx2);
    }
}

// The first `live` columns of the planes (all of them: s.half). Whole blocks only, so that every column is
// transformed in the same company of lanes however many are live.
void columns(const IppiFFTSpec_R_32f& s, bool inverse, int live) {
    for (int c0 = 0; c0 < live; c0 += kColumnBlock) {
        const int lanes = std::min(kColumnBlock, s.half - c0);
        s.columnFft->transform(s.planeRe.data() + c0, s.planeIm.data() + c0, s.planeStride, lanes, inverse);
    }
}

// ---- packing -----------------------------------------------------------------------------------------------

// Column 0 of the planes holds C(k) = A(k,0) + i A(k,W/2), the transform of two real columns at once.
// A(k,0) = (C(k) + conj C(H-k))/2 and A(k,W/2) = (C(k) - conj C(H-k))/(2i); each is stored as a vertical
// pack: Re at row 2k-1, Im at row 2k, and the purely real A(0) and A(H/2) at rows 0 and H-1.
// Columns 1..live-1 of the planes as they are, +0 for the columns from `live` on (live = s.half: all of them).
VELIN_SIMD_CLONES void pack(const IppiFFTSpec_R_32f& s, Ipp32f* pDst, int dstStep, int live) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    const float* pr = s.planeRe.data();
    const float* pi = s.planeIm.data();
    const float scale = s.forwardScale;
    for (int y = 0; y < H; ++y) {
        Ipp32f* out = detail::rowAt(pDst, dstStep, y);
        const float* rowRe = pr + y * ps;
        const float* rowIm = pi + y * ps;
        for (int j = 1; j < live; ++j) {
            out[2 * j - 1] = rowRe[j] * scale;
            out[2 * j] = rowIm[j] * scale;
        }
        for (int j = std::max(live, 1); j < n; ++j) out[2 * j - 1] = out[2 * j] = 0.0f;
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

// Columns from `live` on are not read, and become +0 in the planes (live = s.half: all are read).
VELIN_SIMD_CLONES void unpack(const IppiFFTSpec_R_32f& s, const Ipp32f* pSrc, int srcStep, int live) {
    const int W = s.width, H = s.height, n = s.half;
    const std::ptrdiff_t ps = s.planeStride;
    float* pr = s.planeRe.data();
    float* pi = s.planeIm.data();
    // Row y of the spectrum goes to plane row reversed(y), the order the column transform expects.
    const detail::FftBatch& cols = *s.columnFft;
    for (int y = 0; y < H; ++y) {
        const Ipp32f* in = detail::rowAt(pSrc, srcStep, y);
        float* rowRe = pr + cols.reversed(y) * ps;
        float* rowIm = pi + cols.reversed(y) * ps;
        for (int j = 1; j < live; ++j) {
            rowRe[j] = in[2 * j - 1];
            rowIm[j] = in[2 * j];
        }
        for (int j = std::max(live, 1); j < n; ++j) rowRe[j] = rowIm[j] = 0.0f;
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
        pr[cols.reversed(k) * ps] = ar - bi;
        pi[cols.reversed(k) * ps] = ai + br;
        if (2 * k != H) {
            pr[cols.reversed(H - k) * ps] = ar + bi;
            pi[cols.reversed(H - k) * ps] = br - ai;
        }
    }
}

// Both directions check their arguments alike; rows come first going forward and last coming back. Only the
// first `live` columns of the planes are transformed, rounded up to whole column blocks.
IppStatus transform(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, const IppiFFTSpec_R_32f* fft,
                    bool inverse, int live) {
    if (pSrc == nullptr || pDst == nullptr || fft == nullptr) return ippStsNullPtrErr;
    if (!isLiveFft(fft)) return ippStsContextMatchErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    const int n = fft->half;
    live = std::min(n, (std::max(live, 1) + kColumnBlock - 1) / kColumnBlock * kColumnBlock);
    if (inverse) {
        // The source is read whole into the planes before the destination is written, so both may be one image.
        unpack(*fft, pSrc, srcStep, live);
        columns(*fft, true, live);
        inverseRows(*fft, pDst, dstStep);
    } else {
        forwardRows(*fft, pSrc, srcStep);
        columns(*fft, false, live);
        pack(*fft, pDst, dstStep, live);
    }
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
            s->stageRe.resize(block);
            s->stageIm.resize(block);
        }
        s->columnFft.reset(new detail::FftBatch(orderY));
        s->avx2 = detail::hasAvx2Kernels();
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
    if (!isLiveFft(pFFTSpec)) return ippStsContextMatchErr;
    pFFTSpec->magic = 0;
    delete pFFTSpec;
    return ippStsNoErr;
}

IppStatus ippiFFTFwd_RToPack_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                     const IppiFFTSpec_R_32f* pFFTSpec, Ipp8u* /*pBuffer: the FFT object owns its buffers*/) {
    return transform(pSrc, srcStep, pDst, dstStep, pFFTSpec, false, pFFTSpec != nullptr ? pFFTSpec->half : 0);
}

IppStatus ippiFFTInv_PackToR_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                     const IppiFFTSpec_R_32f* pFFTSpec, Ipp8u* /*pBuffer: the FFT object owns its buffers*/) {
    return transform(pSrc, srcStep, pDst, dstStep, pFFTSpec, true, pFFTSpec != nullptr ? pFFTSpec->half : 0);
}

IppStatus fftForwardLowBand(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                            const IppiFFTSpec_R_32f* pFFTSpec, int liveColumns) {
    return transform(pSrc, srcStep, pDst, dstStep, pFFTSpec, false, liveColumns);
}

IppStatus fftInverseLowBand(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                            const IppiFFTSpec_R_32f* pFFTSpec, int liveColumns) {
    return transform(pSrc, srcStep, pDst, dstStep, pFFTSpec, true, liveColumns);
}

}  // namespace Ipp
}  // namespace Orvan
