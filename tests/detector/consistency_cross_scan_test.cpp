#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using Orvan::MathPackage::Matrix;
using Orvan::Velin::MatrixList;
using Orvan::Velin::VelinDetectorIpp;

namespace {

const double kNoPoint = -1000.0;

// One matrix per B-scan holding the point at A-scan `x` with the given depth (none for kNoPoint).
MatrixList pointsAlongBScans(double x, const std::vector<double>& depths) {
    MatrixList list;
    for (std::size_t z = 0; z < depths.size(); ++z) {
        Matrix m(depths[z] == kNoPoint ? 0 : 1, 3);
        if (m.getRowCount() == 1) m.setRow(0, Orvan::MathPackage::VectorN(x, depths[z], double(z)));
        list.push_back(m);
    }
    return list;
}

std::vector<double> depthsOf(const MatrixList& list) {
    std::vector<double> out;
    for (const Matrix& m : list) out.push_back(m.getRowCount() == 0 ? kNoPoint : m(0, 1));
    return out;
}

std::vector<double> corrected(double x, const std::vector<double>& depths, int aScans = 4) {
    VelinDetectorIpp detector;
    detector.numAScans = aScans;
    detector.numBScans = static_cast<int>(depths.size());
    MatrixList list = pointsAlongBScans(x, depths);
    detector.correctAcrossScans(list, 2);
    return depthsOf(list);
}

using D = std::vector<double>;

}  // namespace

TEST(CrossScanCorrection, RecursiveFilterWithTruncatingDivision) {
    EXPECT_EQ(corrected(1, {10, 20, 10, 20, 10}), (D{10, 15, 13, 15, 10}));
    // (-3 - 2 + 0) / 4 = -5 / 4 truncates to -1; the first point keeps its negative depth.
    EXPECT_EQ(corrected(0, {-3, -1, 0}), (D{-3, -1, 0}));
    // Only the last point of a run is clamped to 0.
    EXPECT_EQ(corrected(3, {5, 5, -1}), (D{5, 3, 0}));
}

TEST(CrossScanCorrection, GapsSplitRunsAndShortRunsOnlyTruncate) {
    const double _ = kNoPoint;
    EXPECT_EQ(corrected(2, {10, 20, 10, _, 20, 10, 20}), (D{10, 15, 10, _, 20, 15, 20}));
    EXPECT_EQ(corrected(0, {_, 7.9, -1.5, _, 3.2, _}), (D{_, 7, -1, _, 3, _}));
}

TEST(CrossScanCorrection, LaterRowWinsAndCoordinatesBecomeWholeNumbers) {
    VelinDetectorIpp detector;
    detector.numAScans = 3;
    detector.numBScans = 3;
    MatrixList list;
    list.push_back(Matrix(2, 3, {2.7, 2.0, 30.0, 40.0, 0.0, 0.0}));
    list.push_back(Matrix());
    list.push_back(Matrix(1, 3, {0.0, 12.0, 2.0}));
    detector.correctAcrossScans(list, 2);

    EXPECT_EQ(list[0].getRow(0)[0], 2.0);
    EXPECT_EQ(list[0](0, 1), 40.0);
    EXPECT_EQ(list[0](1, 1), 40.0);
    EXPECT_EQ(list[1].getRowCount(), 0u);
    EXPECT_EQ(list[2](0, 1), 12.0);

    MatrixList empty(5, Matrix(0, 3));
    detector.correctAcrossScans(empty, 2);
    EXPECT_EQ(empty.size(), 5u);
    EXPECT_EQ(empty[4].getRowCount(), 0u);
}
