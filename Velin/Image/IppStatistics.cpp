// Region statistics: min/max, sum and the even histogram.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Orvan {
namespace Ipp {

namespace {

// The extremes as one chain of compare-and-select per pixel, the defining order: the first of two equal
// extremes stays, which tells +0 from -0.
void minMaxInOrder(const Ipp32f* pSrc, int srcStep, IppiSize roiSize, float& mn, float& mx) {
    mn = std::numeric_limits<float>::infinity();
    mx = -std::numeric_limits<float>::infinity();
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp32f* s = detail::rowAt(pSrc, srcStep, y);
        for (int x = 0; x < roiSize.width; ++x) {
            const float v = s[x];
            mn = v < mn ? v : mn;
            mx = v > mx ? v : mx;
        }
    }
}

constexpr int kLanes = 16;

// The same comparisons in kLanes independent chains, which the compiler turns into vector code; returns
// how many pixels are numbers. Only the sign of a zero extreme can differ from minMaxInOrder.
VELIN_SIMD_CLONES std::int64_t minMaxInLanes(const Ipp32f* pSrc, int srcStep, IppiSize roiSize, float& mn, float& mx) {
    float lo[kLanes], hi[kLanes];
    int numbers[kLanes] = {};
    for (int l = 0; l < kLanes; ++l) {
        lo[l] = std::numeric_limits<float>::infinity();
        hi[l] = -std::numeric_limits<float>::infinity();
    }
    std::int64_t total = 0;
    for (int y = 0; y < roiSize.height; ++y) {
        const Ipp32f* s = detail::rowAt(pSrc, srcStep, y);
        int x = 0;
        for (; x + kLanes <= roiSize.width; x += kLanes) {
            for (int l = 0; l < kLanes; ++l) {
                const float v = s[x + l];
                lo[l] = v < lo[l] ? v : lo[l];
                hi[l] = v > hi[l] ? v : hi[l];
                numbers[l] += (v == v) ? 1 : 0;
            }
        }
        for (; x < roiSize.width; ++x) {
            const float v = s[x];
            lo[0] = v < lo[0] ? v : lo[0];
            hi[0] = v > hi[0] ? v : hi[0];
            total += (v == v) ? 1 : 0;
        }
        // Folded per row, so that no lane's count can overflow.
        for (int l = 0; l < kLanes; ++l) {
            total += numbers[l];
            numbers[l] = 0;
        }
    }
    mn = lo[0];
    mx = hi[0];
    for (int l = 1; l < kLanes; ++l) {
        mn = lo[l] < mn ? lo[l] : mn;
        mx = hi[l] > mx ? hi[l] : mx;
    }
    return total;
}

}  // namespace

// NaN pixels are skipped (every comparison with NaN is false), so one NaN cannot hide the real extremes.
// When the region holds no number at all both results are NaN. The extremes are found in independent lanes;
// a zero extreme, whose sign the lanes may not tell as the one chain in pixel order does, is found again
// in that order.
IppStatus ippiMinMax_32f_C1R(const Ipp32f* pSrc, int srcStep, IppiSize roiSize, Ipp32f* pMin, Ipp32f* pMax) {
    if (pMin == nullptr || pMax == nullptr) return ippStsNullPtrErr;
    const IppStatus st = detail::checkImage(pSrc, srcStep, roiSize);
    if (st != ippStsNoErr) return st;
    float mn = 0.0f, mx = 0.0f;
    const std::int64_t numbers = minMaxInLanes(pSrc, srcStep, roiSize, mn, mx);
    if (mn == 0.0f || mx == 0.0f) minMaxInOrder(pSrc, srcStep, roiSize, mn, mx);
    if (numbers == 0) {
        mn = std::numeric_limits<float>::quiet_NaN();
        mx = mn;
    }
    *pMin = mn;
    *pMax = mx;
    return ippStsNoErr;
}

VELIN_SIMD_CLONES IppStatus ippiSum_8u_C1R(const Ipp8u* pSrc, int srcStep, IppiSize roiSize, Ipp64f* pSum) {
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
    // Four tables counted in turn: runs of equal values, common in B-scans, would otherwise wait on one
    // counter's previous increment. They are folded into the totals before any of them could overflow.
    std::int32_t partial[4][256] = {};
    std::int64_t counts[256] = {};
    const auto fold = [&] {
        for (int v = 0; v < 256; ++v)
            counts[v] += std::int64_t{partial[0][v]} + partial[1][v] + partial[2][v] + partial[3][v];
        std::fill(&partial[0][0], &partial[0][0] + 4 * 256, 0);
    };
    std::int64_t pending = 0;
    for (int y = 0; y < roiSize.height; ++y) {
        if (pending + roiSize.width > std::numeric_limits<std::int32_t>::max()) {
            fold();
            pending = 0;
        }
        pending += roiSize.width;
        const Ipp8u* s = detail::rowAt(pSrc, srcStep, y);
        int x = 0;
        for (; x + 4 <= roiSize.width; x += 4) {
            ++partial[0][s[x]];
            ++partial[1][s[x + 1]];
            ++partial[2][s[x + 2]];
            ++partial[3][s[x + 3]];
        }
        for (; x < roiSize.width; ++x) ++partial[0][s[x]];
    }
    fold();
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
