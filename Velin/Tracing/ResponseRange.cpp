#include <Velin/Tracing/ResponseRange.h>

#if defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64)
#include <emmintrin.h>
#define VELIN_RANGE_SSE2 1
#endif

namespace Orvan {
namespace Velin {
namespace {

void foldOne(float v, float& least, float& greatest) {
    least = v <= least ? v : least;
    greatest = v >= greatest ? v : greatest;
}

}  // namespace

// The range is taken over a whole B-scan per call of the tracing, so it runs in independent lanes: a single
// chain of compare-and-select costs several cycles per pixel. Lanes may pick a different one of two equal
// extremes, which only matters for +0 and -0.
void foldRange(const float* values, int count, float& least, float& greatest) {
    int x = 0;
#if defined(VELIN_RANGE_SSE2)
    if (count >= 8) {
        __m128 lo0 = _mm_set1_ps(least), lo1 = lo0;
        __m128 hi0 = _mm_set1_ps(greatest), hi1 = hi0;
        // Select v where the comparison holds; NaN never compares, so it never replaces an extreme.
        const auto fold = [](__m128 v, __m128& lo, __m128& hi) {
            const __m128 below = _mm_cmple_ps(v, lo);
            lo = _mm_or_ps(_mm_and_ps(below, v), _mm_andnot_ps(below, lo));
            const __m128 above = _mm_cmpge_ps(v, hi);
            hi = _mm_or_ps(_mm_and_ps(above, v), _mm_andnot_ps(above, hi));
        };
        for (; x + 8 <= count; x += 8) {
            fold(_mm_loadu_ps(values + x), lo0, hi0);
            fold(_mm_loadu_ps(values + x + 4), lo1, hi1);
        }
        float lanes[8];
        _mm_storeu_ps(lanes, lo0);
        _mm_storeu_ps(lanes + 4, lo1);
        for (const float v : lanes) least = v <= least ? v : least;
        _mm_storeu_ps(lanes, hi0);
        _mm_storeu_ps(lanes + 4, hi1);
        for (const float v : lanes) greatest = v >= greatest ? v : greatest;
    }
#endif
    for (; x < count; ++x) foldOne(values[x], least, greatest);
}

}  // namespace Velin
}  // namespace Orvan
