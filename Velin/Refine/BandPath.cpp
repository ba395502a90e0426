#include <Velin/Refine/BandPath.h>

#include <Velin/Image/IppChecks.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>

namespace Orvan {
namespace Velin {
namespace Refine {
namespace {

constexpr float kUnreachable = std::numeric_limits<float>::infinity();
// Marks a row whose path starts in its own column.
constexpr int kPathStart = -1;

// Row of the column's cheapest total; the shallowest of equal ones.
int cheapestRow(const float* total, int first, int count) {
    int best = 0;
    for (int i = 1; i < count; ++i)
        if (total[i] < total[best]) best = i;
    return first + best;
}

}  // namespace

// Built for AVX2 too where the library can choose at load time: the sweeps are the refinement's largest part.
VELIN_SIMD_CLONES std::vector<int> cheapestPath(const BandImage& cost, int maxStep, double stepPenalty,
                                                PathWorkspace& workspace) {
    const int columns = cost.columns();
    std::vector<std::size_t> offset(static_cast<std::size_t>(columns) + 1, 0);
    for (int a = 0; a < columns; ++a) offset[a + 1] = offset[a] + static_cast<std::size_t>(cost.count(a));
    workspace.total.assign(offset.back(), kUnreachable);
    workspace.from.assign(offset.back(), kPathStart);
    std::vector<float> penalty(static_cast<std::size_t>(maxStep) + 1);
    for (int d = 0; d <= maxStep; ++d) penalty[static_cast<std::size_t>(d)] = static_cast<float>(stepPenalty * d);

    // Forward pass: the cheapest way to reach each row of each column. Each step size is one sweep over the
    // column's rows, from the shallowest predecessor to the deepest, so that on equal totals the shallower
    // predecessor stays. Totals are kept relative to the column's cheapest, which keeps single precision
    // exact enough over any number of columns.
    for (int a = 0; a < columns; ++a) {
        const int first = cost.first(a), count = cost.count(a);
        const float* own = cost.column(a);
        float* total = workspace.total.data() + offset[a];
        int* from = workspace.from.data() + offset[a];
        bool reached = false;
        if (a > 0 && cost.count(a - 1) > 0) {
            const float* before = workspace.total.data() + offset[a - 1];
            const int beforeFirst = cost.first(a - 1), beforeEnd = cost.end(a - 1);
            for (int step = -maxStep; step <= maxStep; ++step) {
                // Row first + i comes from predecessor row first + i + step.
                const int lo = std::max(0, beforeFirst - step - first);
                const int hi = std::min(count, beforeEnd - step - first);
                const float extra = penalty[static_cast<std::size_t>(std::abs(step))];
                const float* source = before + (first + step - beforeFirst);
                // Written with a bit mask rather than a branch, so that the compiler sweeps several rows at once.
                const int shift = first + step;
                for (int i = lo; i < hi; ++i) {
                    const float candidate = source[i] + extra, current = total[i];
                    const int cheaper = -static_cast<int>(candidate < current);
                    total[i] = std::min(current, candidate);
                    from[i] = (from[i] & ~cheaper) | ((shift + i) & cheaper);
                }
            }
            float least = kUnreachable;
            for (int i = 0; i < count; ++i) least = std::min(least, total[i]);
            reached = least < kUnreachable;
            for (int i = 0; i < count; ++i) total[i] += own[i] - least;
        }
        // A column out of reach of its predecessor begins a new piece.
        if (!reached)
            for (int i = 0; i < count; ++i) total[i] = own[i], from[i] = kPathStart;
    }

    // Backward pass: each piece ends at its cheapest row and is followed back to its start.
    std::vector<int> path(static_cast<std::size_t>(columns), -1);
    int next = kPathStart;
    for (int a = columns - 1; a >= 0; --a) {
        const int first = cost.first(a), count = cost.count(a);
        if (count == 0) {
            next = kPathStart;
            continue;
        }
        const int row = next != kPathStart ? next : cheapestRow(workspace.total.data() + offset[a], first, count);
        path[static_cast<std::size_t>(a)] = row;
        next = workspace.from[offset[a] + static_cast<std::size_t>(row - first)];
    }
    return path;
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
