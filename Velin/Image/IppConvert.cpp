// Pixel-type conversions and in-place arithmetic with a constant.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <cmath>

namespace Orvan {
namespace Ipp {

namespace {

// Saturating float -> 8-bit conversion. NaN maps to 0: it fails both comparisons, so the lower bound
// catches it together with the negatives and no NaN ever reaches a float-to-integer cast (which would be
// undefined). A flat B-scan normalises to 0/0 and so becomes a black image rather than garbage. Written as
// two selects so that the loop over a row becomes vector code.
inline Ipp8u truncateToU8(float v) {
    const float below = v >= 255.0f ? 255.0f : v;
    const float clamped = below > 0.0f ? below : 0.0f;
    return static_cast<Ipp8u>(static_cast<int>(clamped));
}

// Round half to even, the primitives' documented default for "nearest": 0.5 -> 0, 1.5 -> 2, 2.5 -> 2.
// Done by hand rather than with nearbyint so that a host's floating-point rounding mode cannot change it.
inline Ipp8u nearestToU8(float v) {
    if (!(v > 0.0f)) return 0;
    if (v >= 255.0f) return 255;
    const float whole = std::floor(v);
    const float frac = v - whole;  // exact for values below 2^23
    int r = static_cast<int>(whole);
    if (frac > 0.5f || (frac == 0.5f && (r & 1) != 0)) ++r;
    return static_cast<Ipp8u>(r);
}

// Checks the arguments, then writes op(source pixel) to every destination pixel of the region, row by row.
// The in-place primitives pass the same image as source and destination.
template <typename Src, typename Dst, typename Op>
VELIN_ALWAYS_INLINE IppStatus mapPixels(const Src* pSrc, int srcStep, Dst* pDst, int dstStep, IppiSize roiSize, Op op) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pDst, dstStep, roiSize);
    if (st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y) {
        const Src* s = detail::rowAt(pSrc, srcStep, y);
        Dst* d = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < roiSize.width; ++x) d[x] = op(s[x]);
    }
    return ippStsNoErr;
}

}  // namespace

// The element-wise primitives are compiled for AVX2 as well (VELIN_SIMD_CLONES): the same operation per pixel.
VELIN_SIMD_CLONES IppStatus ippiConvert_8u32f_C1R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                                  IppiSize roiSize) {
    return mapPixels(pSrc, srcStep, pDst, dstStep, roiSize, [](Ipp8u v) { return static_cast<Ipp32f>(v); });
}

VELIN_SIMD_CLONES IppStatus ippiConvert_32f8u_C1R(const Ipp32f* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                                  IppiSize roiSize, IppRoundMode roundMode) {
    if (roundMode == ippRndNear) return mapPixels(pSrc, srcStep, pDst, dstStep, roiSize, nearestToU8);
    return mapPixels(pSrc, srcStep, pDst, dstStep, roiSize, truncateToU8);
}

VELIN_SIMD_CLONES IppStatus ippiAddC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int srcDstStep, IppiSize roiSize) {
    return mapPixels(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, [value](Ipp32f v) { return v + value; });
}

VELIN_SIMD_CLONES IppStatus ippiMulC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int srcDstStep, IppiSize roiSize) {
    return mapPixels(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, [value](Ipp32f v) { return v * value; });
}

}  // namespace Ipp
}  // namespace Orvan
