#pragma once

// The globally cheapest boundary through a band: one row per column, found by dynamic programming.

#include <Velin/Refine/BandImage.h>

#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

/// Scratch space of cheapestPath, kept by a caller that runs it many times.
struct PathWorkspace {
    std::vector<float> total;
    std::vector<int> from;
};

/// For the columns of `cost`, each with its allowed rows and a cost per row, the rows r(a) that minimise
///   sum over a of cost(a, r(a))  +  stepPenalty * sum over a of |r(a) - r(a-1)|
/// with |r(a) - r(a-1)| <= maxStep. A column without rows, or one that no row of its predecessor can reach
/// within maxStep, starts a new path: the pieces are optimal each on its own. Columns without rows get -1.
/// Ties go to the shallower row.
std::vector<int> cheapestPath(const BandImage& cost, int maxStep, double stepPenalty, PathWorkspace& workspace);

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
