#pragma once

// Bridging of A-scans where a boundary could not be seen (vessel shadows, weak edges, gaps of the starting
// boundary) from the A-scans on either side, and the explicit "not found" where the gap is too long.

#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

/// Rewrites every run of columns whose `reliable` flag is 0:
/// - a run with reliable columns on both sides and at most maxRun columns long is interpolated linearly
///   between those two columns' values;
/// - a run at either end of at most maxRun columns takes the value of its one reliable neighbour;
/// - any other run becomes NaN (and so does every column when none is reliable).
/// When `confidence` is given (one value per column), a bridged column gets the smaller confidence of its
/// anchors scaled down by its run's length, 1 - length / (maxRun + 1), and a column left NaN gets 0;
/// reliable columns keep theirs.
void bridgeRuns(std::vector<float>& values, const std::vector<std::uint8_t>& reliable, int maxRun,
                std::vector<float>* confidence = nullptr);

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
