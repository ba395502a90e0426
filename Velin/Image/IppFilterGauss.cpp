// Gaussian smoothing of an 8-bit image over a caller-supplied border.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <cstdint>
#include <vector>

namespace Orvan {
namespace Ipp {

namespace {

// Integer division by 2^shift, rounding exact halves to even (the primitives' documented default rounding):
// adding (half - 1) plus the parity of the truncated quotient pushes a tie up only when that quotient is odd.
inline Ipp8u roundHalfEvenShift(std::int32_t sum, int shift) {
    const std::int32_t half = 1 << (shift - 1);
    return static_cast<Ipp8u>((sum + (half - 1) + ((sum >> shift) & 1)) >> shift);
}

// 3x3: (1,2,1) x (1,2,1) / 16. Vertical pass into a row of sums, then the horizontal pass; every weight is an
// integer so the result does not depend on the order of summation.
VELIN_SIMD_CLONES void gauss3(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize size) {
    std::vector<std::int32_t> column(static_cast<std::size_t>(size.width) + 2);
    std::int32_t* v = column.data() + 1;  // v[-1] .. v[width]
    for (int y = 0; y < size.height; ++y) {
        const Ipp8u* above = detail::rowAt(pSrc, srcStep, y - 1);
        const Ipp8u* here = detail::rowAt(pSrc, srcStep, y);
        const Ipp8u* below = detail::rowAt(pSrc, srcStep, y + 1);
        for (int x = -1; x <= size.width; ++x) v[x] = above[x] + 2 * here[x] + below[x];
        Ipp8u* d = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < size.width; ++x) d[x] = roundHalfEvenShift(v[x - 1] + 2 * v[x] + v[x + 1], 4);
    }
}

// 5x5: the binomial kernel (1,4,6,4,1) x (1,4,6,4,1) / 256, rounded like the 3x3 mask.
void gauss5(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize size) {
    std::vector<std::int32_t> column(static_cast<std::size_t>(size.width) + 4);
    std::int32_t* v = column.data() + 2;  // v[-2] .. v[width+1]
    for (int y = 0; y < size.height; ++y) {
        const Ipp8u* r0 = detail::rowAt(pSrc, srcStep, y - 2);
        const Ipp8u* r1 = detail::rowAt(pSrc, srcStep, y - 1);
        const Ipp8u* r2 = detail::rowAt(pSrc, srcStep, y);
        const Ipp8u* r3 = detail::rowAt(pSrc, srcStep, y + 1);
        const Ipp8u* r4 = detail::rowAt(pSrc, srcStep, y + 2);
        for (int x = -2; x <= size.width + 1; ++x) v[x] = r0[x] + 4 * r1[x] + 6 * r2[x] + 4 * r3[x] + r4[x];
        Ipp8u* d = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < size.width; ++x)
            d[x] = roundHalfEvenShift(v[x - 2] + 4 * v[x - 1] + 6 * v[x] + 4 * v[x + 1] + v[x + 2], 8);
    }
}

}  // namespace

IppStatus ippiFilterGauss_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                                 IppiMaskSize mask) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pDst, dstStep, dstRoiSize);
    if (st != ippStsNoErr) return st;
    if (mask == ippMskSize3x3) {
        gauss3(pSrc, srcStep, pDst, dstStep, dstRoiSize);
    } else if (mask == ippMskSize5x5) {
        gauss5(pSrc, srcStep, pDst, dstStep, dstRoiSize);
    } else {
        return ippStsMaskSizeErr;
    }
    return ippStsNoErr;
}

}  // namespace Ipp
}  // namespace Orvan
