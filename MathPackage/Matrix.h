#pragma once

#include <MathPackage/VectorN.h>

#include <array>
#include <cstdint>
#include <vector>

namespace Orvan {
namespace MathPackage {

/// A four-component point (x, y, z, w), as exchanged with toStdVectorVectorXYZW().
using PointXYZW = std::array<double, 4>;

/// Dense matrix of doubles, stored column by column: element (r, c) lies at c * rows + r.
/// Failed checks report through the process-wide exception handler and throw std::invalid_argument.
class Matrix {
public:
    Matrix();
    Matrix(std::uint32_t rows, std::uint32_t columns);  ///< all elements 0.0
    /// `values` in storage (column-major) order; exactly rows * columns of them.
    Matrix(std::uint32_t rows, std::uint32_t columns, const std::vector<double>& values);
    /// One row per point, holding its first `columns` components (1 to 4).
    Matrix(const std::vector<PointXYZW>& points, std::uint32_t columns);
    Matrix(const Matrix& other);
    Matrix& operator=(const Matrix& other);
    virtual ~Matrix();

    /// Re-sizes to rows x columns and zeroes every element; old contents are discarded.
    void resize(std::uint32_t rows, std::uint32_t columns);

    std::uint32_t getRowCount() const { return rows; }
    std::uint32_t getColumnCount() const { return columns; }
    double& operator()(std::uint32_t row, std::uint32_t column) { return data[column * rows + row]; }
    double operator()(std::uint32_t row, std::uint32_t column) const { return data[column * rows + row]; }
    const double* getData() const { return data; }

    VectorN getRow(std::uint32_t row) const;
    void setRow(std::uint32_t row, const VectorN& v);
    VectorN getColumn(std::uint32_t column) const;
    void setColumn(std::uint32_t column, const VectorN& v);

    Matrix& operator+=(const Matrix& other);
    Matrix& operator-=(const Matrix& other);
    Matrix operator+(const Matrix& other) const;
    Matrix operator-(const Matrix& other) const;
    Matrix operator*(const Matrix& other) const;

    /// Copies the block of `source` that starts at (row, column) into this matrix, which it must fill.
    void cut(const Matrix& source, std::uint32_t column, std::uint32_t row);
    /// Copies all of `source` into this matrix with its top-left corner at (row, column).
    void copy(const Matrix& source, std::uint32_t column, std::uint32_t row);
    /// Copies `v` into column `column`, starting at row `row`.
    void lcopy(const VectorN& v, std::uint32_t column, std::uint32_t row);
    /// Copies `v` into row `row`, starting at column `column`.
    void qcopy(const VectorN& v, std::uint32_t column, std::uint32_t row);

    void swapColumn(std::uint32_t a, std::uint32_t b);
    void copyColumn(const Matrix& source, std::uint32_t sourceColumn, std::uint32_t destinationColumn);

    double getMinInColumn(std::uint32_t column) const;
    double getMaxInColumn(std::uint32_t column) const;
    double getMinInRow(std::uint32_t row) const;
    double getMaxInRow(std::uint32_t row) const;

    /// Heap sort of whole rows so that column `column` ascends; not stable.
    void sortByColumn(std::uint32_t column);

    /// Three-column matrix to points (x, y, z, 1.0), one per row.
    std::vector<PointXYZW> toStdVectorVectorXYZW() const;

private:
    void allocate(std::uint32_t newRows, std::uint32_t newColumns);

    std::uint32_t columns;
    std::uint32_t rows;
    bool ownsData;
    double* data;
};

}  // namespace MathPackage
}  // namespace Orvan
