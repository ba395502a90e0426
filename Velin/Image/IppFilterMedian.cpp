// One-dimensional median filter of a 16-bit vector.

#include <Velin/Image/IppPrimitives.h>

#include <algorithm>
#include <vector>

namespace Orvan {
namespace Ipp {

IppStatus ippsFilterMedian_16s(const Ipp16s* pSrc, Ipp16s* pDst, int len, int maskSize) {
    if (pSrc == nullptr || pDst == nullptr) return ippStsNullPtrErr;
    if (len <= 0) return ippStsSizeErr;
    if (maskSize <= 0) return ippStsMaskSizeErr;

    // An even mask has no centre; it is reduced by one and the caller is warned.
    const bool even = maskSize % 2 == 0;
    const int m = even ? maskSize - 1 : maskSize;
    const int h = (m - 1) / 2;

    // Every median comes from the original input, also when the caller filters in place.
    std::vector<Ipp16s> source(pSrc, pSrc + len);
    const auto at = [&](int j) { return source[static_cast<std::size_t>(std::clamp(j, 0, len - 1))]; };

    // A sorted copy of the window slides along: drop the value leaving, insert the one entering.
    std::vector<Ipp16s> window;
    window.reserve(static_cast<std::size_t>(m));
    for (int k = -h; k <= h; ++k) window.push_back(at(k));
    std::sort(window.begin(), window.end());
    for (int i = 0; i < len; ++i) {
        pDst[i] = window[static_cast<std::size_t>(h)];
        if (i + 1 == len) break;
        window.erase(std::lower_bound(window.begin(), window.end(), at(i - h)));
        const Ipp16s entering = at(i + h + 1);
        window.insert(std::upper_bound(window.begin(), window.end(), entering), entering);
    }
    return even ? ippStsEvenMedianMaskSize : ippStsNoErr;
}

}  // namespace Ipp
}  // namespace Orvan
