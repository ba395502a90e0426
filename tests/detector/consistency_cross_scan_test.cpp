#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using Orvan::MathPackage::Matrix;
using Orvan::Velin::MatrixList;

namespace {

const double kGap = -1000.0;  // no point in this B-scan
using D = std::vector<double>;

// Corrects one point per B-scan at A-scan `x` (none where the depth is kGap) and returns the new depths.
D corrected(double x, const D& depths) {
    Orvan::Velin::VelinDetectorIpp detector;
    detector.numAScans = 4;
    detector.numBScans = static_cast<int>(depths.size());
    MatrixList list;
    for (std::size_t z = 0; z < depths.size(); ++z)
        list.push_back(depths[z] == kGap ? Matrix(0, 3) : Matrix(1, 3, {x, depths[z], double(z)}));
    detector.correctAcrossScans(list, 2);
    D out;
    for (const Matrix& m : list) out.push_back(m.getRowCount() == 0 ? kGap : m(0, 1));
    return out;
}

}  // namespace

TEST(CrossScanCorrection, RecursiveFilterWithTruncatingDivision) {
    EXPECT_EQ(corrected(1, {10, 20, 10, 20, 10}), (D{10, 15, 13, 15, 10}));
    // (-3 - 2 + 0) / 4 = -5 / 4 truncates to -1; the first point keeps its negative depth.
    EXPECT_EQ(corrected(0, {-3, -1, 0}), (D{-3, -1, 0}));
    // Only the last point of a run is clamped to 0.
    EXPECT_EQ(corrected(3, {5, 5, -1}), (D{5, 3, 0}));
}

TEST(CrossScanCorrection, GapsSplitRunsAndShortRunsOnlyTruncate) {
    EXPECT_EQ(corrected(2, {10, 20, 10, kGap, 20, 10, 20}), (D{10, 15, 10, kGap, 20, 15, 20}));
    EXPECT_EQ(corrected(0, {kGap, 7.9, -1.5, kGap, 3.2, kGap}), (D{kGap, 7, -1, kGap, 3, kGap}));
}

TEST(CrossScanCorrection, LaterRowWinsAndCoordinatesBecomeWholeNumbers) {
    Orvan::Velin::VelinDetectorIpp detector;
    detector.numAScans = 3;
    detector.numBScans = 2;
    MatrixList list{Matrix(2, 3, {2.7, 2.0, 30.0, 40.0, 0.0, 0.0}), Matrix()};
    detector.correctAcrossScans(list, 2);
    EXPECT_EQ(list[0].getRow(0)[0], 2.0);
    EXPECT_EQ(list[0](0, 1), 40.0);
    EXPECT_EQ(list[0](1, 1), 40.0);
    EXPECT_EQ(list[1].getRowCount(), 0u);
}
