#include <Velin/Image/FftTranspose.h>
#include <Velin/Image/IppChecks.h>

#if VELIN_AVX2_KERNELS
#include <immintrin.h>
#endif

namespace Orvan {
namespace Ipp {
namespace detail {

namespace {

void rowsToBlockPlain(const float* const* in, int lanes, int n, const FftBatch& order, float* re, float* im) {
    for (int m = 0; m < n; ++m) {
        float* zr = re + static_cast<std::ptrdiff_t>(order.reversed(m)) * kRowBlock;
        float* zi = im + static_cast<std::ptrdiff_t>(order.reversed(m)) * kRowBlock;
        for (int b = 0; b < lanes; ++b) {
            zr[b] = in[b][2 * m];
            zi[b] = in[b][2 * m + 1];
        }
    }
}

void blockToRowsPlain(const float* re, const float* im, int lanes, int n, float* const* outRe, float* const* outIm) {
    for (int b = 0; b < lanes; ++b)
        for (int k = 0; k < n; ++k) {
            outRe[b][k] = re[k * kRowBlock + b];
            outIm[b][k] = im[k * kRowBlock + b];
        }
}

void rowsToBlockComplexPlain(const float* const* inRe, const float* const* inIm, int lanes, int n, float* re,
                             float* im) {
    for (int b = 0; b < lanes; ++b)
        for (int k = 0; k < n; ++k) {
            re[k * kRowBlock + b] = inRe[b][k];
            im[k * kRowBlock + b] = inIm[b][k];
        }
}

void blockToRealRowsPlain(const float* re, const float* im, int lanes, int n, float scale, float* const* out) {
    for (int b = 0; b < lanes; ++b)
        for (int m = 0; m < n; ++m) {
            out[b][2 * m] = re[m * kRowBlock + b] * scale;
            out[b][2 * m + 1] = im[m * kRowBlock + b] * scale;
        }
}

#if VELIN_AVX2_KERNELS

#define VELIN_AVX2 __attribute__((target("avx2")))

// Transposes the 8 x 8 floats of r[0..7] in place.
VELIN_AVX2 inline void transpose8(__m256* r) {
    const __m256 t0 = _mm256_unpacklo_ps(r[0], r[1]), t1 = _mm256_unpackhi_ps(r[0], r[1]);
    const __m256 t2 = _mm256_unpacklo_ps(r[2], r[3]), t3 = _mm256_unpackhi_ps(r[2], r[3]);
    const __m256 t4 = _mm256_unpacklo_ps(r[4], r[5]), t5 = _mm256_unpackhi_ps(r[4], r[5]);
    const __m256 t6 = _mm256_unpacklo_ps(r[6], r[7]), t7 = _mm256_unpackhi_ps(r[6], r[7]);
    const __m256 u0 = _mm256_shuffle_ps(t0, t2, _MM_SHUFFLE(1, 0, 1, 0));
    const __m256 u1 = _mm256_shuffle_ps(t0, t2, _MM_SHUFFLE(3, 2, 3, 2));
    const __m256 u2 = _mm256_shuffle_ps(t1, t3, _MM_SHUFFLE(1, 0, 1, 0));
    const __m256 u3 = _mm256_shuffle_ps(t1, t3, _MM_SHUFFLE(3, 2, 3, 2));
    const __m256 u4 = _mm256_shuffle_ps(t4, t6, _MM_SHUFFLE(1, 0, 1, 0));
    const __m256 u5 = _mm256_shuffle_ps(t4, t6, _MM_SHUFFLE(3, 2, 3, 2));
    const __m256 u6 = _mm256_shuffle_ps(t5, t7, _MM_SHUFFLE(1, 0, 1, 0));
    const __m256 u7 = _mm256_shuffle_ps(t5, t7, _MM_SHUFFLE(3, 2, 3, 2));
    r[0] = _mm256_permute2f128_ps(u0, u4, 0x20);
    r[1] = _mm256_permute2f128_ps(u1, u5, 0x20);
    r[2] = _mm256_permute2f128_ps(u2, u6, 0x20);
    r[3] = _mm256_permute2f128_ps(u3, u7, 0x20);
    r[4] = _mm256_permute2f128_ps(u0, u4, 0x31);
    r[5] = _mm256_permute2f128_ps(u1, u5, 0x31);
    r[6] = _mm256_permute2f128_ps(u2, u6, 0x31);
    r[7] = _mm256_permute2f128_ps(u3, u7, 0x31);
}

// Eight full lanes and n a multiple of 8 only; the callers check.
VELIN_AVX2 void rowsToBlockAvx2(const float* const* in, int n, const FftBatch& order, float* re, float* im) {
    for (int m0 = 0; m0 < n; m0 += 8) {
        __m256 even[8], odd[8];
        for (int b = 0; b < 8; ++b) {
            const __m256 low = _mm256_loadu_ps(in[b] + 2 * m0), high = _mm256_loadu_ps(in[b] + 2 * m0 + 8);
            // (x0 x2 x8 x10 | x4 x6 x12 x14), then the 64-bit pairs into order.
            const __m256 e = _mm256_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0));
            const __m256 o = _mm256_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1));
            even[b] = _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(e), _MM_SHUFFLE(3, 1, 2, 0)));
            odd[b] = _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(o), _MM_SHUFFLE(3, 1, 2, 0)));
        }
        transpose8(even);
        transpose8(odd);
        for (int j = 0; j < 8; ++j) {
            const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(order.reversed(m0 + j)) * kRowBlock;
            _mm256_storeu_ps(re + row, even[j]);
            _mm256_storeu_ps(im + row, odd[j]);
        }
    }
}

VELIN_AVX2 void blockToRowsAvx2(const float* re, const float* im, int n, float* const* outRe, float* const* outIm) {
    for (int k0 = 0; k0 < n; k0 += 8) {
        __m256 r[8], i[8];
        for (int k = 0; k < 8; ++k) {
            r[k] = _mm256_loadu_ps(re + (k0 + k) * kRowBlock);
            i[k] = _mm256_loadu_ps(im + (k0 + k) * kRowBlock);
        }
        transpose8(r);
        transpose8(i);
        for (int b = 0; b < 8; ++b) {
            _mm256_storeu_ps(outRe[b] + k0, r[b]);
            _mm256_storeu_ps(outIm[b] + k0, i[b]);
        }
    }
}

VELIN_AVX2 void rowsToBlockComplexAvx2(const float* const* inRe, const float* const* inIm, int n, float* re,
                                       float* im) {
    for (int k0 = 0; k0 < n; k0 += 8) {
        __m256 r[8], i[8];
        for (int b = 0; b < 8; ++b) {
            r[b] = _mm256_loadu_ps(inRe[b] + k0);
            i[b] = _mm256_loadu_ps(inIm[b] + k0);
        }
        transpose8(r);
        transpose8(i);
        for (int k = 0; k < 8; ++k) {
            _mm256_storeu_ps(re + (k0 + k) * kRowBlock, r[k]);
            _mm256_storeu_ps(im + (k0 + k) * kRowBlock, i[k]);
        }
    }
}

VELIN_AVX2 void blockToRealRowsAvx2(const float* re, const float* im, int n, float scale, float* const* out) {
    const __m256 s = _mm256_set1_ps(scale);
    for (int m0 = 0; m0 < n; m0 += 8) {
        __m256 r[8], i[8];
        for (int m = 0; m < 8; ++m) {
            r[m] = _mm256_mul_ps(_mm256_loadu_ps(re + (m0 + m) * kRowBlock), s);
            i[m] = _mm256_mul_ps(_mm256_loadu_ps(im + (m0 + m) * kRowBlock), s);
        }
        transpose8(r);
        transpose8(i);
        for (int b = 0; b < 8; ++b) {
            // (r0 i0 r1 i1 | r4 i4 r5 i5) and (r2 i2 r3 i3 | r6 i6 r7 i7), then the halves into order.
            const __m256 low = _mm256_unpacklo_ps(r[b], i[b]), high = _mm256_unpackhi_ps(r[b], i[b]);
            _mm256_storeu_ps(out[b] + 2 * m0, _mm256_permute2f128_ps(low, high, 0x20));
            _mm256_storeu_ps(out[b] + 2 * m0 + 8, _mm256_permute2f128_ps(low, high, 0x31));
        }
    }
}

// The AVX2 kernels take whole blocks of eight rows and eight elements at a time.
bool avx2Fits(bool avx2, int lanes, int n) { return avx2 && lanes == kRowBlock && n % 8 == 0; }

#endif

}  // namespace

bool hasAvx2Kernels() {
#if VELIN_AVX2_KERNELS
    return __builtin_cpu_supports("avx2") != 0;
#else
    return false;
#endif
}

void rowsToBlock(const float* const* in, int lanes, int n, const FftBatch& order, float* re, float* im, bool avx2) {
#if VELIN_AVX2_KERNELS
    if (avx2Fits(avx2, lanes, n)) return rowsToBlockAvx2(in, n, order, re, im);
#endif
    (void)avx2;
    rowsToBlockPlain(in, lanes, n, order, re, im);
}

void blockToRows(const float* re, const float* im, int lanes, int n, float* const* outRe, float* const* outIm,
                 bool avx2) {
#if VELIN_AVX2_KERNELS
    if (avx2Fits(avx2, lanes, n)) return blockToRowsAvx2(re, im, n, outRe, outIm);
#endif
    (void)avx2;
    blockToRowsPlain(re, im, lanes, n, outRe, outIm);
}

void rowsToBlockComplex(const float* const* inRe, const float* const* inIm, int lanes, int n, float* re, float* im,
                        bool avx2) {
#if VELIN_AVX2_KERNELS
    if (avx2Fits(avx2, lanes, n)) return rowsToBlockComplexAvx2(inRe, inIm, n, re, im);
#endif
    (void)avx2;
    rowsToBlockComplexPlain(inRe, inIm, lanes, n, re, im);
}

void blockToRealRows(const float* re, const float* im, int lanes, int n, float scale, float* const* out, bool avx2) {
#if VELIN_AVX2_KERNELS
    if (avx2Fits(avx2, lanes, n)) return blockToRealRowsAvx2(re, im, n, scale, out);
#endif
    (void)avx2;
    blockToRealRowsPlain(re, im, lanes, n, scale, out);
}

}  // namespace detail
}  // namespace Ipp
}  // namespace Orvan
