#pragma once

// Which sample spacings are physically plausible. A spacing read from a file or given on the command line
// feeds the thickness unit, the automatic axial factor, the grids and the size of the thickness picture, so
// a damaged header (an infinite, negative or absurd value) must be caught where it enters.

#include <Velin/Api/ArgumentCheck.h>
#include <Velin/Io/VolumeFile.h>

#include <string>

namespace velin {
namespace io {

// The limits are the library's own (kMinSpacingUm and the rest in ArgumentCheck.h), so that a spacing a
// file states, one given as an option and one passed to the checked entry meet the same rules.

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
