// Allocation, fill and copy primitives.

#include <Velin/Image/IppChecks.h>
#include <Velin/Image/IppPrimitives.h>

#include <cstdlib>
#include <cstring>
#include <limits>

namespace Orvan {
namespace Ipp {

namespace {

constexpr std::size_t kAlignment = 32;

// Portable 32-byte alignment: over-allocate and keep the pointer malloc returned just below the aligned
// block, so that ippiFree can hand it back. Works the same with MSVC, mingw-w64 and glibc.
void* alignedAlloc(std::size_t bytes) {
    const std::size_t extra = kAlignment - 1 + sizeof(void*);
    if (bytes > std::numeric_limits<std::size_t>::max() - extra) return nullptr;
    void* raw = std::malloc(bytes + extra);
    if (raw == nullptr) return nullptr;
    std::uintptr_t aligned = (reinterpret_cast<std::uintptr_t>(raw) + extra) & ~(std::uintptr_t{kAlignment} - 1);
    reinterpret_cast<void**>(aligned)[-1] = raw;
    return reinterpret_cast<void*>(aligned);
}

template <typename T>
T* mallocImage(int width, int height, int* pStep) {
    if (pStep != nullptr) *pStep = 0;
    if (width <= 0 || height <= 0) return nullptr;
    const std::int64_t step = (static_cast<std::int64_t>(width) * static_cast<std::int64_t>(sizeof(T)) + 31) & ~std::int64_t{31};
    if (step > std::numeric_limits<int>::max()) return nullptr;
    void* p = alignedAlloc(static_cast<std::size_t>(step) * static_cast<std::size_t>(height));
    if (p != nullptr && pStep != nullptr) *pStep = static_cast<int>(step);
    return static_cast<T*>(p);
}

template <typename T>
IppStatus setImage(T value, T* pDst, int dstStep, IppiSize size) {
    const IppStatus st = detail::checkImage(pDst, dstStep, size);
    if (st != ippStsNoErr) return st;
    for (int y = 0; y < size.height; ++y) {
        T* row = detail::rowAt(pDst, dstStep, y);
        for (int x = 0; x < size.width; ++x) row[x] = value;
    }
    return ippStsNoErr;
}

template <typename T>
IppStatus copyImage(const T* pSrc, int srcStep, T* pDst, int dstStep, IppiSize size) {
    const IppStatus st = detail::checkImages(pSrc, srcStep, pDst, dstStep, size);
    if (st != ippStsNoErr) return st;
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * sizeof(T);
    for (int y = 0; y < size.height; ++y)
        std::memmove(detail::rowAt(pDst, dstStep, y), detail::rowAt(pSrc, srcStep, y), rowBytes);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippStaticInit() { return ippStsNoErr; }

Ipp8u* ippiMalloc_8u_C1(int widthPixels, int heightPixels, int* pStepBytes) {
    return mallocImage<Ipp8u>(widthPixels, heightPixels, pStepBytes);
}
Ipp16s* ippiMalloc_16s_C1(int widthPixels, int heightPixels, int* pStepBytes) {
    return mallocImage<Ipp16s>(widthPixels, heightPixels, pStepBytes);
}
Ipp32f* ippiMalloc_32f_C1(int widthPixels, int heightPixels, int* pStepBytes) {
    return mallocImage<Ipp32f>(widthPixels, heightPixels, pStepBytes);
}

void ippiFree(void* ptr) {
    if (ptr != nullptr) std::free(static_cast<void**>(ptr)[-1]);
}

IppStatus ippiSet_8u_C1R(Ipp8u value, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    return setImage(value, pDst, dstStep, roiSize);
}
IppStatus ippiSet_16s_C1R(Ipp16s value, Ipp16s* pDst, int dstStep, IppiSize roiSize) {
    return setImage(value, pDst, dstStep, roiSize);
}
IppStatus ippiSet_32f_C1R(Ipp32f value, Ipp32f* pDst, int dstStep, IppiSize roiSize) {
    return setImage(value, pDst, dstStep, roiSize);
}

IppStatus ippiCopy_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize) {
    return copyImage(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiCopy_16s_C1R(const Ipp16s* pSrc, int srcStep, Ipp16s* pDst, int dstStep, IppiSize roiSize) {
    return copyImage(pSrc, srcStep, pDst, dstStep, roiSize);
}
IppStatus ippiCopy_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize roiSize) {
    return copyImage(pSrc, srcStep, pDst, dstStep, roiSize);
}

}  // namespace Ipp
}  // namespace Orvan
