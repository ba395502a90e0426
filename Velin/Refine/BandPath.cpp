#include <Velin/Refine/BandPath.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>

namespace Orvan {
namespace Velin {
namespace Refine {
namespace {

constexpr double kUnreachable = std::numeric_limits<double>::infinity();
// Marks a row whose path starts in its own column.
constexpr int kPathStart = -1;

// Row of the column's cheapest total; the shallowest of equal ones.
int cheapestRow(const double* total, int first, int count) {
    int best = 0;
    for (int i = 1; i < count; ++i)
        if (total[i] < total[best]) best = i;
    return first + best;
}

}  // namespace

std::vector<int> cheapestPath(const BandImage& cost, int maxStep, double stepPenalty, PathWorkspace& workspace) {
    const int columns = cost.columns();
    std::vector<std::size_t> offset(static_cast<std::size_t>(columns) + 1, 0);
    for (int a = 0; a < columns; ++a) offset[a + 1] = offset[a] + static_cast<std::size_t>(cost.count(a));
    workspace.total.assign(offset.back(), kUnreachable);
    workspace.from.assign(offset.back(), kPathStart);

    // Forward pass: the cheapest way to reach each row of each column.
    for (int a = 0; a < columns; ++a) {
        const int first = cost.first(a), count = cost.count(a);
        const float* own = cost.column(a);
        double* total = workspace.total.data() + offset[a];
        int* from = workspace.from.data() + offset[a];
        const bool linked = a > 0 && cost.count(a - 1) > 0;
        const double* before = linked ? workspace.total.data() + offset[a - 1] : nullptr;
        const int beforeFirst = linked ? cost.first(a - 1) : 0, beforeEnd = linked ? cost.end(a - 1) : 0;
        bool reached = false;
        for (int i = 0; i < count; ++i) {
            const int row = first + i;
            double best = kUnreachable;
            int bestRow = kPathStart;
            const int lo = std::max(row - maxStep, beforeFirst), hi = std::min(row + maxStep, beforeEnd - 1);
            for (int p = lo; p <= hi; ++p) {
                const double candidate = before[p - beforeFirst] + stepPenalty * std::abs(row - p);
                if (candidate < best) best = candidate, bestRow = p;
            }
            total[i] = best + own[i];
            from[i] = bestRow;
            reached = reached || bestRow != kPathStart;
        }
        // A column out of reach of its predecessor begins a new piece.
        if (!reached)
            for (int i = 0; i < count; ++i) total[i] = own[i];
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
