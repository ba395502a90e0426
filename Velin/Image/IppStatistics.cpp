// Region statistics: min/max, sum and the even histogram.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <cstdint>
#include <limits>

namespace Orvan {
namespace Ipp {

// NaN pixels are skipped (every comparison with NaN is false), so one NaN cannot hide the real extremes.
// When the region holds no number at all both results are NaN.
IppStatus ippiMinMax_32f_C1R(const Ipp32f* pSrc, int srcStep, IppiSize roiSize, Ipp32f* pMin, Ipp32f* pMax) {
    if (pMin == nullptr || pMax == nullptr) return ippStsNullPtrErr;
    const IppStatus st = detail::checkImage(pSrc, srcStep, roiSize);
    if (st != ippStsNoErr) return st;
    float mn = std::numeric_limits<float>::infinity();
    float mx = -std::numeric_limits<float>::infinity();
    std::int64_t numbers = 0;
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp32f* s = detail::rowAt(pSrc, srcStep, y);
        int rowNumbers = 0;
        for (int x = 0; x < roiSize.width; ++x) {
            const float v = s[x];
            mn = v < mn ? v : mn;
            mx = v > mx ? v : mx;
            rowNumbers += (v == v) ? 1 : 0;
        }
        numbers += rowNumbers;
    }
    if (numbers == 0) {
        mn = std::numeric_limits<float>::quiet_NaN();
        mx = mn;
    }
    *pMin = mn;
    *pMax = mx;
    return ippStsNoErr;
}

IppStatus ippiSum_8u_C1R(const Ipp8u* pSrc, int srcStep, IppiSize roiSize, Ipp64f* pSum) {
    if (pSum == nullptr) return ippStsNullPtrErr;
    const IppStatus st = detail::checkImage(pSrc, srcStep, roiSize);
    if (st != ippStsNoErr) return st;
    // Integer accumulation keeps the sum exact; it only becomes a double at the end.
    std::uint64_t total = 0;
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp8u* s = detail::rowAt(pSrc, srcStep, y);
        std::uint64_t row = 0;
        for (int x = 0; x < roiSize.width; ++x) row += s[x];
        total += row;
    }
    *pSum = static_cast<Ipp64f>(total);
    return ippStsNoErr;
}

IppStatus ippiHistogramEven_8u_C1R(const Ipp8u* pSrc, int srcStep, IppiSize roiSize, Ipp32s* pHist,
                                   Ipp32s* pLevels, int nLevels, Ipp32s lowerLevel, Ipp32s upperLevel) {
    if (pHist == nullptr || pLevels == nullptr) return ippStsNullPtrErr;
    const IppStatus st = detail::checkImage(pSrc, srcStep, roiSize);
    if (st != ippStsNoErr) return st;
    if (nLevels < 2) return ippStsHistoNofLevelsErr;

    // Integer levels; the remainder of the division goes one unit at a time to the first bins.
    const std::int64_t bins = nLevels - 1;
    const std::int64_t range = static_cast<std::int64_t>(upperLevel) - lowerLevel;
    const std::int64_t q = range / bins;
    std::int64_t r = range % bins;
    std::int64_t level = lowerLevel;
    pLevels[0] = lowerLevel;
    for (std::int64_t i = 1; i <= bins; ++i) {
        level += q + (r > 0 ? 1 : 0);
        --r;
        pLevels[i] = static_cast<Ipp32s>(level);
    }

    // Each 8-bit value belongs to at most one bin [levels[k], levels[k+1]); a table of 256 bin indices
    // turns the count into one lookup per pixel.
    int binOf[256];
    for (int v = 0; v < 256; ++v) binOf[v] = -1;
    for (std::int64_t k = 0; k < bins; ++k) {
        const std::int64_t lo = pLevels[k] < 0 ? 0 : pLevels[k];
        const std::int64_t hi = pLevels[k + 1] > 256 ? 256 : pLevels[k + 1];
        for (std::int64_t v = lo; v < hi; ++v) binOf[v] = static_cast<int>(k);
    }
    std::int64_t counts[256] = {};
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp8u* s = detail::rowAt(pSrc, srcStep, y);
        for (int x = 0; x < roiSize.width; ++x) ++counts[s[x]];
    }
    for (std::int64_t k = 0; k < bins; ++k) pHist[k] = 0;
    for (int v = 0; v < 256; ++v)
        if (binOf[v] >= 0) pHist[binOf[v]] += static_cast<Ipp32s>(counts[v]);
    return ippStsNoErr;
}

IppStatus ippiThreshold_LTValGTVal_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                          IppiSize roiSize, Ipp8u thresholdLT, Ipp8u valueLT,
                                          Ipp8u thresholdGT, Ipp8u valueGT) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pDst, dstStep, roiSize);
    if (st != ippStsNoErr) return st;
    if (thresholdGT < thresholdLT) return ippStsThresholdErr;
    // Both comparisons are strict: a pixel equal to a threshold passes through unchanged.
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp8u* s = detail::rowAt(pSrc, srcStep, y);
        Ipp8u* d = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < roiSize.width; ++x) {
            const Ipp8u v = s[x];
            d[x] = v < thresholdLT ? valueLT : (v > thresholdGT ? valueGT : v);
        }
    }
    return ippStsNoErr;
}

}  // namespace Ipp
}  // namespace Orvan
