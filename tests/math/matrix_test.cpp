#include "foundation/HandlerGuard.h"
#include "math/ThrowCheck.h"

#include <MathPackage/Matrix.h>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>

using Orvan::MathPackage::Matrix;
using Orvan::MathPackage::PointXYZW;
using Orvan::MathPackage::VectorN;

namespace {

template <typename Action>
std::string failure(Action action) {
    return failureMessage(action, "Matrix.cpp");
}

// Rows (key, tag, 10 * tag), so that a moved row can be followed.
Matrix sortedTags(const std::vector<double>& keys) {
    Matrix m(static_cast<std::uint32_t>(keys.size()), 3);
    for (std::uint32_t r = 0; r < keys.size(); ++r) m.setRow(r, VectorN(keys[r], r, r * 10.0));
    m.sortByColumn(0);
    for (std::uint32_t r = 0; r < m.getRowCount(); ++r) {
        EXPECT_EQ(m(r, 0), keys[static_cast<int>(m(r, 1))]) << "row torn apart";
        EXPECT_EQ(m(r, 2), 10.0 * m(r, 1)) << "row torn apart";
    }
    return m;
}

std::vector<int> tagsOf(const Matrix& m) {
    std::vector<int> tags;
    for (std::uint32_t r = 0; r < m.getRowCount(); ++r) tags.push_back(static_cast<int>(m(r, 1)));
    return tags;
}

}  // namespace

TEST(MatrixStorage, ColumnMajorFreshBuffersAndEmptyShapes) {
    Matrix m(2, 3, {1.0, 2.0, 3.0, 4.0, 5.0, 6.0});
    EXPECT_EQ(m(1, 2), 6.0);
    m(1, 2) = 7.0;
    EXPECT_EQ(m.getData()[2 * 2 + 1], 7.0);

    Matrix copy;
    copy = m;
    m(0, 0) = 99.0;
    EXPECT_EQ(copy(0, 0), 1.0);
    const double* before = m.getData();
    m.resize(2, 3);
    EXPECT_NE(m.getData(), before);
    EXPECT_EQ(m(0, 0), 0.0);

    copy = Matrix(0, 3);
    EXPECT_EQ(copy.getData(), nullptr);
    EXPECT_EQ(copy.getColumnCount(), 3u);
    EXPECT_EQ(failure([&] { (void)copy.getRow(0); }), "Matrix::getRow(): invalid row.");
}

TEST(MatrixOperations, RowsColumnsBlocksAndProduct) {
    Matrix m(3, 3);
    m.setRow(2, VectorN(1.0, 2.0, 3.0));
    m.setColumn(0, VectorN(7.0, 8.0, 9.0));
    EXPECT_EQ(m.getRow(2)[1], 2.0);
    EXPECT_EQ(m.getColumn(0)[2], 9.0);
    m.swapColumn(0, 2);
    EXPECT_EQ(m(2, 0), 3.0);
    m.copyColumn(Matrix(3, 1, {4.0, 5.0, 6.0}), 0, 1);
    EXPECT_EQ(m(1, 1), 5.0);
    EXPECT_EQ(m.getMinInColumn(1), 4.0);
    EXPECT_EQ(m.getMaxInRow(2), 9.0);

    Matrix block(2, 2);
    block.cut(m, 1, 1);  // rows 1-2, columns 1-2
    EXPECT_EQ(block(1, 0), 6.0);
    m.copy(block, 0, 0);
    EXPECT_EQ(m(1, 0), 6.0);
    VectorN two(2);
    two[1] = 2.0;
    m.lcopy(two, 2, 1);
    EXPECT_EQ(m(2, 2), 2.0);
    m.qcopy(two, 1, 0);
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
    EXPECT_EQ(tagsOf(sortedTags({3.0, 1.0, 2.0})), (std::vector<int>{1, 2, 0}));
    EXPECT_EQ(tagsOf(sortedTags({5.0})), (std::vector<int>{0}));
    // Worked by hand: equal keys end where the two strict comparisons of the sift put them.
    EXPECT_EQ(tagsOf(sortedTags({1.0, 1.0, 0.0})), (std::vector<int>{2, 1, 0}));
    EXPECT_EQ(tagsOf(sortedTags({0.0, 5.0, 5.0})), (std::vector<int>{0, 2, 1}));

    std::mt19937 random(7);
    for (int n = 2; n < 40; ++n) {
        std::vector<double> keys(n);
        for (double& k : keys) k = static_cast<double>(random() % 10);
        const Matrix m = sortedTags(keys);
        std::vector<int> tags = tagsOf(m);
        std::sort(keys.begin(), keys.end());
        EXPECT_EQ(m.getColumn(0)[n - 1], keys.back());
        for (int i = 1; i < n; ++i) EXPECT_LE(m(i - 1, 0), m(i, 0)) << "n = " << n;
        std::sort(tags.begin(), tags.end());
        for (int i = 0; i < n; ++i) ASSERT_EQ(tags[i], i) << "row lost or doubled, n = " << n;
    }
}

TEST(MatrixFailures, EachCheckHasItsMessageAndLeavesTheMatrixUnchanged) {
    Matrix m(2, 3, {1.0, 2.0, 3.0, 4.0, 5.0, 6.0});
    const Matrix other(3, 2);
    const VectorN three(0.0, 0.0, 0.0), four(0.0, 0.0, 0.0, 0.0);
    const std::vector<PointXYZW> points(2);
    const std::string sizes = "(): matrix sizes do not match.", fit = "(): matrix, column and/or row too large.";
    EXPECT_EQ(failure([] { Matrix(2, 3, {1.0}); }), "Matrix::Matrix(): vector has wrong size.");
    EXPECT_EQ(failure([&] { Matrix(points, 0); }), "Matrix::Matrix(): invalid size.");
    EXPECT_EQ(failure([&] { Matrix(points, 5); }), "Matrix::Matrix(): invalid size.");
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
}

TEST(MatrixFailures, HandlerSeesTheTextWithTheLineOfTheFailingCheck) {
    const auto recorder = boost::make_shared<RecordingHandler>();
    HandlerGuard guard(recorder);
    std::ifstream source(std::string(VELIN_SOURCE_DIR) + "/MathPackage/Matrix.cpp");
    std::string text;
    int line = 0, checkLine = 0;
    while (std::getline(source, text))
        if (++line, text.find("\"Matrix::getRow(): invalid row.\"") != std::string::npos) checkLine = line;
    ASSERT_NE(checkLine, 0);
    try {
        (void)Matrix(1, 1).getRow(1);
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& e) {
        const std::string what = e.what();
        EXPECT_EQ(what.substr(what.rfind(", line: ")), ", line: " + std::to_string(checkLine) + ")");
        EXPECT_EQ(recorder->messages, std::vector<std::string>{what});
    }
}
