#include <Velin/Consistency/BorderedGrid.h>
#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>
#include <string>

using Orvan::MathPackage::Matrix;
using Orvan::MathPackage::VectorN;
using Orvan::Velin::BorderedGrid;
using Orvan::Velin::VelinDetectorIpp;

namespace {

const int kBorder = 5;

// A detector whose four lists hold every (A-scan, B-scan) position once, with the depths given per
// position and the values 0.5 (upper) and 0.25 (lower).
struct VolumeLists {
    VolumeLists(int aScans, int bScans, int optionFlag, const std::function<double(int, int)>& upperDepth,
                const std::function<double(int, int)>& lowerDepth) {
        detector.numAScans = aScans;
        detector.numBScans = bScans;
        detector.optionFlag = optionFlag;
        for (int z = 0; z < bScans; ++z) {
            Matrix b1(aScans, 3), b2(aScans, 3), v1(aScans, 4), v2(aScans, 4);
            for (int x = 0; x < aScans; ++x) {
                b1.setRow(x, VectorN(x, upperDepth(x, z), z));
                b2.setRow(x, VectorN(x, lowerDepth(x, z), z));
                v1.setRow(x, VectorN(x, upperDepth(x, z), z, 0.5));
                v2.setRow(x, VectorN(x, lowerDepth(x, z), z, 0.25));
            }
            detector.boundaryList1.push_back(b1);
            detector.boundaryList2.push_back(b2);
            detector.valueList1.push_back(v1);
            detector.valueList2.push_back(v2);
        }
    }
    double upper(int x, int z) { return detector.boundaryList1[z](x, 1); }
    double lower(int x, int z) { return detector.boundaryList2[z](x, 1); }

    VelinDetectorIpp detector;
};

}  // namespace

TEST(SurfaceGapFilling, TakesTheFirstRawValueOfTheNeighbourhood) {
    // Points only in every second B-scan, depth 100 + 10 * B-scan + A-scan.
    BorderedGrid raw(7 + 2 * kBorder, 8 + 2 * kBorder, kBorder);
    for (int z = 0; z < 7; z += 2)
        for (int x = 0; x < 8; ++x) raw[z + kBorder][x + kBorder] = 100.0f + 10 * z + x;
    BorderedGrid filled = raw;
    Orvan::Velin::fillSurfaceGaps(raw, filled);

    // The search starts three B-scans back and at the lowest A-scan: B-scan 1 fills from B-scan 0,
    // B-scan 3 also from B-scan 0, B-scan 5 from B-scan 2.
    EXPECT_EQ(filled[1 + kBorder][kBorder + 5], 102.0f);
    EXPECT_EQ(filled[3 + kBorder][kBorder + 1], 100.0f);
    EXPECT_EQ(filled[5 + kBorder][kBorder + 7], 124.0f);
    EXPECT_EQ(filled[6 + kBorder][kBorder + 7], 167.0f);

    // A single point closes gaps up to three cells away; filled cells do not feed further gaps.
    BorderedGrid single(3 + 2 * kBorder, 8 + 2 * kBorder, kBorder);
    single[kBorder][kBorder] = 9.0f;
    BorderedGrid closed = single;
    Orvan::Velin::fillSurfaceGaps(single, closed);
    EXPECT_EQ(closed[kBorder + 2][kBorder + 3], 9.0f);
    EXPECT_EQ(closed[kBorder][kBorder + 4], 0.0f);
}

TEST(SurfaceDiffusion, ReachesExactlyOneCellPerStepAndKeepsTheTotal) {
    BorderedGrid filled(31 + 2 * kBorder, 31 + 2 * kBorder, kBorder);
    filled[15 + kBorder][15 + kBorder] = 1000.0f;
    filled[0 + kBorder][0 + kBorder] = 1000.0f;  // heat at a corner must not leak out of the volume
    BorderedGrid surface(filled.getRows(), filled.getColumns(), kBorder);
    Orvan::Velin::diffuseSurface(filled, surface, 7, 0.2);

    const int centre = 15 + kBorder;
    EXPECT_GT(surface[centre][centre + 7], 0.0f);
    EXPECT_EQ(surface[centre][centre + 8], 0.0f);
    EXPECT_GT(surface[centre + 4][centre - 3], 0.0f);
    EXPECT_EQ(surface[centre + 4][centre - 4], 0.0f);
    double total = 0.0;
    for (int r = kBorder; r < filled.getRows() - kBorder; ++r)
        for (int c = kBorder; c < filled.getColumns() - kBorder; ++c) total += surface[r][c];
    EXPECT_NEAR(total, 2000.0, 1e-2);
    EXPECT_EQ(surface.getBorderFilled(), 1.0f);
    EXPECT_EQ(surface[0][0], surface[kBorder][kBorder]);

    BorderedGrid other(10, 10, kBorder);
    other[7][7] = 3.0f;
    Orvan::Velin::diffuseSurface(filled, other, 7, 0.2);
    EXPECT_EQ(other[7][7], 3.0f) << "grids of different shape must be left alone";
}

// The smoothing level shows in how far a tall block of depth spreads: one cell per diffusion step.
TEST(FinalVolumePass, SmoothingLevelSetsTheNumberOfDiffusionSteps) {
    // Depth 0 counts as missing, so the single deep point is first copied over its 4 x 3 neighbourhood
    // (A-scans 0 to 3), from where it spreads along the A-scans.
    auto tallPoint = [](int x, int z) { return x == 0 && z == 0 ? 1e9 : 0.0; };
    auto flat = [](int, int) { return 0.0; };

    VolumeLists level0(40, 3, 0, tallPoint, flat);
    level0.detector.refineSurfaces();
    EXPECT_GT(level0.upper(13, 1), 0.0);
    EXPECT_EQ(level0.upper(14, 1), 0.0);

    VolumeLists level2(40, 3, 2, tallPoint, flat);
    level2.detector.refineSurfaces();
    // Ten steps reach A-scan 13 and twenty only 19; A-scan 23 needs nearly thirty, A-scan 24 some 35.
    EXPECT_GT(level2.upper(23, 1), 0.0);
    EXPECT_EQ(level2.upper(24, 1), 0.0);
}

TEST(FinalVolumePass, LowerStaysBelowUpperAndImplausiblePointsAreDropped) {
    VolumeLists crossing(
        6, 4, 0, [](int, int) { return 100.0; }, [](int, int) { return 50.0; });
    crossing.detector.refineSurfaces();
    EXPECT_EQ(crossing.upper(3, 2), 100.0);
    EXPECT_EQ(crossing.lower(3, 2), 100.0);
    EXPECT_EQ(crossing.detector.valueList2[2].getRow(3)[3], 0.25);

    VolumeLists missing(
        6, 4, 0, [](int, int) { return -1.0; }, [](int, int) { return 80.0; });
    missing.detector.refineSurfaces();
    EXPECT_EQ(missing.upper(1, 1), -1.0);
    EXPECT_EQ(missing.lower(1, 1), -1.0);
    EXPECT_EQ(missing.detector.valueList1[1](1, 3), 0.0);
    EXPECT_EQ(missing.detector.valueList2[1](1, 3), 0.0);
}

// One deep point on flat surfaces: diffusion spreads it out, so the measured depth ends 21 samples below the
// smoothed upper surface. It is dropped only when the lower boundary is as far below too.
TEST(FinalVolumePass, PointIsDroppedOnlyWhenBothBoundariesLieFarBelow) {
    const int x = 10, z = 10;
    auto upper = [&](int px, int pz) { return px == x && pz == z ? 121.0 : 100.0; };
    auto lowerFlat = [](int, int) { return 150.0; };
    auto lowerDeep = [&](int px, int pz) { return px == x && pz == z ? 171.0 : 150.0; };

    VolumeLists kept(21, 21, 0, upper, lowerFlat);
    kept.detector.refineSurfaces();
    ASSERT_EQ(121.0 - kept.upper(x, z), 21.0) << "the premise of this test";
    EXPECT_EQ(kept.lower(x, z), 150.0);
    EXPECT_EQ(kept.detector.valueList1[z](x, 3), 0.5);

    VolumeLists dropped(21, 21, 0, upper, lowerDeep);
    dropped.detector.refineSurfaces();
    EXPECT_EQ(dropped.upper(x, z), -1.0);
    EXPECT_EQ(dropped.lower(x, z), -1.0);
    EXPECT_EQ(dropped.detector.valueList1[z](x, 3), 0.0);
    EXPECT_EQ(dropped.upper(x + 1, z), 100.0) << "neighbours are kept";
}

TEST(FinalVolumePass, ValueListShorterThanBoundaryListFailsOnTheRowRead) {
    VolumeLists lists(
        4, 3, 0, [](int, int) { return 100.0; }, [](int, int) { return 120.0; });
    lists.detector.valueList2[1].resize(2, 4);
    try {
        lists.detector.refineSurfaces();
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& e) {
        EXPECT_EQ(std::string(e.what()).rfind("Matrix::getRow(): invalid row. (file: ", 0), 0u) << e.what();
    }
}
