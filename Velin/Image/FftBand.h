#pragma once

// The real 2-D FFT of ippiFFTFwd_RToPack_32f_C1R and ippiFFTInv_PackToR_32f_C1R for spectra that a low-pass
// filter keeps only in their first columns (low frequencies along the rows): the columns beyond are neither
// transformed nor read, which is most of the column transforms' work for the engine's filters.
//
// Complex column j of a packed spectrum is packed columns 2j-1 and 2j; column 0 (with the row-wise Nyquist
// term in the last packed column) is always live. `liveColumns` is rounded up to the transform's block of
// columns, so the live columns are computed by exactly the operations of the full transforms.

#include <Velin/Image/IppTypes.h>

namespace Orvan {
namespace Ipp {

/// The full forward transform's packed spectrum in complex columns 0..liveColumns-1 (and the last packed
/// column), bit for bit; +0 in the columns beyond.
IppStatus fftForwardLowBand(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                            const IppiFFTSpec_R_32f* pFFTSpec, int liveColumns);

/// The inverse transform of a spectrum taken as +0 in the complex columns from liveColumns on: those are not
/// read. Equal to the full inverse of a spectrum that is zero there, except perhaps for the sign of outputs
/// that are exactly zero (a skipped -0 counts as +0). pSrc and pDst may be the same image.
IppStatus fftInverseLowBand(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                            const IppiFFTSpec_R_32f* pFFTSpec, int liveColumns);

}  // namespace Ipp
}  // namespace Orvan
