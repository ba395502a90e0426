#include <Velin/Consistency/BorderedGrid.h>
#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <functional>

using Orvan::MathPackage::Matrix;
using Orvan::MathPackage::VectorN;
using Orvan::Velin::BorderedGrid;

namespace {

const int kBorder = 5;
using DepthAt = std::function<double(int x, int z)>;

// A detector whose four lists hold every (A-scan x, B-scan z) position, with values 0.5 (upper) and 0.25.
struct Volume : Orvan::Velin::VelinDetectorIpp {
    Volume(int aScans, int bScans, int level, const DepthAt& upper, const DepthAt& lower) {
        numAScans = aScans;
        numBScans = bScans;
        optionFlag = level;
        for (int z = 0; z < bScans; ++z) {
            Matrix b1(aScans, 3), b2(aScans, 3), v1(aScans, 4), v2(aScans, 4);
            for (int x = 0; x < aScans; ++x) {
                b1.setRow(x, VectorN(x, upper(x, z), z));
                b2.setRow(x, VectorN(x, lower(x, z), z));
                v1.setRow(x, VectorN(x, upper(x, z), z, 0.5));
                v2.setRow(x, VectorN(x, lower(x, z), z, 0.25));
            }
            boundaryList1.push_back(b1), boundaryList2.push_back(b2), valueList1.push_back(v1),
                valueList2.push_back(v2);
        }
        refineSurfaces();
    }
    double upper(int x, int z) { return boundaryList1[z](x, 1); }
    double lower(int x, int z) { return boundaryList2[z](x, 1); }
};

DepthAt constant(double depth) {
    return [depth](int, int) { return depth; };
}

}  // namespace

TEST(SurfaceGapFilling, TakesTheFirstRawValueOfTheNeighbourhood) {
    // Points only in every second B-scan, depth 100 + 10 * B-scan + A-scan.
    BorderedGrid raw(7 + 2 * kBorder, 8 + 2 * kBorder, kBorder);
    for (int z = 0; z < 7; z += 2)
        for (int x = 0; x < 8; ++x) raw[z + kBorder][x + kBorder] = 100.0f + 10 * z + x;
    BorderedGrid filled = raw;
    Orvan::Velin::fillSurfaceGaps(raw, filled);
    // The search starts three B-scans back at the lowest A-scan: B-scans 1 and 3 fill from B-scan 0, 5 from 2.
    EXPECT_EQ(filled[1 + kBorder][5 + kBorder], 102.0f);
    EXPECT_EQ(filled[3 + kBorder][1 + kBorder], 100.0f);
    EXPECT_EQ(filled[5 + kBorder][7 + kBorder], 124.0f);
    EXPECT_EQ(filled[6 + kBorder][7 + kBorder], 167.0f);

    // A point closes gaps up to three cells away; filled cells do not feed further gaps.
    BorderedGrid single(3 + 2 * kBorder, 8 + 2 * kBorder, kBorder);
    single[kBorder][kBorder] = 9.0f;
    BorderedGrid closed = single;
    Orvan::Velin::fillSurfaceGaps(single, closed);
    EXPECT_EQ(closed[2 + kBorder][3 + kBorder], 9.0f);
    EXPECT_EQ(closed[kBorder][4 + kBorder], 0.0f);
}

TEST(SurfaceDiffusion, SpreadsOneCellPerStepAndLosesNothingAtTheEdges) {
    BorderedGrid filled(31 + 2 * kBorder, 31 + 2 * kBorder, kBorder);
    const int centre = 15 + kBorder;
    filled[centre][centre] = 1000.0f;
    filled[kBorder][kBorder] = 1000.0f;  // a corner: no heat may leave the volume
    BorderedGrid surface(filled.getRows(), filled.getColumns(), kBorder);
    Orvan::Velin::diffuseSurface(filled, surface, 7, 0.2);

    EXPECT_GT(surface[centre][centre + 7], 0.0f);
    EXPECT_EQ(surface[centre][centre + 8], 0.0f);
    EXPECT_GT(surface[centre + 4][centre - 3], 0.0f);
    EXPECT_EQ(surface[centre + 4][centre - 4], 0.0f);
    double total = 0.0;
    for (int r = kBorder; r < filled.getRows() - kBorder; ++r)
        for (int c = kBorder; c < filled.getColumns() - kBorder; ++c) total += surface[r][c];
    EXPECT_NEAR(total, 2000.0, 1e-2);
    EXPECT_EQ(surface[0][0], surface[kBorder][kBorder]);
}

// The smoothing level shows in how far a tall point spreads along the A-scans, at most one cell per step.
// Depth 0 counts as missing, so the point is first copied over A-scans 0 to 3.
TEST(FinalVolumePass, SmoothingLevelSetsTheNumberOfDiffusionSteps) {
    const DepthAt tall = [](int x, int z) { return x == 0 && z == 0 ? 1e9 : 0.0; };
    Volume level0(40, 3, 0, tall, constant(0.0));
    EXPECT_GT(level0.upper(13, 1), 0.0);
    EXPECT_EQ(level0.upper(14, 1), 0.0);
    // Twenty steps reach A-scan 19, thirty reach 23 and thirty-five reach 25 (measured on this volume).
    Volume level2(40, 3, 2, tall, constant(0.0));
    EXPECT_GT(level2.upper(23, 1), 0.0);
    EXPECT_EQ(level2.upper(24, 1), 0.0);
}

TEST(FinalVolumePass, LowerStaysBelowUpperAndMissingSurfacesDropPoints) {
    Volume crossing(6, 4, 0, constant(100.0), constant(50.0));
    EXPECT_EQ(crossing.lower(3, 2), 100.0);
    EXPECT_EQ(crossing.valueList2[2](3, 3), 0.25);

    Volume missing(6, 4, 0, constant(-1.0), constant(80.0));
    EXPECT_EQ(missing.upper(1, 1), -1.0);
    EXPECT_EQ(missing.lower(1, 1), -1.0);
    EXPECT_EQ(missing.valueList1[1](1, 3), 0.0);
    EXPECT_EQ(missing.valueList2[1](1, 3), 0.0);
}

// One deep point on flat surfaces: diffusion spreads it, so it ends 21 samples below the smoothed upper
// surface. It is dropped only when its lower boundary lies as far below the lower surface.
TEST(FinalVolumePass, PointIsDroppedOnlyWhenBothBoundariesLieFarBelow) {
    const DepthAt upper = [](int x, int z) { return x == 10 && z == 10 ? 121.0 : 100.0; };
    const DepthAt deepLower = [](int x, int z) { return x == 10 && z == 10 ? 171.0 : 150.0; };
    Volume kept(21, 21, 0, upper, constant(150.0));
    ASSERT_EQ(kept.upper(10, 10), 100.0) << "the premise of this test";
    EXPECT_EQ(kept.valueList1[10](10, 3), 0.5);

    Volume dropped(21, 21, 0, upper, deepLower);
    EXPECT_EQ(dropped.upper(10, 10), -1.0);
    EXPECT_EQ(dropped.lower(10, 10), -1.0);
    EXPECT_EQ(dropped.valueList1[10](10, 3), 0.0);
    EXPECT_EQ(dropped.upper(11, 10), 100.0);
}
