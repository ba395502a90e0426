#pragma once

// Agreement of neighbouring B-scans. Each B-scan is refined on its own; in a volume whose B-scans lie close
// together, the nerve-fibre layer's thickness at an A-scan changes little from one B-scan to the next, so the
// neighbours can fill a gap, overrule a stray point and average out speckle.
//
// The thickness, not the depth, is compared: eye movement between B-scans shifts whole B-scans up or down,
// which moves both boundaries alike and leaves the thickness as it is. The top of the retina is therefore
// left to each B-scan.

namespace Orvan {
namespace Velin {
namespace Refine {

/// Planes of numBScans x numAScans values, element b * numAScans + a, as the B-scans were refined.
struct BoundaryPlanes {
    int numBScans = 0;
    int numAScans = 0;
    const float* upper = nullptr;
    float* lower = nullptr;
    const float* upperConfidence = nullptr;
    float* lowerConfidence = nullptr;
};

/// For each inner B-scan (not the first or last) and A-scan, with t the thickness lower - upper here and
/// t- and t+ the thicknesses at the same A-scan in the B-scans before and after:
/// - t- and t+ known and within `tolerance` samples of each other, t unknown (while the top is known) or more
///   than `tolerance` from their mean: t becomes their mean, and its confidence half the smaller of theirs;
/// - all three known and within `tolerance` of each other: t becomes (t- + 2t + t+) / 4.
/// Every decision reads the planes as they were before the step. The lower boundary is the top plus the
/// new thickness.
void agreeAcrossBScans(const BoundaryPlanes& planes, double tolerance);

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
