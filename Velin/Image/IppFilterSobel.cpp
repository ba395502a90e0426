// Vertical-edge Sobel filter of a float image over a caller-supplied border.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <vector>

namespace Orvan {
namespace Ipp {

namespace {

// The kernel is applied as a convolution, so the left column counts positively: the response is positive
// where intensity falls from left to right. The detector relies on that sign.
VELIN_SIMD_CLONES void sobel3(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize size) {
    std::vector<float> across(static_cast<std::size_t>(size.width) + 2);
    float* t = across.data() + 1;  // t[-1] .. t[width]
    for (int y = 0; y < size.height; ++y) {
        const Ipp32f* above = detail::rowAt(pSrc, srcStep, y - 1);
        const Ipp32f* here = detail::rowAt(pSrc, srcStep, y);
        const Ipp32f* below = detail::rowAt(pSrc, srcStep, y + 1);
        for (int x = -1; x <= size.width; ++x) t[x] = 2.0f * here[x] + (above[x] + below[x]);
        Ipp32f* d = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < size.width; ++x) d[x] = t[x - 1] - t[x + 1];
    }
}

// 5x5: smoothing (1,4,6,4,1) across rows and the derivative (1,2,0,-2,-1) along the row, left positive as
// for the 3x3 mask.
void sobel5(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize size) {
    std::vector<float> across(static_cast<std::size_t>(size.width) + 4);
    float* t = across.data() + 2;  // t[-2] .. t[width+1]
    for (int y = 0; y < size.height; ++y) {
        const Ipp32f* r0 = detail::rowAt(pSrc, srcStep, y - 2);
        const Ipp32f* r1 = detail::rowAt(pSrc, srcStep, y - 1);
        const Ipp32f* r2 = detail::rowAt(pSrc, srcStep, y);
        const Ipp32f* r3 = detail::rowAt(pSrc, srcStep, y + 1);
        const Ipp32f* r4 = detail::rowAt(pSrc, srcStep, y + 2);
        for (int x = -2; x <= size.width + 1; ++x)
            t[x] = ((r0[x] + r4[x]) + 4.0f * (r1[x] + r3[x])) + 6.0f * r2[x];
        Ipp32f* d = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < size.width; ++x) d[x] = (t[x - 2] - t[x + 2]) + 2.0f * (t[x - 1] - t[x + 1]);
    }
}

}  // namespace

IppStatus ippiFilterSobelVertMask_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                          IppiSize dstRoiSize, IppiMaskSize mask) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pDst, dstStep, dstRoiSize);
    if (st != ippStsNoErr) return st;
    if (mask == ippMskSize3x3) {
        sobel3(pSrc, srcStep, pDst, dstStep, dstRoiSize);
    } else if (mask == ippMskSize5x5) {
        sobel5(pSrc, srcStep, pDst, dstStep, dstRoiSize);
    } else {
        return ippStsMaskSizeErr;
    }
    return ippStsNoErr;
}

}  // namespace Ipp
}  // namespace Orvan
