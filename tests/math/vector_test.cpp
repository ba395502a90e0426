#include "math/ThrowCheck.h"

#include <MathPackage/Matrix.h>
#include <MathPackage/VectorN.h>

#include <gtest/gtest.h>

#include <cmath>

using Orvan::MathPackage::Matrix;
using Orvan::MathPackage::VectorN;

namespace {

std::string failure(void (*action)(VectorN&, const VectorN&), VectorN a, const VectorN& b) {
    return invalidArgumentMessage([&] { action(a, b); }, "VectorN.cpp");
}

}  // namespace

TEST(VectorStorage, ConstructionCopyAndBufferReuse) {
    const VectorN empty;
    EXPECT_EQ(empty.getSize(), 0u);
    EXPECT_EQ(empty.getData(), nullptr);
    EXPECT_EQ(VectorN(0).getData(), nullptr);

    const VectorN zeros(5);
    for (std::uint32_t i = 0; i < 5; ++i) EXPECT_EQ(zeros[i], 0.0);

    VectorN point(1.0, 2.0, 3.0);
    VectorN copy(point);
    copy[0] = 9.0;
    EXPECT_EQ(point[0], 1.0) << "copy must not share the buffer";

    const double* buffer = point.getData();
    point = VectorN(4.0, 5.0, 6.0);
    EXPECT_EQ(point.getData(), buffer) << "same-size assignment must reuse the buffer";
    point.set(7.0, 8.0, 9.0);
    EXPECT_EQ(point.getData(), buffer);
    EXPECT_EQ(point[2], 9.0);

    point.set(1.0, 2.0, 3.0, 4.0);
    EXPECT_EQ(point.getSize(), 4u);
    EXPECT_EQ(point[3], 4.0);
    point = empty;
    EXPECT_EQ(point.getSize(), 0u);
    EXPECT_EQ(point.getData(), nullptr);

    VectorN self(1.0, 2.0, 3.0);
    const VectorN& alias = self;
    self = alias;
    EXPECT_EQ(self[1], 2.0);
}

TEST(VectorArithmetic, ElementWiseResultsAndDotProduct) {
    VectorN a(1.0, 2.0, 3.0);
    const VectorN b(0.5, -1.0, 4.0);
    const VectorN sum = a + b;
    const VectorN difference = a - b;
    EXPECT_EQ(sum[0], 1.5);
    EXPECT_EQ(sum[2], 7.0);
    EXPECT_EQ(difference[1], 3.0);
    EXPECT_EQ(a[0], 1.0) << "operator+ must not modify its operand";
    EXPECT_EQ(a * b, 0.5 - 2.0 + 12.0);
    a += b;
    a -= VectorN(1.0, 1.0, 1.0);
    EXPECT_EQ(a[0], 0.5);
    EXPECT_EQ(a[2], 6.0);
}

TEST(VectorArithmetic, MismatchedSizesFailWithTheOperationsMessage) {
    const VectorN three(1.0, 2.0, 3.0);
    const VectorN four(1.0, 2.0, 3.0, 4.0);
    EXPECT_EQ(failure([](VectorN& a, const VectorN& b) { a += b; }, three, four),
              "VectorN::operator+=(): vectors must have the same size.");
    EXPECT_EQ(failure([](VectorN& a, const VectorN& b) { a -= b; }, three, four),
              "VectorN::operator-=(): vectors must have the same size.");
    EXPECT_EQ(failure([](VectorN& a, const VectorN& b) { (void)(a + b); }, three, four),
              "VectorN::operator+(): vectors must have the same size.");
    EXPECT_EQ(failure([](VectorN& a, const VectorN& b) { (void)(a - b); }, three, four),
              "VectorN::operator-(): vectors must have the same size.");
    EXPECT_EQ(failure([](VectorN& a, const VectorN& b) { (void)(a * b); }, three, four),
              "VectorN::operator*(): vectors must have the same size.");
    EXPECT_EQ(failure([](VectorN& a, const VectorN& b) { (void)a.angle(b); }, three, four),
              "VectorN::angle(): vectors must have the same size.");
    EXPECT_EQ(failure([](VectorN& a, const VectorN& b) { (void)a.distance(b); }, three, four),
              "VectorN::distance(): vectors must have the same size.");

    VectorN unchanged(1.0, 2.0, 3.0);
    EXPECT_ANY_THROW(unchanged += four);
    EXPECT_EQ(unchanged[0], 1.0);
}

TEST(VectorGeometry, NormDistanceAndClampedAngle) {
    EXPECT_EQ(VectorN(3.0, 4.0, 0.0).norm(), 5.0);
    EXPECT_EQ(VectorN(1.0, 1.0, 1.0).distance(VectorN(1.0, 4.0, 5.0)), 5.0);
    EXPECT_EQ(VectorN().distance(VectorN()), 0.0);

    // For this vector the rounded cosine with itself is 1 + 2^-52: without clamping the angle would be NaN.
    const VectorN v(-0.73, 0.69, 0.53);
    const VectorN opposite(0.73, -0.69, -0.53);
    EXPECT_EQ(v.angle(VectorN(0.0, 0.0, 0.0)), 0.0);
    EXPECT_EQ(v.angle(v), 0.0);
    EXPECT_EQ(v.angle(opposite), 3.141592653589793);
    EXPECT_DOUBLE_EQ(VectorN(1.0, 0.0, 0.0).angle(VectorN(0.0, 2.0, 0.0)), std::acos(0.0));
    // Below the machine epsilon the product of the norms counts as zero.
    EXPECT_EQ(VectorN(1e-9, 0.0, 0.0).angle(VectorN(0.0, 1e-8, 0.0)), 0.0);
}

TEST(VectorRanges, ReadFromMatrixColumn) {
    Matrix m(4, 2, {1.0, 2.0, 3.0, 4.0, 10.0, 20.0, 30.0, 40.0});
    VectorN v(2);
    v.lread(m, 2, 1);  // the last two rows: the bound is inclusive
    EXPECT_EQ(v[0], 30.0);
    EXPECT_EQ(v[1], 40.0);

    EXPECT_EQ(invalidArgumentMessage([&] { v.lread(m, 3, 1); }, "VectorN.cpp"), "VectorN::lread(): row out of range.");
    // The column is checked first.
    EXPECT_EQ(invalidArgumentMessage([&] { v.lread(m, 3, 2); }, "VectorN.cpp"),
              "VectorN::lread(): column out of range.");
    EXPECT_EQ(v[0], 30.0);

    VectorN nothing;
    EXPECT_NO_THROW(nothing.lread(m, 4, 0));
}

TEST(VectorRanges, IndexRange) {
    const VectorN v(1.0, 2.0, 3.0, 4.0);
    const VectorN one = v.getIndexRange(2, 2);
    ASSERT_EQ(one.getSize(), 1u);
    EXPECT_EQ(one[0], 3.0);
    const VectorN middle = v.getIndexRange(1, 3);
    ASSERT_EQ(middle.getSize(), 3u);
    EXPECT_EQ(middle[0], 2.0);
    EXPECT_EQ(middle[2], 4.0);
    EXPECT_EQ(v.getIndexRange(3, 1).getSize(), 0u);
    EXPECT_EQ(invalidArgumentMessage([&] { (void)v.getIndexRange(0, 4); }, "VectorN.cpp"),
              "VectorN::getIndexRange(): maximum index must not exceed vector size.");
}
