#pragma once

// Smoothing of one B-scan across its A-scans, over the depths each A-scan's band needs. Speckle varies from
// A-scan to A-scan while the layers continue, so averaging neighbours at equal depth keeps the edges and
// loses the grain. A symmetric kernel leaves a straight sloping edge where it is.

#include <Velin/Refine/BandImage.h>

#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

/// Normalised Gaussian weights for offsets -r..r, r = ceil(3 sigma) (at least 0: sigma <= 0 gives {1}).
std::vector<float> gaussianWeights(double sigma);

/// For every column a of `out` (its layout fixed by the caller, rows within 0..depth-1) the weighted mean of
/// the B-scan's samples at the same depth in A-scans a - r .. a + r, with `weights` centred on a. Within r of
/// either end of the B-scan the kernel is cut to the A-scans that exist on both sides, so that it stays
/// symmetric. The B-scan holds numAScans A-scans of `depth` samples; `out` has numAScans columns.
void smoothAcrossAScans(const std::uint8_t* bscan, int numAScans, int depth, const std::vector<float>& weights,
                        BandImage& out);

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
