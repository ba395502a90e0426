#include "math/ThrowCheck.h"

#include <MathPackage/Matrix.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace Orvan::MathPackage;

TEST(VectorOperations, DeepCopiesBufferReuseArithmeticClampedAngleAndRanges) {
    EXPECT_EQ(VectorN(5)[4], 0.0);
    VectorN point(1.0, 2.0, 3.0);
    VectorN copy(point);
    copy[0] = 9.0;
    EXPECT_EQ(point[0], 1.0);

    const double* buffer = point.getData();
    point = VectorN(4.0, 5.0, 6.0);
    point.set(7.0, 8.0, 9.0);
    EXPECT_EQ(point.getData(), buffer);
    EXPECT_EQ(point[2], 9.0);
    point.set(1.0, 2.0, 3.0, 4.0);
    EXPECT_EQ(point[3], 4.0);
    point = VectorN();
    EXPECT_EQ(point.getData(), nullptr);

    VectorN a(1.0, 2.0, 3.0);
    const VectorN b(0.5, -1.0, 4.0);
    EXPECT_EQ((a + b)[2], 7.0);
    EXPECT_EQ((a - b)[1], 3.0);
    EXPECT_EQ(a * b, 10.5);
    EXPECT_EQ(((a += b) -= VectorN(1.0, 1.0, 1.0))[0], 0.5);
    EXPECT_EQ(VectorN(3.0, 4.0, 0.0).norm(), 5.0);
    EXPECT_EQ(VectorN(1.0, 1.0, 1.0).distance(VectorN(1.0, 4.0, 5.0)), 5.0);

    // The rounded cosine of this vector with itself is 1 + 2^-52: unclamped, the angle would be NaN.
    const VectorN v(-0.73, 0.69, 0.53);
    EXPECT_EQ(v.angle(v), 0.0);
    EXPECT_EQ(v.angle(VectorN(0.73, -0.69, -0.53)), 3.141592653589793);
    EXPECT_EQ(v.angle(VectorN(0.0, 0.0, 0.0)), 0.0);
    EXPECT_DOUBLE_EQ(VectorN(2.0, 0.0, 0.0).angle(VectorN(1.0, 1.0, 0.0)), std::atan(1.0));

    VectorN two(2);
    two.lread(Matrix(4, 2, {1.0, 2.0, 3.0, 4.0, 10.0, 20.0, 30.0, 40.0}), 2, 1);  // the last two rows: inclusive
    EXPECT_EQ(two[1], 40.0);
    const VectorN range = VectorN(1.0, 2.0, 3.0, 4.0).getIndexRange(1, 3);
    EXPECT_TRUE(range.getSize() == 3u && range[0] == 2.0);
    EXPECT_EQ(VectorN(1.0, 2.0, 3.0).getIndexRange(2, 1).getSize(), 0u);
}

TEST(VectorFailures, EachCheckNamesItsOperation) {
    const auto failure = [](auto action) { return failureMessage(action, "VectorN.cpp"); };
    VectorN three(1.0, 2.0, 3.0), two(2);
    const VectorN four(1.0, 2.0, 3.0, 4.0);
    const std::string sizes = "(): vectors must have the same size.";
    EXPECT_EQ(failure([&] { three += four; }), "VectorN::operator+=" + sizes);
    EXPECT_EQ(failure([&] { three -= four; }), "VectorN::operator-=" + sizes);
    EXPECT_EQ(failure([&] { (void)(three + four); }), "VectorN::operator+" + sizes);
    EXPECT_EQ(failure([&] { (void)(three - four); }), "VectorN::operator-" + sizes);
    EXPECT_EQ(failure([&] { (void)(three * four); }), "VectorN::operator*" + sizes);
    EXPECT_EQ(failure([&] { (void)three.angle(four); }), "VectorN::angle" + sizes);
    EXPECT_EQ(failure([&] { (void)three.distance(four); }), "VectorN::distance" + sizes);
    EXPECT_EQ(three[0], 1.0);
    EXPECT_EQ(failure([&] { two.lread(Matrix(4, 2), 3, 1); }), "VectorN::lread(): row out of range.");
    EXPECT_EQ(failure([&] { two.lread(Matrix(4, 2), 3, 2); }), "VectorN::lread(): column out of range.");
    EXPECT_EQ(failure([&] { (void)four.getIndexRange(0, 4); }),
              "VectorN::getIndexRange(): maximum index must not exceed vector size.");
}
