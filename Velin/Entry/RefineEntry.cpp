// The C entry of the boundary refinement. Like the segmentation's entry it checks its arguments, turns every
// exception into a status code, and writes the caller's arrays only once the work has succeeded.

#include <Velin/velin_c.h>

#include <Velin/Refine/RefineVolume.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

namespace {

bool spacingUsable(double um) { return std::isfinite(um) && um >= 0.0; }

int validate(const unsigned char* volume, int numBScans, int numAScans, int depth, const short* upperStart,
             const short* lowerStart, double depthSpacingUm, double aScanSpacingUm, double bScanSpacingUm,
             const float* upper, const float* lower, int threads) {
    if (volume == nullptr) return VELIN_ERR_NULL_VOLUME;
    if (upperStart == nullptr || lowerStart == nullptr || upper == nullptr || lower == nullptr)
        return VELIN_ERR_NULL_PLANE;
    if (numBScans <= 0 || numAScans <= 0 || depth <= 0) return VELIN_ERR_BAD_SIZE;
    // The same limit as velin_segment's, so that every volume one accepts the other accepts too.
    const std::int64_t positions = static_cast<std::int64_t>(numBScans) * numAScans;
    const std::int64_t limit = std::numeric_limits<std::int32_t>::max();
    if (positions > limit || positions * depth > limit) return VELIN_ERR_SIZE_OVERFLOW;
    if (!spacingUsable(depthSpacingUm) || !spacingUsable(aScanSpacingUm) || !spacingUsable(bScanSpacingUm))
        return VELIN_ERR_BAD_SPACING;
    if (threads < 0) return VELIN_ERR_BAD_OPTIONS;
    return VELIN_OK;
}

}  // namespace

extern "C" int velin_refine_boundaries(const unsigned char* volume, int numBScans, int numAScans, int depth,
                                       const short* upperStart, const short* lowerStart, double depthSpacingUm,
                                       double aScanSpacingUm, double bScanSpacingUm, float* upper, float* lower,
                                       float* upperConfidence, float* lowerConfidence, int threads) {
    const int invalid = validate(volume, numBScans, numAScans, depth, upperStart, lowerStart, depthSpacingUm,
                                 aScanSpacingUm, bScanSpacingUm, upper, lower, threads);
    if (invalid != VELIN_OK) return invalid;
    try {
        namespace R = Orvan::Velin::Refine;
        const std::size_t positions = static_cast<std::size_t>(numBScans) * static_cast<std::size_t>(numAScans);
        std::vector<float> planes(4 * positions);
        R::VolumeInput in;
        in.samples = volume;
        in.numBScans = numBScans;
        in.numAScans = numAScans;
        in.depth = depth;
        in.upperStart = reinterpret_cast<const std::int16_t*>(upperStart);
        in.lowerStart = reinterpret_cast<const std::int16_t*>(lowerStart);
        in.spacing = {depthSpacingUm, aScanSpacingUm, bScanSpacingUm};
        R::refineVolume(
            in,
            {planes.data(), planes.data() + positions, planes.data() + 2 * positions, planes.data() + 3 * positions},
            threads);
        std::copy_n(planes.data(), positions, upper);
        std::copy_n(planes.data() + positions, positions, lower);
        if (upperConfidence != nullptr) std::copy_n(planes.data() + 2 * positions, positions, upperConfidence);
        if (lowerConfidence != nullptr) std::copy_n(planes.data() + 3 * positions, positions, lowerConfidence);
        return VELIN_OK;
    } catch (const std::bad_alloc&) {
        return VELIN_ERR_OUT_OF_MEMORY;
    } catch (...) {
        return VELIN_ERR_INTERNAL;
    }
}
