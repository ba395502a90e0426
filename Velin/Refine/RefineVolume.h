#pragma once

// The refinement of a whole volume: every B-scan on its own (spread over threads), then the agreement of
// neighbouring B-scans.

#include <Velin/Refine/RefineSettings.h>

#include <cstdint>

namespace Orvan {
namespace Velin {
namespace Refine {

/// A volume in the library's layout (sample (b, a, d) at (b * numAScans + a) * depth + d) with its starting
/// boundaries, numBScans x numAScans whole sample depths each (element b * numAScans + a; values outside
/// 0 .. depth - 1 mean not found).
struct VolumeInput {
    const std::uint8_t* samples = nullptr;
    int numBScans = 0;
    int numAScans = 0;
    int depth = 0;
    const std::int16_t* upperStart = nullptr;
    const std::int16_t* lowerStart = nullptr;
    ScanSpacing spacing;  ///< as known; resolveSpacing fills in the rest
};

/// numBScans x numAScans values each: depths (NaN = not found) and confidences 0..1 (0 = not found).
struct VolumeOutput {
    float* upper = nullptr;
    float* lower = nullptr;
    float* upperConfidence = nullptr;
    float* lowerConfidence = nullptr;
};

/// Refines both boundaries. `threads` B-scans are refined at once (0 = one per processor core, 1 = one at a
/// time); the result is the same for any thread count.
void refineVolume(const VolumeInput& in, const VolumeOutput& out, int threads);

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
