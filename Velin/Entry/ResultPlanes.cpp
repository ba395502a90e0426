#include <Velin/Entry/ResultPlanes.h>

#include <Velin/Entry/FillShortGaps.h>

#include <MathPackage/VectorN.h>

#include <algorithm>
#include <vector>

namespace Orvan {
namespace Velin {
namespace {

using Orvan::MathPackage::VectorN;

std::int16_t low16(std::int32_t value) { return static_cast<std::int16_t>(static_cast<std::uint16_t>(value)); }

std::int16_t scaledValue(double value) { return low16(truncateToInt32(value * 100.0)); }

// Planes 1 and 2 as columns (one A-scan across all B-scans, contiguous), which is the direction the gap
// bridging walks after every list entry. They are copied into the planes once at the end.
struct BoundaryColumns {
    BoundaryColumns(int numBScans, int numAScans)
        : numBScans(numBScans),
          upper(static_cast<std::size_t>(numBScans) * static_cast<std::size_t>(numAScans), -1),
          lower(upper) {}

    std::int16_t& at(std::vector<std::int16_t>& plane, std::int32_t bScan, std::int32_t aScan) {
        return plane[static_cast<std::size_t>(aScan) * static_cast<std::size_t>(numBScans) + bScan];
    }

    int numBScans;
    std::vector<std::int16_t> upper;
    std::vector<std::int16_t> lower;
};

struct PointRows {
    double aScan1, depth1, bScan1, aScan2, depth2, bScan2, value1, value2;
};

// Whether row i (a row of `upper`) can be read in place from all four matrices: each has the row and the
// columns read.
bool readableInPlace(const Matrix& upper, const Matrix& lower, const Matrix& values1, const Matrix& values2,
                     std::uint32_t i) {
    return i < lower.getRowCount() && i < values1.getRowCount() && i < values2.getRowCount() &&
           upper.getColumnCount() >= 3 && lower.getColumnCount() >= 3 && values1.getColumnCount() >= 4 &&
           values2.getColumnCount() >= 4;
}

// Row i of each of the four k-th matrices. Elements are read in place when readableInPlace; otherwise through
// row copies, whose checks then report the malformed list as before.
PointRows readRows(const Matrix& upper, const Matrix& lower, const Matrix& values1, const Matrix& values2,
                   std::uint32_t i) {
    if (readableInPlace(upper, lower, values1, values2, i)) {
        return PointRows{upper(i, 0), upper(i, 1), upper(i, 2),   lower(i, 0),
                         lower(i, 1), lower(i, 2), values1(i, 3), values2(i, 3)};
    }
    const VectorN r1 = upper.getRow(i);
    const VectorN r2 = lower.getRow(i);
    const VectorN s1 = values1.getRow(i);
    const VectorN s2 = values2.getRow(i);
    return PointRows{r1[0], r1[1], r1[2], r2[0], r2[1], r2[2], s1[3], s2[3]};
}

// Writes one list entry's points. Both value planes are addressed with the position of the upper-boundary
// row, not with their own rows: the value lists are stored point for point alongside it.
void writeEntry(std::size_t k, const MatrixList& boundaries1, const MatrixList& boundaries2, const MatrixList& values1,
                const MatrixList& values2, BoundaryColumns& columns, ShortPlane& plane3, ShortPlane& plane4) {
    const Matrix& upper = boundaries1[k];
    for (std::uint32_t i = 0; i < upper.getRowCount(); ++i) {
        const PointRows p = readRows(upper, boundaries2[k], values1[k], values2[k], i);
        const std::int32_t aScan1 = truncateToInt32(p.aScan1);
        const std::int32_t depth1 = truncateToInt32(p.depth1);
        const std::int32_t bScan1 = truncateToInt32(p.bScan1);
        const std::int32_t aScan2 = truncateToInt32(p.aScan2);
        const std::int32_t depth2 = truncateToInt32(p.depth2);
        const std::int32_t bScan2 = truncateToInt32(p.bScan2);
        columns.at(columns.upper, bScan1, aScan1) = low16(depth1);
        columns.at(columns.lower, bScan2, aScan2) = low16(depth2);
        plane4[bScan1][aScan1] = scaledValue(p.value2);
        plane3[bScan1][aScan1] = scaledValue(p.value1);
    }
}

// Whether every entry k holds points of B-scan k only, readable in place: then each entry writes only its own
// row of the planes, and the rows after it are still -1 when it is bridged.
bool entriesKeepToTheirRows(const MatrixList& boundaries1, const MatrixList& boundaries2, const MatrixList& values1,
                            const MatrixList& values2) {
    for (std::size_t k = 0; k < boundaries1.size(); ++k) {
        const Matrix& upper = boundaries1[k];
        for (std::uint32_t i = 0; i < upper.getRowCount(); ++i) {
            // The other lists are looked at only for an entry with rows, as writeEntry does.
            const Matrix& lower = boundaries2[k];
            if (!readableInPlace(upper, lower, values1[k], values2[k], i)) return false;
            const std::int32_t own = static_cast<std::int32_t>(k);
            if (truncateToInt32(upper(i, 2)) != own || truncateToInt32(lower(i, 2)) != own) return false;
        }
    }
    return true;
}

// Bridges short runs of -1 along every A-scan column (across B-scans) of the two boundary planes.
void bridgeAcrossBScans(BoundaryColumns& columns, int numAScans, std::int32_t maxGap) {
    const std::size_t n = static_cast<std::size_t>(columns.numBScans);
    for (std::size_t c = 0; c < static_cast<std::size_t>(numAScans); ++c) {
        fillShortGaps(columns.upper.data() + c * n, columns.numBScans, maxGap);
        fillShortGaps(columns.lower.data() + c * n, columns.numBScans, maxGap);
    }
}

}  // namespace

void fillResultPlanes(const MatrixList& boundaryList1, const MatrixList& boundaryList2, const MatrixList& valueList1,
                      const MatrixList& valueList2, std::int32_t maxGap, ShortPlane& plane1, ShortPlane& plane2,
                      ShortPlane& plane3, ShortPlane& plane4) {
    plane1.fill(-1);
    plane2.fill(-1);
    plane3.fill(0);
    plane4.fill(0);
    // A plane without storage has no columns to bridge.
    const int numBScans = std::max(plane1.getRowCount(), 0);
    const int numAScans = std::max(plane1.getColumnCount(), 0);
    BoundaryColumns columns(numBScans, numAScans);
    // The gaps are bridged after every entry. When each entry writes only its own B-scan's row, bridging once
    // at the end gives the same planes: after entry k the rows past k are still -1, so a gap closes only at a
    // row already written and is bridged the same whenever it is bridged, and a bridged run never starts
    // another. That is the usual case, and bridging after every entry costs a pass over both planes per
    // B-scan.
    const bool onceAtTheEnd = entriesKeepToTheirRows(boundaryList1, boundaryList2, valueList1, valueList2);
    for (std::size_t k = 0; k < boundaryList1.size(); ++k) {
        writeEntry(k, boundaryList1, boundaryList2, valueList1, valueList2, columns, plane3, plane4);
        if (!onceAtTheEnd) bridgeAcrossBScans(columns, numAScans, maxGap);
    }
    if (onceAtTheEnd) bridgeAcrossBScans(columns, numAScans, maxGap);
    for (int b = 0; b < numBScans; ++b) {
        for (int a = 0; a < numAScans; ++a) {
            plane1[b][a] = columns.at(columns.upper, b, a);
            plane2[b][a] = columns.at(columns.lower, b, a);
        }
    }
}

}  // namespace Velin
}  // namespace Orvan
