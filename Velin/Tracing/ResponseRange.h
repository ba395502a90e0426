#pragma once

namespace Orvan {
namespace Velin {

/// Least and greatest value of `count` floats, NaN left out, folded into `least` and `greatest` (which the
/// caller starts, e.g. at the largest finite magnitudes). A value equal to the current extreme replaces it,
/// so the results are those of one comparison per value in order, up to the sign of a zero extreme.
void foldRange(const float* values, int count, float& least, float& greatest);

}  // namespace Velin
}  // namespace Orvan
