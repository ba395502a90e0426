#include <Velin/VelinDetectorIpp.h>

namespace Orvan {
namespace Velin {

// Tissue is strictly brighter than the threshold.
void VelinDetectorIpp::applyThreshold(const ippImage8u& source, ippImage8u& mask, int threshold) {
    for (int y = 0; y < mask.getHeight(); ++y) {
        const Ipp::Ipp8u* in = source.getRow(y);
        Ipp::Ipp8u* out = mask.getRow(y);
        for (int x = 0; x < mask.getWidth(); ++x) out[x] = in[x] <= threshold ? 0 : 1;
    }
}

}  // namespace Velin
}  // namespace Orvan
