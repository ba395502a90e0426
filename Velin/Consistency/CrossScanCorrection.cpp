#include <Velin/VelinDetectorIpp.h>

#include <Velin/Consistency/IntegerGrid.h>

#include <MathPackage/VectorN.h>

#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {

namespace {

struct RunPoint {
    std::int32_t position;  ///< padded B-scan index
    std::int32_t depth;
};

using Run = std::vector<RunPoint>;

// Recursive [1 2 1] / 4 filter: the left neighbour is the value already smoothed, which makes the result
// lean toward the earlier B-scans. Integer division truncates toward zero (-5 / 4 is -1). Only the last
// point is clamped to non-negative values; the first is passed through as it is.
void smoothRun(Run& run) {
    const std::size_t length = run.size();
    if (length <= 2) return;
    Run out(length);
    out[0] = run[0];
    for (std::size_t k = 1; k + 1 < length; ++k) {
        out[k].position = run[k].position;
        out[k].depth = (out[k - 1].depth + 2 * run[k].depth + run[k + 1].depth) / 4;
    }
    out[length - 1] = run[length - 1];
    if (out[length - 1].position < 0) out[length - 1].position = 0;
    if (out[length - 1].depth < 0) out[length - 1].depth = 0;
    run.swap(out);
}

}  // namespace

// `width` is part of the call's shape only; the filter is always the three-tap one above.
void VelinDetectorIpp::correctAcrossScans(MatrixList& points, int /*width*/) {
    // One cell of padding on every side: a run of occupied cells along the B-scan direction always ends
    // before the grid's edge, so the run walk needs no bounds test.
    IntegerGrid occupancy(numAScans + 2, numBScans + 2);
    IntegerGrid depths(numAScans + 2, numBScans + 2);

    for (const Matrix& m : points) {
        for (std::uint32_t r = 0; r < m.getRowCount(); ++r) {
            const std::int32_t x = static_cast<std::int32_t>(m(r, 0));
            const std::int32_t z = static_cast<std::int32_t>(m(r, 2));
            occupancy.at(x + 1, z + 1) = 1;
            depths.at(x + 1, z + 1) = static_cast<std::int32_t>(m(r, 1));
        }
    }

    Run run;
    for (std::int32_t i = 0; i < occupancy.getRows(); ++i) {
        std::int32_t j = 0;
        while (j < occupancy.getColumns()) {
            if (occupancy.at(i, j) != 1) {
                ++j;
                continue;
            }
            std::int32_t end = j;
            while (occupancy.at(i, end) == 1) ++end;
            run.clear();
            for (std::int32_t k = j; k < end; ++k) run.push_back(RunPoint{k, depths.at(i, k)});
            smoothRun(run);
            for (const RunPoint& p : run) depths.at(i, p.position) = p.depth;
            // Cell `end` is known to be empty.
            j = end + 1;
        }
    }

    for (Matrix& m : points) {
        for (std::uint32_t r = 0; r < m.getRowCount(); ++r) {
            const std::int32_t x = static_cast<std::int32_t>(m(r, 0));
            const std::int32_t z = static_cast<std::int32_t>(m(r, 2));
            // In place for the three-column rows the B-scans store; a row copy (and its check) otherwise.
            if (m.getColumnCount() == 3) {
                m(r, 0) = x, m(r, 1) = depths.at(x + 1, z + 1), m(r, 2) = z;
            } else {
                m.setRow(r, MathPackage::VectorN(x, depths.at(x + 1, z + 1), z));
            }
        }
    }
}

}  // namespace Velin
}  // namespace Orvan
