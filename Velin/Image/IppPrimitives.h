#pragma once

// The image primitives the detector calls: argument order, status codes and semantics of the primitive
// library of the same names (version 7.0). Every primitive checks its pointers (-8) and region size (-6)
// before it touches anything. Steps are in bytes.

#include <Velin/Image/IppTypes.h>

namespace Orvan {
namespace Ipp {

/// One-time initialisation (code-path selection). Velin's primitives need none; kept for the call order.
IppStatus ippStaticInit();

Ipp8u* ippiMalloc_8u_C1(int widthPixels, int heightPixels, int* pStepBytes);
Ipp16s* ippiMalloc_16s_C1(int widthPixels, int heightPixels, int* pStepBytes);
Ipp32f* ippiMalloc_32f_C1(int widthPixels, int heightPixels, int* pStepBytes);
void ippiFree(void* ptr);

IppStatus ippiSet_8u_C1R(Ipp8u value, Ipp8u* pDst, int dstStep, IppiSize roiSize);
IppStatus ippiSet_16s_C1R(Ipp16s value, Ipp16s* pDst, int dstStep, IppiSize roiSize);
IppStatus ippiSet_32f_C1R(Ipp32f value, Ipp32f* pDst, int dstStep, IppiSize roiSize);

IppStatus ippiCopy_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize);
IppStatus ippiCopy_16s_C1R(const Ipp16s* pSrc, int srcStep, Ipp16s* pDst, int dstStep, IppiSize roiSize);
IppStatus ippiCopy_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize roiSize);

IppStatus ippiConvert_8u32f_C1R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, IppiSize roiSize);
IppStatus ippiConvert_32f8u_C1R(const Ipp32f* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize roiSize,
                                IppRoundMode roundMode);

IppStatus ippiAddC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int srcDstStep, IppiSize roiSize);
IppStatus ippiMulC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int srcDstStep, IppiSize roiSize);

IppStatus ippiMinMax_32f_C1R(const Ipp32f* pSrc, int srcStep, IppiSize roiSize, Ipp32f* pMin, Ipp32f* pMax);
IppStatus ippiSum_8u_C1R(const Ipp8u* pSrc, int srcStep, IppiSize roiSize, Ipp64f* pSum);
IppStatus ippiHistogramEven_8u_C1R(const Ipp8u* pSrc, int srcStep, IppiSize roiSize, Ipp32s* pHist,
                                   Ipp32s* pLevels, int nLevels, Ipp32s lowerLevel, Ipp32s upperLevel);
IppStatus ippiThreshold_LTValGTVal_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep,
                                          IppiSize roiSize, Ipp8u thresholdLT, Ipp8u valueLT,
                                          Ipp8u thresholdGT, Ipp8u valueGT);

/// pSrc addresses the first pixel of the destination-sized region inside the source; the filter reads one
/// pixel beyond every edge of it (two for 5x5).
IppStatus ippiFilterGauss_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, IppiSize dstRoiSize,
                                 IppiMaskSize mask);
IppStatus ippiFilterSobelVertMask_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                          IppiSize dstRoiSize, IppiMaskSize mask);

IppStatus ippiFFTInitAlloc_R_32f(IppiFFTSpec_R_32f** pFFTSpec, int orderX, int orderY, int flag,
                                 IppHintAlgorithm hint);
IppStatus ippiFFTFree_R_32f(IppiFFTSpec_R_32f* pFFTSpec);
IppStatus ippiFFTFwd_RToPack_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                     const IppiFFTSpec_R_32f* pFFTSpec, Ipp8u* pBuffer);
IppStatus ippiFFTInv_PackToR_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep,
                                     const IppiFFTSpec_R_32f* pFFTSpec, Ipp8u* pBuffer);
IppStatus ippiMulPack_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep,
                               IppiSize roiSize);

/// Centred one-dimensional median; values beyond the ends repeat the end values; an even mask size is
/// reduced by one and reported with the warning ippStsEvenMedianMaskSize.
IppStatus ippsFilterMedian_16s(const Ipp16s* pSrc, Ipp16s* pDst, int len, int maskSize);

}  // namespace Ipp
}  // namespace Orvan
