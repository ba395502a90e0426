// Element-wise product of two spectra in the packed layout.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

namespace Orvan {
namespace Ipp {

namespace {

VELIN_ALWAYS_INLINE void complexMul(float a, float b, float& c, float& d) {
    const float re = a * c - b * d;
    const float im = a * d + b * c;
    c = re;
    d = im;
}

// A column that holds a vertical pack: real at row 0, (Re, Im) pairs in rows (2k-1, 2k), and a last real
// value at row H-1 when the height is even.
void mulVerticalPack(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int height, int x) {
    const auto src = [&](int y) { return detail::rowAt(pSrc, srcStep, y)[x]; };
    const auto dst = [&](int y) -> Ipp32f& { return detail::rowAt(pSrcDst, srcDstStep, y)[x]; };
    dst(0) *= src(0);
    for (int k = 1; 2 * k < height; ++k) complexMul(src(2 * k - 1), src(2 * k), dst(2 * k - 1), dst(2 * k));
    if (height % 2 == 0 && height > 1) dst(height - 1) *= src(height - 1);
}

}  // namespace

VELIN_SIMD_CLONES IppStatus ippiMulPack_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep,
                                                 IppiSize roiSize) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
    if (st != ippStsNoErr) return st;
    const int W = roiSize.width, H = roiSize.height;
    mulVerticalPack(pSrc, srcStep, pSrcDst, srcDstStep, H, 0);
    if (W % 2 == 0 && W > 1) mulVerticalPack(pSrc, srcStep, pSrcDst, srcDstStep, H, W - 1);
    // Every row: horizontal (Re, Im) pairs in columns (2j-1, 2j).
    const int pairs = (W - 1) / 2;
    for (int y = 0; y < H; ++y) {
        const Ipp32f* s = detail::rowAt(pSrc, srcStep, y);
        Ipp32f* d = detail::rowAt(pSrcDst, srcDstStep, y);
        for (int j = 1; j <= pairs; ++j) complexMul(s[2 * j - 1], s[2 * j], d[2 * j - 1], d[2 * j]);
    }
    return ippStsNoErr;
}

}  // namespace Ipp
}  // namespace Orvan
