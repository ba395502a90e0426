#pragma once

// Internal helpers shared by the primitive implementations: argument checks in the order every primitive
// applies them (pointers, region, steps), and row addressing by byte step.

#include <Velin/Image/IppTypes.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

// Marks pointer parameters that never alias, which is what lets the compiler vectorise the lane loops.
#if defined(_MSC_VER)
#define VELIN_RESTRICT __restrict
#else
#define VELIN_RESTRICT __restrict__
#endif

// Compiles a hot function twice, for AVX2 and for the baseline (SSE2 on x86-64), and picks one when the
// library is loaded, on ELF systems with GCC. AVX2 only widens the vectors: the same float operations run in
// the same order (no FMA is enabled, and contraction is off for the image library), so every result is bit
// for bit the baseline's. Elsewhere (MSVC, mingw-w64, and Clang, whose version 14 emits no dispatcher for a
// member function whose declaration lacks the attribute, so that the fuzzing build did not link) the
// baseline alone is built.
#if defined(__GNUC__) && !defined(__clang__) && defined(__ELF__) && defined(__x86_64__)
#define VELIN_SIMD_CLONES __attribute__((target_clones("avx2", "default")))
#define VELIN_AVX2_KERNELS 1  ///< hand-written AVX2 kernels are built, and used where the processor has AVX2
#else
#define VELIN_SIMD_CLONES
#define VELIN_AVX2_KERNELS 0
#endif

// Helpers of a VELIN_SIMD_CLONES function are inlined into each of its variants, so that they run with the
// variant's instructions too.
#if defined(__GNUC__) || defined(__clang__)
#define VELIN_ALWAYS_INLINE inline __attribute__((always_inline))
#elif defined(_MSC_VER)
#define VELIN_ALWAYS_INLINE __forceinline
#else
#define VELIN_ALWAYS_INLINE inline
#endif

namespace Orvan {
namespace Ipp {
namespace detail {

inline bool badSize(IppiSize size) { return size.width < 1 || size.height < 1; }

/// Status of a one-image primitive before it touches anything.
inline IppStatus checkImage(const void* p, int step, IppiSize size) {
    if (p == nullptr) return ippStsNullPtrErr;
    if (badSize(size)) return ippStsSizeErr;
    if (step < 1) return ippStsStepErr;
    return ippStsNoErr;
}

/// Status of a source/destination primitive before it touches anything.
inline IppStatus checkImages(const void* src, int srcStep, const void* dst, int dstStep, IppiSize size) {
    if (src == nullptr || dst == nullptr) return ippStsNullPtrErr;
    if (badSize(size)) return ippStsSizeErr;
    if (srcStep < 1 || dstStep < 1) return ippStsStepErr;
    return ippStsNoErr;
}

/// Row y of an image whose rows are `step` bytes apart. The offset is formed in 64 bits so that large
/// images never overflow.
template <typename T>
inline T* rowAt(T* base, int step, int y) {
    using Byte = typename std::conditional<std::is_const<T>::value, const std::uint8_t, std::uint8_t>::type;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) +
                                static_cast<std::ptrdiff_t>(y) * static_cast<std::ptrdiff_t>(step));
}

}  // namespace detail
}  // namespace Ipp
}  // namespace Orvan
