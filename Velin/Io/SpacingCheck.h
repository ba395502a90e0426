#pragma once

// Which sample spacings are physically plausible. A spacing read from a file or given on the command line
// feeds the thickness unit, the automatic axial factor, the grids and the size of the thickness picture, so
// a damaged header (an infinite, negative or absurd value) must be caught where it enters.

#include <Velin/Io/VolumeFile.h>

#include <string>

namespace velin {
namespace io {

/// Along depth and between A-scans: 0.1 um to 1 mm. OCT samples lie a few micrometres apart in depth and
/// a few to some tens of micrometres apart laterally; the range leaves two orders of magnitude either way.
constexpr double kMinSpacingUm = 0.1;
constexpr double kMaxSampleSpacingUm = 1000.0;
/// Between B-scans: 0.1 um to 10 mm. Sparse line scans step further than A-scans do, but no scan covers
/// more than a few centimetres of the fundus.
constexpr double kMaxBScanSpacingUm = 10000.0;

enum class SpacingAxis { Depth, AScan, BScan };

/// "depth spacing", "spacing between A-scans" or "spacing between B-scans".
const char* spacingAxisName(SpacingAxis axis);

/// Empty when `um` lies within the axis's range; otherwise what is wrong with it, e.g.
/// "inf um is outside 0.1 to 1000 um". 0 is not a plausible spacing here: callers that use 0 for "unknown"
/// test for it first.
std::string spacingProblem(SpacingAxis axis, double um);

/// What readVolume does with the spacing a file states: a value other than 0 (unknown) that spacingProblem
/// refuses is set to 0, and a note in volume.notes names the axis and the value. A damaged header thus costs
/// only the measurements in micrometres and the grids, which --spacing-um can restore.
void dropImplausibleSpacing(Volume& volume);

}  // namespace io
}  // namespace velin
