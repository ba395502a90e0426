// Pixel-type conversions and in-place arithmetic with a constant.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <cmath>

namespace Orvan {
namespace Ipp {

namespace {

// Saturating float -> 8-bit conversion. NaN maps to 0: the `!(v > 0)` test catches it together with the
// negatives, so no NaN ever reaches a float-to-integer cast (which would be undefined). A flat B-scan
// normalises to 0/0 and so becomes a black image rather than garbage.
inline Ipp8u truncateToU8(float v) {
    if (!(v > 0.0f)) return 0;
    if (v >= 255.0f) return 255;
    return static_cast<Ipp8u>(static_cast<int>(v));
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

}  // namespace

IppStatus ippiConvert_8u32f_C1R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize roiSize) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pDst, dstStep, roiSize);
    if (st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp8u* s = detail::rowAt(pSrc, srcStep, y);
        Ipp32f* d = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < roiSize.width; ++x) d[x] = static_cast<Ipp32f>(s[x]);
    }
    return ippStsNoErr;
}

IppStatus ippiConvert_32f8u_C1R(const Ipp32f* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize,
                                IppRoundMode roundMode) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pDst, dstStep, roiSize);
    if (st != ippStsNoErr) return st;
    const bool nearest = roundMode == ippRndNear;
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp32f* s = detail::rowAt(pSrc, srcStep, y);
        Ipp8u* d = detail::rowAt(pDst, dstStep, y);
        if (nearest) {
            for (int x = 0; x < roiSize.width; ++x) d[x] = nearestToU8(s[x]);
        } else {
            for (int x = 0; x < roiSize.width; ++x) d[x] = truncateToU8(s[x]);
        }
    }
    return ippStsNoErr;
}

IppStatus ippiAddC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int srcDstStep, IppiSize roiSize) {
    const IppStatus st = detail::checkImage(pSrcDst, srcDstStep, roiSize);
    if (st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y) {
        Ipp32f* p = detail::rowAt(pSrcDst, srcDstStep, y);
        for (int x = 0; x < roiSize.width; ++x) p[x] += value;
    }
    return ippStsNoErr;
}

IppStatus ippiMulC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int srcDstStep, IppiSize roiSize) {
    const IppStatus st = detail::checkImage(pSrcDst, srcDstStep, roiSize);
    if (st != ippStsNoErr) return st;
    for (int y = 0; y < roiSize.height; ++y) {
        Ipp32f* p = detail::rowAt(pSrcDst, srcDstStep, y);
        for (int x = 0; x < roiSize.width; ++x) p[x] *= value;
    }
    return ippStsNoErr;
}

}  // namespace Ipp
}  // namespace Orvan
