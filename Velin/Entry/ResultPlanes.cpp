#include <Velin/Entry/ResultPlanes.h>

#include <Velin/Entry/FillShortGaps.h>

#include <MathPackage/VectorN.h>

#include <vector>

namespace Orvan {
namespace Velin {
namespace {

using Orvan::MathPackage::VectorN;

std::int16_t low16(std::int32_t value) { return static_cast<std::int16_t>(static_cast<std::uint16_t>(value)); }

std::int16_t scaledValue(double value) { return low16(truncateToInt32(value * 100.0)); }

// Writes one list entry's points. Both value planes are addressed with the position of the upper-boundary
// row, not with their own rows: the value lists are stored point for point alongside it.
void writeEntry(std::size_t k, const MatrixList& boundaries1, const MatrixList& boundaries2, const MatrixList& values1,
                const MatrixList& values2, ShortPlane& plane1, ShortPlane& plane2, ShortPlane& plane3,
                ShortPlane& plane4) {
    const Matrix& upper = boundaries1[k];
    for (std::uint32_t i = 0; i < upper.getRowCount(); ++i) {
        const VectorN r1 = upper.getRow(i);
        const VectorN r2 = boundaries2[k].getRow(i);
        const VectorN s1 = values1[k].getRow(i);
        const VectorN s2 = values2[k].getRow(i);
        const std::int32_t aScan1 = truncateToInt32(r1[0]);
        const std::int32_t depth1 = truncateToInt32(r1[1]);
        const std::int32_t bScan1 = truncateToInt32(r1[2]);
        const std::int32_t aScan2 = truncateToInt32(r2[0]);
        const std::int32_t depth2 = truncateToInt32(r2[1]);
        const std::int32_t bScan2 = truncateToInt32(r2[2]);
        plane1[bScan1][aScan1] = low16(depth1);
        plane2[bScan2][aScan2] = low16(depth2);
        plane4[bScan1][aScan1] = scaledValue(s2[3]);
        plane3[bScan1][aScan1] = scaledValue(s1[3]);
    }
}

// Bridges short runs of -1 along every A-scan column (across B-scans) of the two boundary planes.
void bridgeAcrossBScans(ShortPlane& plane1, ShortPlane& plane2, std::int32_t maxGap) {
    const int numBScans = plane1.getRowCount();
    const int numAScans = plane1.getColumnCount();
    std::vector<std::int16_t> column1(static_cast<std::size_t>(numBScans));
    std::vector<std::int16_t> column2(static_cast<std::size_t>(numBScans));
    for (int c = 0; c < numAScans; ++c) {
        for (int b = 0; b < numBScans; ++b) {
            column1[b] = plane1[b][c];
            column2[b] = plane2[b][c];
        }
        fillShortGaps(column1.data(), numBScans, maxGap);
        fillShortGaps(column2.data(), numBScans, maxGap);
        for (int b = 0; b < numBScans; ++b) {
            plane1[b][c] = column1[b];
            plane2[b][c] = column2[b];
        }
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
    for (std::size_t k = 0; k < boundaryList1.size(); ++k) {
        writeEntry(k, boundaryList1, boundaryList2, valueList1, valueList2, plane1, plane2, plane3, plane4);
        // Bridging after every entry rather than once at the end gives the same planes, because each entry
        // writes only its own B-scan's row and a gap reaching past the rows written so far stays open.
        bridgeAcrossBScans(plane1, plane2, maxGap);
    }
}

}  // namespace Velin
}  // namespace Orvan
