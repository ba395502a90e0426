#include <Velin/VelinDetectorIpp.h>

namespace Orvan {
namespace Velin {
namespace {

// The widest mask is one float step above 0.65 (bit pattern 0x3F266667); the value is kept as it is.
constexpr float kMaskWidthNarrowScanWide = 0x1.4ccccep-1f;

// Picks the width of the frequency-domain mask from the A-scan count and the selector. A NaN selector fails
// every comparison and so keeps the default of its row.
float maskWidthFor(int numAScans, float selector) {
    if (numAScans >= 513) return selector > 20.0f ? 0.2f : 0.15f;
    if (numAScans >= 257) return selector < 10.0f ? 0.25f : 0.3f;
    if (numAScans >= 129) return selector < 30.0f ? 0.5f : 0.55f;
    return selector > 30.0f ? kMaskWidthNarrowScanWide : 0.6f;
}

}  // namespace

void VelinDetectorIpp::setParameters(const unsigned char* volume_, int numAScans_, int depth_, int numBScans_,
                                     float gapScale_, float widthSelector_, float auxParameter_, int optionFlag_) {
    volume = volume_;
    numAScans = numAScans_;
    depth = depth_;
    numBScans = numBScans_;
    gapScale = gapScale_;
    widthSelector = widthSelector_;
    auxParameter = auxParameter_;
    optionFlag = optionFlag_ < 0 ? 0 : optionFlag_;
    maskWidth = maskWidthFor(numAScans, widthSelector);
}

}  // namespace Velin
}  // namespace Orvan
