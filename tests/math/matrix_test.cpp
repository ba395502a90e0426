#include "foundation/HandlerGuard.h"
#include "math/ThrowCheck.h"

#include <MathPackage/Matrix.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

using namespace Orvan::MathPackage;

namespace {

// Sorts rows (key, tag, 10 * tag), checks that the keys ascend and every row arrives whole exactly once, and
// returns the tags in their new order.
std::vector<int> sortedTags(const std::vector<double>& keys) {
    Matrix m(static_cast<std::uint32_t>(keys.size()), 3);
    for (std::uint32_t r = 0; r < keys.size(); ++r) m.setRow(r, VectorN(keys[r], r, r * 10.0));
    m.sortByColumn(0);
    std::vector<int> tags;
    for (std::uint32_t r = 0; r < m.getRowCount(); ++r) {
        tags.push_back(static_cast<int>(m(r, 1)));
        EXPECT_TRUE(m(r, 0) == keys[tags.back()] && m(r, 2) == 10.0 * tags.back()) << "row torn apart";
        EXPECT_FALSE(r > 0 && m(r - 1, 0) > m(r, 0)) << "keys descend at row " << r;
    }
    EXPECT_EQ(std::set<int>(tags.begin(), tags.end()).size(), keys.size()) << "row lost or doubled";
    return tags;
}

}  // namespace

TEST(MatrixOperations, StorageRowsColumnsBlocksAndProduct) {
    Matrix m(2, 3, {1.0, 2.0, 3.0, 4.0, 5.0, 6.0});
    EXPECT_EQ(m(1, 0), 2.0);

    Matrix copy;
    copy = m;
    m(0, 0) = 99.0;
    EXPECT_EQ(copy(0, 0), 1.0);
    m.resize(2, 3);
    EXPECT_EQ(m(0, 0), 0.0);

    copy = Matrix(0, 3);
    EXPECT_EQ(copy.getData(), nullptr);

    m = Matrix(3, 3);
    m.setRow(2, VectorN(1.0, 2.0, 3.0));
    m.setColumn(0, VectorN(7.0, 8.0, 9.0));
    EXPECT_EQ(m.getColumn(0)[2], 9.0);
    m.swapColumn(0, 2);
    EXPECT_EQ(m(2, 0), 3.0);
    m.copyColumn(Matrix(3, 1, {4.0, 5.0, 6.0}), 0, 1);
    EXPECT_EQ(m.getMinInColumn(1), 4.0);
    EXPECT_EQ(m.getMaxInRow(2), 9.0);

    Matrix block(2, 2);
    block.cut(m, 1, 1);  // rows 1-2, columns 1-2
    EXPECT_EQ(block(1, 0), 6.0);
    m.copy(block, 0, 0);
    EXPECT_EQ(m(1, 0), 6.0);
    const VectorN two = VectorN(0.0, 2.0, 0.0).getIndexRange(0, 1);
    m.lcopy(two, 2, 1);  // down column 2 from row 1
    m.qcopy(two, 1, 0);  // along row 0 from column 1
    EXPECT_EQ(m(2, 2), 2.0);
    EXPECT_EQ(m(0, 2), 2.0);

    const Matrix a(2, 3, {1.0, 4.0, 2.0, 5.0, 3.0, 6.0});     // rows (1 2 3), (4 5 6)
    const Matrix b(3, 2, {7.0, 9.0, 11.0, 8.0, 10.0, 12.0});  // rows (7 8), (9 10), (11 12)
    const Matrix p = a * b;
    EXPECT_EQ(std::vector<double>(p.getData(), p.getData() + 4), (std::vector<double>{58.0, 139.0, 64.0, 154.0}));
    EXPECT_EQ((a + a - a)(1, 2), 6.0);

    const std::vector<PointXYZW> points = {{1.0, 2.0, 3.0, 9.0}, {4.0, 5.0, 6.0, 9.0}};
    EXPECT_EQ(Matrix(points, 3).toStdVectorVectorXYZW()[1], (PointXYZW{4.0, 5.0, 6.0, 1.0}));
}

TEST(MatrixSort, HeapSortMovesWholeRowsWithStrictSiftRules) {
    // Worked by hand: equal keys end where the two strict comparisons of the sift put them.
    EXPECT_EQ(sortedTags({1.0, 1.0, 0.0}), (std::vector<int>{2, 1, 0}));
    EXPECT_EQ(sortedTags({0.0, 5.0, 5.0}), (std::vector<int>{0, 2, 1}));

    std::mt19937 random(7);
    for (int n = 2; n < 40; ++n) {
        std::vector<double> keys(n);
        for (double& k : keys) k = static_cast<double>(random() % 10);
        sortedTags(keys);
    }
}

TEST(MatrixFailures, EachCheckHasItsMessageReachesTheHandlerAndLeavesTheMatrixUnchanged) {
    HandlerGuard guard;
    const auto failure = [](auto action) { return failureMessage(action, "Matrix.cpp"); };
    Matrix m(2, 3, {1.0, 2.0, 3.0, 4.0, 5.0, 6.0});
    const Matrix other(3, 2);
    const VectorN three(0.0, 0.0, 0.0), four(0.0, 0.0, 0.0, 0.0);
    const std::vector<PointXYZW> points(2);
    const std::string sizes = "(): matrix sizes do not match.", fit = "(): matrix, column and/or row too large.";
    EXPECT_EQ(failure([] { Matrix(2, 3, {1.0}); }), "Matrix::Matrix(): vector has wrong size.");
    for (std::uint32_t columns : {0u, 5u})
        EXPECT_EQ(failure([&] { Matrix(points, columns); }), "Matrix::Matrix(): invalid size.");
    EXPECT_EQ(failure([&] { (void)m.getRow(2); }), "Matrix::getRow(): invalid row.");
    EXPECT_EQ(failure([&] { m.setRow(2, four); }), "Matrix::setRow(): invalid row.");  // the row is checked first
    EXPECT_EQ(failure([&] { m.setRow(1, four); }), "Matrix::setRow(): vector has wrong number of elements.");
    EXPECT_EQ(failure([&] { (void)m.getColumn(3); }), "Matrix::getColumn(): invalid column.");
    EXPECT_EQ(failure([&] { m.setColumn(3, three); }), "Matrix::setColumn(): invalid column.");
    EXPECT_EQ(failure([&] { m.setColumn(0, three); }), "Matrix::setColumn(): vector has wrong number of elements.");
    EXPECT_EQ(failure([&] { m += other; }), "Matrix::operator+=" + sizes);
    EXPECT_EQ(failure([&] { m -= other; }), "Matrix::operator-=" + sizes);
    EXPECT_EQ(failure([&] { (void)(m + other); }), "Matrix::operator+" + sizes);
    EXPECT_EQ(failure([&] { (void)(m - other); }), "Matrix::operator-" + sizes);
    EXPECT_EQ(failure([&] { (void)(m * m); }), "Matrix::operator*" + sizes);
    EXPECT_EQ(failure([&] { m.cut(Matrix(2, 2), 0, 0); }), "Matrix::cut" + fit);
    EXPECT_EQ(failure([&] { m.copy(Matrix(3, 1), 0, 0); }), "Matrix::copy" + fit);
    EXPECT_EQ(failure([&] { m.lcopy(three, 0, 0); }), "Matrix::lcopy(): vector, column and/or row too large.");
    EXPECT_EQ(failure([&] { m.qcopy(three, 1, 0); }), "Matrix::qcopy(): vector, column and/or row too large.");
    EXPECT_EQ(failure([&] { m.swapColumn(0, 3); }), "Matrix::swapColumn(): invalid columns.");
    EXPECT_EQ(failure([&] { m.copyColumn(other, 5, 5); }),
              "Matrix::copyColumn(): source matrix has wrong number of rows.");
    EXPECT_EQ(failure([&] { m.copyColumn(m, 3, 5); }), "Matrix::copyColumn(): invalid source column.");
    EXPECT_EQ(failure([&] { m.copyColumn(m, 0, 3); }), "Matrix::copyColumn(): invalid destination column.");
    EXPECT_EQ(failure([&] { (void)m.getMaxInColumn(3); }), "Matrix::getMinInColumn(): invalid column.");
    // The row variants deliberately use the column variant's name.
    EXPECT_EQ(failure([&] { (void)m.getMinInRow(2); }), "Matrix::getMinInColumn(): invalid rows.");
    EXPECT_EQ(failure([&] { (void)m.getMaxInRow(2); }), "Matrix::getMinInColumn(): invalid rows.");
    EXPECT_EQ(failure([&] { m.sortByColumn(3); }), "Matrix::sortByColumn(): invalid column.");
    EXPECT_EQ(failure([&] { (void)other.toStdVectorVectorXYZW(); }),
              "Matrix::toStdVectorVectorXYZW(): matrix must have three columns.");
    EXPECT_EQ(std::vector<double>(m.getData(), m.getData() + 6), (std::vector<double>{1.0, 2.0, 3.0, 4.0, 5.0, 6.0}));
    EXPECT_EQ(guard.recorder->reports.size(), 27u);
}
