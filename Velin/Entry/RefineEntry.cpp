// The C entry of the boundary refinement. Like the segmentation's entry it checks its arguments, turns every
// exception into a status code, and writes the caller's arrays only once the work has succeeded.

#include <Velin/velin_c.h>

#include <Velin/Api/ArgumentCheck.h>
#include <Velin/Refine/RefineVolume.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace {

// The rules are those of the segmentation's entries (ArgumentCheck.h), with the depth as it is: the
// refinement works on the input's own samples.
int validate(const unsigned char* volume, int numBScans, int numAScans, int depth, const short* upperStart,
             const short* lowerStart, double depthSpacingUm, double aScanSpacingUm, double bScanSpacingUm,
             const float* upper, const float* lower, int threads) {
    velin::CallArguments call = velin::volumeArguments(
        volume != nullptr, upperStart != nullptr && lowerStart != nullptr && upper != nullptr && lower != nullptr,
        numBScans, numAScans, depth);
    call.threads = threads;
    call.depthSpacingUm = depthSpacingUm;
    call.aScanSpacingUm = aScanSpacingUm;
    call.bScanSpacingUm = bScanSpacingUm;
    return velin::checkArguments(call).status;
}

}  // namespace

extern "C" int velin_refine_boundaries(const unsigned char* volume, int numBScans, int numAScans, int depth,
                                       const short* upperStart, const short* lowerStart, double depthSpacingUm,
                                       double aScanSpacingUm, double bScanSpacingUm, float* upper, float* lower,
                                       float* upperConfidence, float* lowerConfidence, int threads) {
    try {
        // Inside the try: the check composes a message on failure, which may run out of memory.
        const int invalid = validate(volume, numBScans, numAScans, depth, upperStart, lowerStart, depthSpacingUm,
                                     aScanSpacingUm, bScanSpacingUm, upper, lower, threads);
        if (invalid != VELIN_OK) return invalid;
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
