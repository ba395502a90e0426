#include <Velin/Entry/SegmentationRun.h>

#include <Velin/Entry/FillShortGaps.h>
#include <Velin/Entry/ShortPlane.h>

#include <MathPackage/VectorN.h>

#include <memory>
#include <vector>

namespace Orvan {
namespace Velin {
namespace {

using Orvan::MathPackage::VectorN;

// Fewer B-scans than this are not segmented at all.
constexpr int kMinBScans = 10;

std::int16_t low16(std::int32_t value) { return static_cast<std::int16_t>(static_cast<std::uint16_t>(value)); }

std::int16_t scaledValue(double value) { return low16(truncateToInt32(value * 100.0)); }

// Writes one list entry's points into the planes. Both value planes are addressed with the position of the
// upper-boundary row, not with their own rows: the value lists are stored point for point alongside it.
void writeEntry(std::size_t k, MatrixList& boundaries1, MatrixList& boundaries2, MatrixList& values1,
                MatrixList& values2, ShortPlane& plane1, ShortPlane& plane2, ShortPlane& plane3, ShortPlane& plane4) {
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
void bridgeAcrossBScans(ShortPlane& plane1, ShortPlane& plane2, int numBScans, int numAScans, int maxGap) {
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

RunOutcome runSegmentation(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1,
                           short* plane2, short* plane3, short* plane4, float gapScale, float widthSelector,
                           float auxParameter, int optionFlag, ProgressCallback progress, void* progressUser,
                           int* bscansSegmented) {
    if (numBScans < kMinBScans) return RunOutcome::TooFewBScans;

    // On the heap: the detector is large and an exception must still release it.
    auto detector = std::make_unique<VelinDetectorIpp>();
    detector->setParameters(volume, numAScans, depth, numBScans, gapScale, widthSelector, auxParameter,
                            optionFlag);
    detector->setProgressCallback(progress, progressUser);
    const bool found = detector->detectVolume();
    if (bscansSegmented != nullptr) *bscansSegmented = detector->successCount;
    if (!found) return RunOutcome::NothingFound;

    const std::int32_t maxGap = gapLimit(gapScale);

    ShortPlane upper(numBScans, numAScans);
    ShortPlane lower(numBScans, numAScans);
    ShortPlane upperValue(numBScans, numAScans);
    ShortPlane lowerWeight(numBScans, numAScans);
    upper.fill(-1);
    lower.fill(-1);
    upperValue.fill(0);
    lowerWeight.fill(0);

    MatrixList& boundaries1 = detector->getBoundaryList1();
    MatrixList& boundaries2 = detector->getBoundaryList2();
    MatrixList& values1 = detector->getValueList1();
    MatrixList& values2 = detector->getValueList2();
    for (std::size_t k = 0; k < boundaries1.size(); ++k) {
        writeEntry(k, boundaries1, boundaries2, values1, values2, upper, lower, upperValue, lowerWeight);
        // Bridging after every entry rather than once at the end gives the same planes, because each entry
        // writes only its own B-scan's row and a gap reaching past the rows written so far is left open.
        bridgeAcrossBScans(upper, lower, numBScans, numAScans, maxGap);
    }

    std::size_t next = 0;
    for (int b = 0; b < numBScans; ++b) {
        for (int a = 0; a < numAScans; ++a, ++next) {
            plane1[next] = upper[b][a];
            plane2[next] = lower[b][a];
            plane3[next] = upperValue[b][a];
            plane4[next] = lowerWeight[b][a];
        }
    }
    return RunOutcome::Segmented;
}

}  // namespace Velin
}  // namespace Orvan
