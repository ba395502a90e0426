#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/IppPrimitives.h>

#include <cmath>
#include <cstdint>

namespace Orvan {
namespace Velin {
namespace {

using namespace Orvan::Ipp;

// 32 ln 2: with it the Gaussian of the frequency mask falls to one half at a radius of width * S / 4.
constexpr double kHalfPowerDivisor = -22.18070978;
// Transfer values this close to 0 or 1 are snapped to it.
constexpr double kSnapMargin = 0.004;

// The smallest order k >= 1 with 2^k >= size.
std::int32_t fftOrderFor(std::int32_t size) {
    std::int32_t order = 1;
    if (size > 2) {
        while ((std::int64_t{1} << order) < size) ++order;
    }
    return order;
}

// Writes a real transfer value (imaginary part 0) for column frequency u and row frequency v into a Pack
// layout image of height H (see docs/frequency-mask.md). Column frequency 0 is packed vertically and holds
// only the row frequencies 0..H/2; a higher row frequency shares its real part with the conjugate H - v.
void writeTransfer(ippImage32f& image, int u, int v, float value) {
    const int height = image.getHeight();
    if (u > 0) {
        Ipp32f* row = image.getRow(v);
        row[2 * u - 1] = value;
        row[2 * u] = 0.0f;
        return;
    }
    const int stored = v <= height / 2 ? v : height - v;
    if (stored == 0) {
        image.getRow(0)[0] = value;
    } else if (2 * stored == height) {
        image.getRow(height - 1)[0] = value;
    } else {
        image.getRow(2 * stored - 1)[0] = value;
        image.getRow(2 * stored)[0] = 0.0f;
    }
}

// Complex columns of the packed mask up to the last with a non-zero value; 0 when that is every column, as
// the band-limited transforms would then save nothing.
std::int32_t liveMaskColumns(const ippImage32f& mask) {
    const int width = mask.getWidth(), half = width / 2;
    int live = 1;
    for (int y = 0; y < mask.getHeight(); ++y) {
        const Ipp32f* row = mask.getRow(y);
        for (int j = half - 1; j >= live; --j) {
            if (row[2 * j - 1] != 0.0f || row[2 * j] != 0.0f) {
                live = j + 1;
                break;
            }
        }
    }
    return live >= half ? 0 : live;
}

IppStatus clearImage(ippImage8u& image) { return ippiSet_8u_C1R(0, image.getData(), image.getStep(), image.getSize()); }

IppStatus clearImage(ippImage32f& image) {
    return ippiSet_32f_C1R(0.0f, image.getData(), image.getStep(), image.getSize());
}

// Allocates and clears an image that has no storage yet; an allocated one is kept as it is.
template <class Image>
bool prepareImage(Image& image, int width, int height, std::int32_t& status) {
    if (image.getWidth() != -1) return true;
    image.allocate(width, height);
    status = clearImage(image);
    return status == ippStsNoErr;
}

}  // namespace

bool VelinDetectorIpp::setupVolume() {
    if (!prepareImage(rawImage, depth, numAScans, lastStatus)) return false;
    if (!prepareImage(smoothImage, depth, numAScans, lastStatus)) return false;
    if (fftSpec == nullptr) {
        fftOrderDepth = fftOrderFor(depth);
        fftOrderAScans = fftOrderFor(numAScans);
        fftSizeDepth = static_cast<std::int32_t>(std::int64_t{1} << fftOrderDepth);
        fftSizeAScans = static_cast<std::int32_t>(std::int64_t{1} << fftOrderAScans);
        lastStatus =
            ippiFFTInitAlloc_R_32f(&fftSpec, fftOrderDepth, fftOrderAScans, IPP_FFT_DIV_BY_SQRTN, ippAlgHintAccurate);
        if (lastStatus != ippStsNoErr) return false;
    }
    if (!prepareImage(fftWorkImage, fftSizeDepth, fftSizeAScans, lastStatus) ||
        !prepareImage(spectrumImage, fftSizeDepth, fftSizeAScans, lastStatus) ||
        !prepareImage(fftFilterImage, fftSizeDepth, fftSizeAScans, lastStatus)) {
        return false;
    }

    // The B-scan-size images in declaration order. The frequency mask is built right after the second one
    // has been newly allocated, so once per detector.
    if (!prepareImage(filteredImage, depth, numAScans, lastStatus)) return false;
    const bool maskDue = intensityImage.getWidth() == -1;
    if (!prepareImage(intensityImage, depth, numAScans, lastStatus)) return false;
    if (maskDue) buildFrequencyMask(maskRingRadius, maskWidth);
    return prepareImage(responseImage, depth, numAScans, lastStatus) &&
           prepareImage(maskImage, depth, numAScans, lastStatus) &&
           prepareImage(componentImage, depth, numAScans, lastStatus) &&
           prepareImage(auxImage8u, depth, numAScans, lastStatus) &&
           prepareImage(auxImage32f, depth, numAScans, lastStatus);
}

void VelinDetectorIpp::buildFrequencyMask(float ringRadius, float width) {
    const int w = fftFilterImage.getWidth();
    const int h = fftFilterImage.getHeight();
    const float s = static_cast<float>(h);
    const float r0 = static_cast<float>(static_cast<double>(s * ringRadius) * 0.5);
    const float spread = static_cast<float>(static_cast<double>(width) * -2.0 * static_cast<double>(s) *
                                            static_cast<double>(width) * static_cast<double>(s) / kHalfPowerDivisor);
    for (int u = 0; u < w / 2; ++u) {
        for (int v = 0; v < h / 2; ++v) {
            const float fv = static_cast<float>(v);
            const float fu = static_cast<float>(u);
            const float q = fv * fv + fu * fu;
            float d;
            if (ringRadius == 0.0f) {
                d = q;
            } else {
                const float r = q == 0.0f ? 0.0f : std::sqrt(q);
                d = (r0 - r) * (r0 - r);
            }
            // The transfer value is exp of a float, kept as a float. It is evaluated in double and rounded once,
            // which gives the correctly rounded float on every C library; float exp differs in its last bit
            // between C libraries, and that bit can move a boundary point on one platform but not another.
            float m = static_cast<float>(std::exp(static_cast<double>(-d / spread)));
            if (kSnapMargin > static_cast<double>(m)) m = 0.0f;
            if (kSnapMargin > 1.0 - static_cast<double>(m)) m = 1.0f;
            writeTransfer(fftFilterImage, u, v, m);
            // The negative-frequency half is filled one row off an exact mirror (H - 1 - v, not H - v); the
            // filter's response depends on it, so it stays.
            writeTransfer(fftFilterImage, u, h - 1 - v, m);
        }
    }
    fftLiveColumns = liveMaskColumns(fftFilterImage);
}

}  // namespace Velin
}  // namespace Orvan
