#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/IppPrimitives.h>

#include <cstdint>

namespace Orvan {
namespace Velin {
namespace {

using namespace Orvan::Ipp;

// Smoothed grey values from here up count as bright tissue.
constexpr int kBrightLevel = 80;
// Below 1/20 of the B-scan bright, the B-scan is marked as sparse; below 1/10 the two thresholds are blended.
constexpr int kSparseRatio = 20;
constexpr int kBlendRatio = 10;
// Offset below the Otsu threshold for the second attempt of the blended path.
constexpr int kRetryOffset = 10;

// The blend ((total - 10 bright) tA + 10 bright tB) / total in wrapping 32-bit arithmetic.
std::int32_t blendThresholds(std::int32_t total, std::int32_t bright, std::int32_t tA, std::int32_t tB) {
    const std::uint32_t numerator =
        static_cast<std::uint32_t>(total - kBlendRatio * bright) * static_cast<std::uint32_t>(tA) +
        static_cast<std::uint32_t>(tB) * static_cast<std::uint32_t>(bright) * static_cast<std::uint32_t>(kBlendRatio);
    return static_cast<std::int32_t>(numerator) / total;
}

}  // namespace

bool VelinDetectorIpp::runFilterStage() {
    Ipp32s counts[256] = {};
    Ipp32s levels[257] = {};
    ippiHistogramEven_8u_C1R(smoothImage.getData(), smoothImage.getStep(), smoothImage.getSize(), counts, levels, 257,
                             0, 256);
    std::int32_t bright = 0;
    for (int value = kBrightLevel; value < 256; ++value) bright += counts[value];
    const std::int32_t total = smoothImage.getWidth() * smoothImage.getHeight();

    if (bright < smoothImage.getHeight()) return false;

    dataFirstDepth = 0;
    dataLastDepth = rawImage.getWidth() - 1;
    findDataDepthRange(rawImage, dataFirstDepth, dataLastDepth);

    if (kSparseRatio * bright < total) filterStageMark = 1;

    if (static_cast<std::uint8_t>(filterStageMark) != 0 && static_cast<std::uint8_t>(fewScansMode) != 0) {
        selectThresholdA(intensityImage, maskImage, dataFirstDepth, dataLastDepth, true);
        return cleanMask(maskImage);
    }
    if (kBlendRatio * bright >= total) {
        selectThresholdB(intensityImage, maskImage, dataFirstDepth, dataLastDepth, true);
        return cleanMask(maskImage);
    }

    // Little bright tissue: a blend of both thresholds, leaning towards Otsu's the more tissue there is, never
    // below the minimum-error threshold; checked as a plausible layer before it is accepted.
    const int tA = selectThresholdA(intensityImage, maskImage, dataFirstDepth, dataLastDepth, false);
    const int tB = selectThresholdB(intensityImage, maskImage, dataFirstDepth, dataLastDepth, false);
    std::int32_t t = blendThresholds(total, bright, tA, tB);
    if (t < tA) t = tA;

    // Each layer check gets a scratch list of its own: it appends to the list and counts what it appended.
    applyThreshold(intensityImage, maskImage, t);
    if (cleanMask(maskImage)) {
        Trace scratch;
        if (checkMaskLayer(scratch, true)) return true;
    }

    applyThreshold(intensityImage, maskImage, tB - kRetryOffset);
    const bool cleaned = cleanMask(maskImage);
    Trace scratch;
    if (checkMaskLayer(scratch, true)) return cleaned;

    applyThreshold(intensityImage, maskImage, tA);
    return cleanMask(maskImage);
}

}  // namespace Velin
}  // namespace Orvan
