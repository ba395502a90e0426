#include <Velin/VelinDetectorIpp.h>

#include <Velin/Consistency/BorderedGrid.h>

#include <MathPackage/VectorN.h>

#include <cstdint>

namespace Orvan {
namespace Velin {

namespace {

// The frame must be at least the gap-search radius (3) wide so that the search never leaves the grid.
const std::int32_t kSurfaceBorder = 5;
const double kDiffusionRate = 0.2;
// A point is implausible when both its measured boundaries lie further than this below the smoothed surfaces.
const std::int32_t kMaxDepthBelowSurface = 20;
const std::int32_t kDropped = -1;

void readSurface(const MatrixList& list, BorderedGrid& surface) {
    for (const Matrix& m : list) {
        for (std::uint32_t r = 0; r < m.getRowCount(); ++r) {
            const std::int32_t x = static_cast<std::int32_t>(m(r, 0));
            const std::int32_t z = static_cast<std::int32_t>(m(r, 2));
            surface.at(z + kSurfaceBorder, x + kSurfaceBorder) = static_cast<float>(m(r, 1));
        }
    }
}

}  // namespace

void VelinDetectorIpp::refineSurfaces() {
    const std::int32_t rows = numBScans + 2 * kSurfaceBorder;
    const std::int32_t columns = numAScans + 2 * kSurfaceBorder;
    BorderedGrid raw1(rows, columns, kSurfaceBorder);
    BorderedGrid filled1(rows, columns, kSurfaceBorder);
    BorderedGrid raw2(rows, columns, kSurfaceBorder);
    BorderedGrid filled2(rows, columns, kSurfaceBorder);

    readSurface(boundaryList1, raw1);
    readSurface(boundaryList2, raw2);
    filled1 = raw1;
    filled2 = raw2;
    fillSurfaceGaps(raw1, filled1);
    fillSurfaceGaps(raw2, filled2);
    filled1.replicateBorder();
    filled2.replicateBorder();

    // Ten steps per smoothing level; the raw grids now receive the smoothed surfaces.
    const int iterations = (optionFlag * 5 + 5) * 2;
    diffuseSurface(filled1, raw1, iterations, kDiffusionRate);
    diffuseSurface(filled2, raw2, iterations, kDiffusionRate);

    for (std::size_t u = 0; u < boundaryList1.size(); ++u) {
        Matrix& upper = boundaryList1[u];
        Matrix& lower = boundaryList2[u];
        Matrix& upperValues = valueList1[u];
        Matrix& lowerValues = valueList2[u];
        // The lists as the B-scans store them are read and written in place; anything else goes through row
        // copies, whose checks report a malformed list. Both give the same rows; the copies cost an allocation
        // each, which added up to most of this pass.
        const std::uint32_t count = upper.getRowCount();
        const bool inPlace = upper.getColumnCount() == 3 && lower.getColumnCount() == 3 &&
                             upperValues.getColumnCount() == 4 && lowerValues.getColumnCount() == 4 &&
                             lower.getRowCount() >= count && upperValues.getRowCount() >= count &&
                             lowerValues.getRowCount() >= count;
        for (std::uint32_t k = 0; k < count; ++k) {
            double row1[3], row2[3], w3, w4;
            if (inPlace) {
                for (std::uint32_t c = 0; c < 3; ++c) row1[c] = upper(k, c), row2[c] = lower(k, c);
                w3 = upperValues(k, 3);
                w4 = lowerValues(k, 3);
            } else {
                const MathPackage::VectorN r1 = upper.getRow(k);
                const MathPackage::VectorN r2 = lower.getRow(k);
                for (std::uint32_t c = 0; c < 3; ++c) row1[c] = r1[c], row2[c] = r2[c];
                w3 = upperValues.getRow(k)[3];
                w4 = lowerValues.getRow(k)[3];
            }
            const std::int32_t x1 = static_cast<std::int32_t>(row1[0]);
            const std::int32_t d1 = static_cast<std::int32_t>(row1[1]);
            const std::int32_t z1 = static_cast<std::int32_t>(row1[2]);
            std::int32_t a = static_cast<std::int32_t>(raw1.at(z1 + kSurfaceBorder, x1 + kSurfaceBorder));

            const std::int32_t x2 = static_cast<std::int32_t>(row2[0]);
            const std::int32_t d2 = static_cast<std::int32_t>(row2[1]);
            const std::int32_t z2 = static_cast<std::int32_t>(row2[2]);
            std::int32_t b = static_cast<std::int32_t>(raw2.at(z2 + kSurfaceBorder, x2 + kSurfaceBorder));

            // The lower boundary never lies above the upper one.
            if (a > b) b = a;

            const bool farBelowBoth = d1 - a > kMaxDepthBelowSurface && d2 - b > kMaxDepthBelowSurface;
            if (farBelowBoth || a == kDropped || b == kDropped) {
                a = kDropped;
                b = kDropped;
                w3 = 0.0;
                w4 = 0.0;
            }

            if (inPlace) {
                const double rows1[4] = {double(x1), double(a), double(z1), w3};
                const double rows2[4] = {double(x2), double(b), double(z2), w4};
                for (std::uint32_t c = 0; c < 4; ++c) {
                    if (c < 3) upper(k, c) = rows1[c], lower(k, c) = rows2[c];
                    upperValues(k, c) = rows1[c];
                    lowerValues(k, c) = rows2[c];
                }
            } else {
                upper.setRow(k, MathPackage::VectorN(x1, a, z1));
                lower.setRow(k, MathPackage::VectorN(x2, b, z2));
                upperValues.setRow(k, MathPackage::VectorN(x1, a, z1, w3));
                lowerValues.setRow(k, MathPackage::VectorN(x2, b, z2, w4));
            }
        }
    }
}

}  // namespace Velin
}  // namespace Orvan
