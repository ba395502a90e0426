#include <Velin/Consistency/BorderedGrid.h>

#include "DetectorTestHelpers.h"

using Orvan::MathPackage::Matrix;
using Orvan::MathPackage::VectorN;

namespace {

const double kGap = -1000.0;  // no point in this B-scan
using D = std::vector<double>;
const int kBorder = 5;
using DepthAt = std::function<double(int x, int z)>;

// The lists after cross-scan correction over `aScans` A-scans.
MatrixList correct(MatrixList list, int aScans) {
    VelinDetectorIpp detector;
    detector.numAScans = aScans, detector.numBScans = static_cast<int>(list.size());
    detector.correctAcrossScans(list, 2);
    return list;
}

// One point per B-scan at A-scan `x` (none where the depth is kGap), corrected: the new depths.
D corrected(double x, const D& depths) {
    MatrixList list;
    for (std::size_t z = 0; z < depths.size(); ++z)
        list.push_back(depths[z] == kGap ? Matrix(0, 3) : Matrix(1, 3, {x, depths[z], double(z)}));
    D out;
    for (const Matrix& m : correct(list, 4)) out.push_back(m.getRowCount() == 0 ? kGap : m(0, 1));
    return out;
}

// A grid of rows x columns cells inside a border, zero but where `value` says otherwise.
BorderedGrid grid(int rows, int columns, const std::function<float(int row, int column)>& value) {
    BorderedGrid g(rows + 2 * kBorder, columns + 2 * kBorder, kBorder);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) g[r + kBorder][c + kBorder] = value(r, c);
    return g;
}

// A detector whose four lists hold every (A-scan x, B-scan z) position, after the final volume pass. The value
// rows name no position (0, 0) and hold 0.5 (upper) and 0.25; a mirrored lower list runs backwards over both axes.
struct Volume : VelinDetectorIpp {
    Volume(int aScans, int bScans, int level, const DepthAt& upper, const DepthAt& lower, bool mirrored = false) {
        numAScans = aScans, numBScans = bScans, optionFlag = level;
        for (int z = 0; z < bScans; ++z) {
            Matrix b1(aScans, 3), b2(aScans, 3), v1(aScans, 4), v2(aScans, 4);
            for (int x = 0; x < aScans; ++x) {
                const int x2 = mirrored ? aScans - 1 - x : x, z2 = mirrored ? bScans - 1 - z : z;
                b1.setRow(x, VectorN(x, upper(x, z), z));
                b2.setRow(x, VectorN(x2, lower(x2, z2), z2));
                v1.setRow(x, VectorN(0, 0, 0, 0.5));
                v2.setRow(x, VectorN(0, 0, 0, 0.25));
            }
            boundaryList1.push_back(b1), boundaryList2.push_back(b2), valueList1.push_back(v1),
                valueList2.push_back(v2);
        }
        refineSurfaces();
    }
    double upper(int x, int z) { return boundaryList1[z](x, 1); }
    double lower(int x, int z) { return boundaryList2[z](x, 1); }
};

DepthAt constant(double depth) { return [depth](int, int) { return depth; }; }

}  // namespace

TEST(CrossScanCorrection, RecursiveFilterWithTruncatingDivisionOverRunsSplitByGaps) {
    EXPECT_EQ(corrected(1, {10, 20, 10, 20, 10}), (D{10, 15, 13, 15, 10}));
    // (-3 - 2 + 0) / 4 = -5 / 4 truncates to -1; the first point keeps its negative depth.
    EXPECT_EQ(corrected(0, {-3, -1, 0}), (D{-3, -1, 0}));
    // Only the last point of a run is clamped to 0.
    EXPECT_EQ(corrected(3, {5, 5, -1}), (D{5, 3, 0}));
    EXPECT_EQ(corrected(2, {10, 20, 10, kGap, 20, 10, 20}), (D{10, 15, 10, kGap, 20, 15, 20}));
    // Runs too short to filter only truncate.
    EXPECT_EQ(corrected(0, {kGap, 7.9, -1.5, kGap, 3.2, kGap}), (D{kGap, 7, -1, kGap, 3, kGap}));

    // Of two rows at one position the later wins; coordinates become whole numbers.
    const MatrixList list = correct({Matrix(2, 3, {2.7, 2.0, 30.0, 40.0, 0.0, 0.0}), Matrix()}, 3);
    EXPECT_EQ(D({list[0](0, 0), list[0](0, 1), list[0](1, 1), double(list[1].getRowCount())}), D({2.0, 40.0, 40.0, 0}));
}

TEST(SurfaceGapFilling, TakesTheFirstRawValueOfTheNeighbourhood) {
    // Points only in every second B-scan, depth 100 + 10 * B-scan + A-scan.
    const BorderedGrid raw = grid(7, 8, [](int z, int x) { return z % 2 ? 0.0f : 100.0f + 10 * z + x; });
    BorderedGrid filled = raw;
    fillSurfaceGaps(raw, filled);
    // The search starts three B-scans back at the lowest A-scan: B-scans 1 and 3 fill from B-scan 0, 5 from 2.
    auto at = [](const BorderedGrid& g, int z, int x) { return g[z + kBorder][x + kBorder]; };
    EXPECT_EQ(Floats({at(filled, 1, 5), at(filled, 3, 1), at(filled, 5, 7), at(filled, 6, 7)}),
              Floats({102, 100, 124, 167}));

    // A point closes gaps up to three cells away; filled cells do not feed further gaps.
    const BorderedGrid single = grid(3, 8, [](int z, int x) { return z + x == 0 ? 9.0f : 0.0f; });
    BorderedGrid closed = single;
    fillSurfaceGaps(single, closed);
    EXPECT_EQ(Floats({at(closed, 2, 3), at(closed, 0, 4)}), Floats({9, 0}));
}

TEST(SurfaceDiffusion, LosesNothingAtTheEdgesAndReplicatesTheBorder) {
    // One hot cell in the middle and one in a corner, from which no heat may leave the volume.
    const BorderedGrid filled =
        grid(31, 31, [](int r, int c) { return (r == 15 && c == 15) || r + c == 0 ? 1000.0f : 0.0f; });
    BorderedGrid surface(filled.getRows(), filled.getColumns(), kBorder);
    diffuseSurface(filled, surface, 7, 0.2);
    double total = 0.0;
    for (int r = kBorder; r < filled.getRows() - kBorder; ++r)
        for (int c = kBorder; c < filled.getColumns() - kBorder; ++c) total += surface[r][c];
    EXPECT_NEAR(total, 2000.0, 1e-2);
    EXPECT_EQ(surface[0][0], surface[kBorder][kBorder]);
    // Grids of other shapes, or without a border, are left alone.
    for (BorderedGrid other : {BorderedGrid(filled.getRows() + 1, filled.getColumns(), kBorder),
                               BorderedGrid(filled.getRows(), filled.getColumns() + 1, kBorder),
                               BorderedGrid(filled.getRows(), filled.getColumns(), kBorder - 1)}) {
        diffuseSurface(filled, other, 7, 0.2);
        EXPECT_EQ(other[kBorder][kBorder], 0.0f) << other.getRows() << "x" << other.getColumns();
    }
    BorderedGrid flatFilled(4, 4, 0), flat(4, 4, 0);
    flatFilled[1][1] = 5.0f;
    diffuseSurface(flatFilled, flat, 7, 0.2);
    EXPECT_EQ(flat[1][1], 0.0f);
}

// Every frame cell takes the value of the interior cell nearest to it, corners included.
TEST(SurfaceBorder, ReplicationCopiesTheNearestInteriorCellIntoEveryFrameCell) {
    BorderedGrid g = grid(3, 4, [](int r, int c) { return 10.0f * r + c + 1; });
    g.replicateBorder();
    for (int r = 0; r < g.getRows(); ++r)
        for (int c = 0; c < g.getColumns(); ++c)
            EXPECT_EQ(g[r][c], 10.0f * std::clamp(r - kBorder, 0, 2) + std::clamp(c - kBorder, 0, 3) + 1)
                << r << "," << c;
    EXPECT_EQ(g.getBorderFilled(), 1.0f);
}

// The smoothing level shows in how far a tall point spreads along the A-scans, at most one cell per step.
// Depth 0 counts as missing, so the point is first copied over A-scans 0 to 3. On this volume level 0 (ten
// steps) reaches A-scan 13 and level 2 (thirty steps) A-scan 23, as measured.
TEST(FinalVolumePass, DiffusionStepsLowerUnderUpperAndDroppedPoints) {
    const DepthAt tall = [](int x, int z) { return x == 0 && z == 0 ? 1e9 : 0.0; };
    for (const auto& c : {std::pair<int, int>{0, 13}, {2, 23}}) {
        Volume v(40, 3, c.first, tall, constant(0.0));
        EXPECT_GT(v.upper(c.second, 1), 0.0) << c.first;
        EXPECT_EQ(v.upper(c.second + 1, 1), 0.0) << c.first;
    }

    Volume crossing(6, 4, 0, constant(100.0), constant(50.0));
    EXPECT_EQ(D({crossing.lower(3, 2), crossing.valueList2[2](3, 3)}), D({100.0, 0.25}));

    Volume missing(6, 4, 0, constant(-1.0), constant(80.0));
    EXPECT_EQ(D({missing.upper(1, 1), missing.lower(1, 1), missing.valueList1[1](1, 3), missing.valueList2[1](1, 3)}),
              D({-1.0, -1.0, 0.0, 0.0}));

    // One deep point on flat surfaces: diffusion spreads it, so it ends 21 samples below the smoothed upper
    // surface. It is dropped only when its lower boundary lies as far below the lower surface.
    const DepthAt upper = [](int x, int z) { return x == 10 && z == 10 ? 121.0 : 100.0; };
    const DepthAt deepLower = [](int x, int z) { return x == 10 && z == 10 ? 171.0 : 150.0; };
    Volume kept(21, 21, 0, upper, constant(150.0));
    EXPECT_EQ(D({kept.upper(10, 10), kept.valueList1[10](10, 3)}), D({100.0, 0.5}));

    Volume dropped(21, 21, 0, upper, deepLower);
    EXPECT_EQ(D({dropped.upper(10, 10), dropped.lower(10, 10), dropped.valueList1[10](10, 3), dropped.upper(11, 10)}),
              D({-1.0, -1.0, 0.0, 100.0}));

    // Row k of each value list takes the position of row k of its boundary list, whatever position it named.
    Volume mirrored(4, 3, 0, constant(100.0), constant(150.0), true);
    for (int z = 0; z < 3; ++z)
        for (int k = 0; k < 4; ++k) {
            const Matrix &v1 = mirrored.valueList1[z], &v2 = mirrored.valueList2[z];
            EXPECT_EQ(D({v1(k, 0), v1(k, 1), v1(k, 2), v1(k, 3), v2(k, 0), v2(k, 1), v2(k, 2), v2(k, 3)}),
                      D({double(k), 100, double(z), 0.5, 3.0 - k, 150, 2.0 - z, 0.25}));
        }
}
