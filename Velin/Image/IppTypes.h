#pragma once

// Types, constants and status codes of the image primitives. They carry the names of the primitive library
// whose published semantics Velin follows, inside Velin's own namespace, so that a host which also links
// that library sees no clash of symbols.

#include <cstdint>

namespace Orvan {
namespace Ipp {

using Ipp8u = std::uint8_t;
using Ipp16s = std::int16_t;
using Ipp32s = std::int32_t;
using Ipp32f = float;
using Ipp64f = double;
using IppStatus = std::int32_t;

struct IppiSize {
    int width;
    int height;
};

enum IppiMaskSize { ippMskSize3x3 = 33, ippMskSize5x5 = 55 };
enum IppRoundMode { ippRndZero = 0, ippRndNear = 1 };
enum IppHintAlgorithm { ippAlgHintNone = 0, ippAlgHintFast = 1, ippAlgHintAccurate = 2 };

// Normalisation flags of the 2-D real FFT.
enum {
    IPP_FFT_DIV_FWD_BY_N = 1,
    IPP_FFT_DIV_INV_BY_N = 2,
    IPP_FFT_DIV_BY_SQRTN = 4,
    IPP_FFT_NODIV_BY_ANY = 8
};

// Status codes: 0 success, negative errors, positive warnings.
enum : IppStatus {
    ippStsNoErr = 0,
    ippStsEvenMedianMaskSize = 5,
    ippStsSizeErr = -6,
    ippStsNullPtrErr = -8,
    ippStsMemAllocErr = -9,
    ippStsStepErr = -14,
    ippStsFftOrderErr = -15,
    ippStsFftFlagErr = -16,
    ippStsContextMatchErr = -17,
    ippStsThresholdErr = -18,
    ippStsMaskSizeErr = -33,
    ippStsHistoNofLevelsErr = -107
};

/// Opaque real 2-D FFT plan object; it owns its twiddle tables and work buffers.
struct IppiFFTSpec_R_32f;

}  // namespace Ipp
}  // namespace Orvan
