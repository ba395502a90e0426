#pragma once

// The row transforms of the 2-D real FFT run across blocks of eight image rows at once: element k of all
// eight rows sits in one block row of eight floats (FftBatch's lanes). These kernels move data between image
// rows and such blocks. They only copy and, on the way out, scale; the AVX2 variants do it eight floats at a
// time with in-register transposes, and give the same bits.

#include <Velin/Image/FftBatch.h>

#include <cstddef>

namespace Orvan {
namespace Ipp {
namespace detail {

/// Rows transformed together.
constexpr std::ptrdiff_t kRowBlock = 8;

/// Whether the processor runs the AVX2 kernels (false where they are not built).
bool hasAvx2Kernels();

/// Real rows in[0..lanes-1] of 2n samples -> block: even samples to re, odd to im, sample pair m at block row
/// order.reversed(m).
void rowsToBlock(const float* const* in, int lanes, int n, const FftBatch& order, float* re, float* im, bool avx2);

/// Block rows 0..n-1 -> one complex row per lane: lane b to outRe[b], outIm[b].
void blockToRows(const float* re, const float* im, int lanes, int n, float* const* outRe, float* const* outIm,
                 bool avx2);

/// One complex row per lane -> block rows 0..n-1.
void rowsToBlockComplex(const float* const* inRe, const float* const* inIm, int lanes, int n, float* re, float* im,
                        bool avx2);

/// Block rows 0..n-1 -> real rows out[0..lanes-1] of 2n samples, re to the even and im to the odd samples,
/// each multiplied by scale.
void blockToRealRows(const float* re, const float* im, int lanes, int n, float scale, float* const* out, bool avx2);

}  // namespace detail
}  // namespace Ipp
}  // namespace Orvan
