#pragma once

// Vessel shadows. A vessel in the nerve-fibre layer absorbs light, so every layer below it is darker than in
// the A-scans beside it, and the layer's lower boundary cannot be seen there. Comparing a slab of tissue below
// the layer with the same slab a little to either side finds these A-scans, whatever the overall brightness.

#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

/// Per A-scan a weight from 0 (in shadow) to 1 (lit): the mean of the B-scan's samples over
/// [slabStart[a], slabEnd[a]) is divided by the median of these means over the A-scans within `window` on
/// either side (columns whose slab is empty are left out and get weight 0); the ratio maps linearly from
/// kShadowedRatio (weight 0) to kLitRatio (weight 1).
std::vector<float> shadowWeights(const std::uint8_t* bscan, int numAScans, int depth, const std::vector<int>& slabStart,
                                 const std::vector<int>& slabEnd, int window);

/// Slab brightness ratios at and above which an A-scan counts as lit, and at and below which as shadowed.
constexpr float kLitRatio = 0.95f;
constexpr float kShadowedRatio = 0.8f;

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
