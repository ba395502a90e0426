#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/FftBand.h>
#include <Velin/Image/IppPrimitives.h>

#include <cstdint>
#include <cstring>
#include <utility>

namespace Orvan {
namespace Velin {
namespace {

using namespace Orvan::Ipp;

// Diffusion applied to B-scans of few-scans volumes, where there are no neighbours to average with later.
constexpr int kFewScansDiffusionIterations = 5;
constexpr double kFewScansDiffusionRate = 0.2;

// 32-bit signed product, wrapping as the offset arithmetic of the volume layout does.
std::int32_t product32(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

}  // namespace

bool VelinDetectorIpp::loadBScan(int index) {
    return copyBScan(index) && lowPassBScan(fftWorkImage) && deriveBScanImages();
}

bool VelinDetectorIpp::copyBScan(int index) {
    const std::int32_t bscanBytes = product32(numAScans, depth);
    const std::int32_t offset = product32(index, bscanBytes);
    // One block copy that ignores the row step: when depth is not a multiple of 32 each A-scan lands shifted
    // against the padded rows. The later steps see the B-scan through this layout.
    std::memcpy(rawImage.getData(), volume + offset, static_cast<std::size_t>(bscanBytes));
    lastStatus = ippiFilterGauss_8u_C1R(rawImage.getRoiOrigin(1), rawImage.getStep(), smoothImage.getRoiOrigin(1),
                                        smoothImage.getStep(), smoothImage.getRoiSize(1), ippMskSize3x3);
    return lastStatus == ippStsNoErr;
}

bool VelinDetectorIpp::lowPassBScan(ippImage32f& work) {
    auto ok = [this](IppStatus status) {
        lastStatus = status;
        return status == ippStsNoErr;
    };
    // Only the B-scan's corner of the work image is rewritten; the rest keeps the previous B-scan's inverse
    // transform (zeros after setup).
    if (!ok(ippiConvert_8u32f_C1R(rawImage.getData(), rawImage.getStep(), work.getData(), work.getStep(),
                                  rawImage.getSize()))) {
        return false;
    }
    if (fftLiveColumns > 0 && lowPassInBand(work)) {
        return ok(ippiCopy_32f_C1R(work.getData(), work.getStep(), filteredImage.getData(), filteredImage.getStep(),
                                   filteredImage.getSize()));
    }
    if (!ok(ippiFFTFwd_RToPack_32f_C1R(work.getData(), work.getStep(), spectrumImage.getData(), spectrumImage.getStep(),
                                       fftSpec, nullptr))) {
        return false;
    }
    if (!ok(ippiMulPack_32f_C1IR(fftFilterImage.getData(), fftFilterImage.getStep(), spectrumImage.getData(),
                                 spectrumImage.getStep(), spectrumImage.getSize()))) {
        return false;
    }
    if (!ok(ippiFFTInv_PackToR_32f_C1R(spectrumImage.getData(), spectrumImage.getStep(), work.getData(), work.getStep(),
                                       fftSpec, nullptr))) {
        return false;
    }
    return ok(ippiCopy_32f_C1R(work.getData(), work.getStep(), filteredImage.getData(), filteredImage.getStep(),
                               filteredImage.getSize()));
}

// The mask zeroes most of the spectrum's columns (high frequencies along depth), so the transforms skip them:
// the forward one does not compute them, the inverse one does not read them. Every value the mask keeps is
// computed by the very operations of the full transforms, and a skipped value is a zero where the full
// product is a zero (the spectrum is finite, so times 0 it is +0 or -0). Adding or multiplying a zero gives
// the same result whatever its sign unless the result is itself zero, so the inverse differs from the full
// one at most in the sign of outputs that are exactly zero. Those are rare (a flat B-scan), and the sign can
// matter later (the minimum, the Sobel response), so any exact zero sends the B-scan through the full
// transforms again, from `work`, which the inverse here leaves alone: it works in spectrumImage, which then
// changes places with `work`.
bool VelinDetectorIpp::lowPassInBand(ippImage32f& work) {
    if (work.getStep() != spectrumImage.getStep() || work.getWidth() != spectrumImage.getWidth() ||
        work.getHeight() != spectrumImage.getHeight())
        return false;
    if (fftForwardLowBand(work.getData(), work.getStep(), spectrumImage.getData(), spectrumImage.getStep(), fftSpec,
                          fftLiveColumns) != ippStsNoErr ||
        ippiMulPack_32f_C1IR(fftFilterImage.getData(), fftFilterImage.getStep(), spectrumImage.getData(),
                             spectrumImage.getStep(), spectrumImage.getSize()) != ippStsNoErr ||
        fftInverseLowBand(spectrumImage.getData(), spectrumImage.getStep(), spectrumImage.getData(),
                          spectrumImage.getStep(), fftSpec, fftLiveColumns) != ippStsNoErr)
        return false;
    for (int y = 0; y < spectrumImage.getHeight(); ++y) {
        const Ipp32f* row = spectrumImage.getRow(y);
        bool zero = false;
        for (int x = 0; x < spectrumImage.getWidth(); ++x) zero |= row[x] == 0.0f;
        if (zero) return false;
    }
    std::swap(work.data, spectrumImage.data);
    std::swap(work.rows, spectrumImage.rows);
    lastStatus = ippStsNoErr;
    return true;
}

bool VelinDetectorIpp::deriveBScanImages() {
    auto ok = [this](IppStatus status) {
        lastStatus = status;
        return status == ippStsNoErr;
    };
    if (static_cast<std::uint8_t>(fewScansMode) != 0) {
        diffuse(filteredImage, kFewScansDiffusionIterations, kFewScansDiffusionRate);
    }

    Ipp32f minimum = 0.0f;
    Ipp32f maximum = 0.0f;
    if (!ok(ippiMinMax_32f_C1R(filteredImage.getData(), filteredImage.getStep(), filteredImage.getSize(), &minimum,
                               &maximum))) {
        return false;
    }
    if (!ok(ippiAddC_32f_C1IR(-minimum, filteredImage.getData(), filteredImage.getStep(), filteredImage.getSize()))) {
        return false;
    }
    // No guard against a flat B-scan: the scale is then infinite and the images fill with NaN, which the
    // later steps turn into a failed B-scan.
    const float range = maximum - minimum;
    const float scale = static_cast<float>(255.0 / static_cast<double>(range));
    if (!ok(ippiMulC_32f_C1IR(scale, filteredImage.getData(), filteredImage.getStep(), filteredImage.getSize()))) {
        return false;
    }
    if (!ok(ippiConvert_32f8u_C1R(filteredImage.getData(), filteredImage.getStep(), intensityImage.getData(),
                                  intensityImage.getStep(), intensityImage.getSize(), ippRndZero))) {
        return false;
    }
    if (!ok(ippiFilterSobelVertMask_32f_C1R(filteredImage.getRoiOrigin(1), filteredImage.getStep(),
                                            responseImage.getRoiOrigin(1), responseImage.getStep(),
                                            responseImage.getRoiSize(1), ippMskSize3x3))) {
        return false;
    }
    // The filter counts the shallower column positively; negated, the response is positive where the image
    // brightens with depth and has its minima at the lower edges of bright layers. The negation also flips
    // the sign of the zero frame, which the Sobel filter never writes: +0 and -0 alternate from one B-scan
    // to the next.
    return ok(ippiMulC_32f_C1IR(-1.0f, responseImage.getData(), responseImage.getStep(), responseImage.getSize()));
}

}  // namespace Velin
}  // namespace Orvan
