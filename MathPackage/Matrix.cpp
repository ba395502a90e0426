#include <MathPackage/Matrix.h>

#include <FoundationPackage/Exceptions.h>
#include <FoundationPackage/FailureReport.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace Orvan {
namespace MathPackage {

namespace {

double* newBuffer(std::uint64_t n) {
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(double)) throw FoundationPackage::OutOfMemory();
    try {
        return new double[static_cast<std::size_t>(n)];
    } catch (const std::bad_alloc&) {
        throw FoundationPackage::OutOfMemory();
    }
}

// Minimum and maximum of a column or row with no elements have no value; NaN makes that visible to the
// caller instead of reading through a null buffer.
const double kNoElement = std::numeric_limits<double>::quiet_NaN();

void copyValues(double* to, const double* from, std::uint64_t n) {
    for (std::uint64_t i = 0; i < n; ++i) to[i] = from[i];
}

// Smallest (or largest) of at(0) .. at(count - 1). Only a strictly smaller (larger) value replaces the one
// held, so a leading NaN stays and later NaNs are passed over.
template <typename At>
double extremum(std::uint32_t count, bool largest, At at) {
    if (count == 0) return kNoElement;
    double result = at(0);
    for (std::uint32_t i = 1; i < count; ++i) {
        const double v = at(i);
        if (largest ? v > result : result > v) result = v;
    }
    return result;
}

}  // namespace

Matrix::Matrix() : columns(0), rows(0), ownsData(false), data(nullptr) {}

Matrix::Matrix(std::uint32_t rows_, std::uint32_t columns_) : columns(0), rows(0), ownsData(false), data(nullptr) {
    resize(rows_, columns_);
}

Matrix::Matrix(std::uint32_t rows_, std::uint32_t columns_, const std::vector<double>& values)
    : columns(0), rows(0), ownsData(false), data(nullptr) {
    if (values.size() != std::uint64_t(rows_) * columns_)
        VELIN_INVALID_ARGUMENT("Matrix::Matrix(): vector has wrong size.");
    allocate(rows_, columns_);
    for (std::size_t i = 0; i < values.size(); ++i) data[i] = values[i];
}

Matrix::Matrix(const std::vector<PointXYZW>& points, std::uint32_t columns_)
    : columns(0), rows(0), ownsData(false), data(nullptr) {
    if (columns_ == 0 || columns_ > 4) VELIN_INVALID_ARGUMENT("Matrix::Matrix(): invalid size.");
    allocate(static_cast<std::uint32_t>(points.size()), columns_);
    for (std::uint32_t r = 0; r < rows; ++r) {
        for (std::uint32_t c = 0; c < columns; ++c) (*this)(r, c) = points[r][c];
    }
}

Matrix::Matrix(const Matrix& other) : columns(0), rows(0), ownsData(false), data(nullptr) {
    allocate(other.rows, other.columns);
    copyValues(data, other.data, std::uint64_t(rows) * columns);
}

Matrix& Matrix::operator=(const Matrix& other) {
    // Allocation frees the old buffer, which on self-assignment is the source.
    if (this == &other) return *this;
    allocate(other.rows, other.columns);
    copyValues(data, other.data, std::uint64_t(rows) * columns);
    return *this;
}

Matrix::~Matrix() {
    if (ownsData) delete[] data;
    data = nullptr;
}

void Matrix::allocate(std::uint32_t newRows, std::uint32_t newColumns) {
    const std::uint64_t n = std::uint64_t(newRows) * newColumns;
    double* fresh = n != 0 ? newBuffer(n) : nullptr;
    if (ownsData) delete[] data;
    data = fresh;
    ownsData = fresh != nullptr;
    rows = newRows;
    columns = newColumns;
}

void Matrix::resize(std::uint32_t newRows, std::uint32_t newColumns) {
    allocate(newRows, newColumns);
    const std::uint64_t n = std::uint64_t(rows) * columns;
    for (std::uint64_t i = 0; i < n; ++i) data[i] = 0.0;
}

VectorN Matrix::getRow(std::uint32_t row) const {
    if (row >= rows) VELIN_INVALID_ARGUMENT("Matrix::getRow(): invalid row.");
    VectorN result(columns);
    for (std::uint32_t c = 0; c < columns; ++c) result[c] = (*this)(row, c);
    return result;
}

void Matrix::setRow(std::uint32_t row, const VectorN& v) {
    if (row >= rows) VELIN_INVALID_ARGUMENT("Matrix::setRow(): invalid row.");
    if (v.getSize() != columns) VELIN_INVALID_ARGUMENT("Matrix::setRow(): vector has wrong number of elements.");
    for (std::uint32_t c = 0; c < columns; ++c) (*this)(row, c) = v[c];
}

VectorN Matrix::getColumn(std::uint32_t column) const {
    if (column >= columns) VELIN_INVALID_ARGUMENT("Matrix::getColumn(): invalid column.");
    VectorN result(rows);
    for (std::uint32_t r = 0; r < rows; ++r) result[r] = (*this)(r, column);
    return result;
}

void Matrix::setColumn(std::uint32_t column, const VectorN& v) {
    if (column >= columns) VELIN_INVALID_ARGUMENT("Matrix::setColumn(): invalid column.");
    if (v.getSize() != rows) VELIN_INVALID_ARGUMENT("Matrix::setColumn(): vector has wrong number of elements.");
    for (std::uint32_t r = 0; r < rows; ++r) (*this)(r, column) = v[r];
}

Matrix& Matrix::operator+=(const Matrix& other) {
    if (other.rows != rows || other.columns != columns)
        VELIN_INVALID_ARGUMENT("Matrix::operator+=(): matrix sizes do not match.");
    const std::uint64_t n = std::uint64_t(rows) * columns;
    for (std::uint64_t i = 0; i < n; ++i) data[i] += other.data[i];
    return *this;
}

Matrix& Matrix::operator-=(const Matrix& other) {
    if (other.rows != rows || other.columns != columns)
        VELIN_INVALID_ARGUMENT("Matrix::operator-=(): matrix sizes do not match.");
    const std::uint64_t n = std::uint64_t(rows) * columns;
    for (std::uint64_t i = 0; i < n; ++i) data[i] -= other.data[i];
    return *this;
}

Matrix Matrix::operator+(const Matrix& other) const {
    if (other.rows != rows || other.columns != columns)
        VELIN_INVALID_ARGUMENT("Matrix::operator+(): matrix sizes do not match.");
    Matrix result(*this);
    result += other;
    return result;
}

Matrix Matrix::operator-(const Matrix& other) const {
    if (other.rows != rows || other.columns != columns)
        VELIN_INVALID_ARGUMENT("Matrix::operator-(): matrix sizes do not match.");
    Matrix result(*this);
    result -= other;
    return result;
}

Matrix Matrix::operator*(const Matrix& other) const {
    if (columns != other.rows) VELIN_INVALID_ARGUMENT("Matrix::operator*(): matrix sizes do not match.");
    Matrix result(rows, other.columns);
    for (std::uint32_t c = 0; c < other.columns; ++c) {
        for (std::uint32_t r = 0; r < rows; ++r) {
            double sum = 0.0;
            for (std::uint32_t k = 0; k < columns; ++k) sum += (*this)(r, k) * other(k, c);
            result(r, c) = sum;
        }
    }
    return result;
}

void Matrix::cut(const Matrix& source, std::uint32_t column, std::uint32_t row) {
    if (std::uint64_t(row) + rows > source.rows || std::uint64_t(column) + columns > source.columns)
        VELIN_INVALID_ARGUMENT("Matrix::cut(): matrix, column and/or row too large.");
    for (std::uint32_t c = 0; c < columns; ++c) {
        for (std::uint32_t r = 0; r < rows; ++r) (*this)(r, c) = source(row + r, column + c);
    }
}

void Matrix::copy(const Matrix& source, std::uint32_t column, std::uint32_t row) {
    if (std::uint64_t(row) + source.rows > rows || std::uint64_t(column) + source.columns > columns)
        VELIN_INVALID_ARGUMENT("Matrix::copy(): matrix, column and/or row too large.");
    for (std::uint32_t c = 0; c < source.columns; ++c) {
        for (std::uint32_t r = 0; r < source.rows; ++r) (*this)(row + r, column + c) = source(r, c);
    }
}

// The vector copies require the anchor itself to lie inside the matrix, even for an empty vector, so that a
// wrong anchor shows up regardless of the data.
void Matrix::lcopy(const VectorN& v, std::uint32_t column, std::uint32_t row) {
    if (column >= columns || row >= rows || std::uint64_t(row) + v.getSize() > rows)
        VELIN_INVALID_ARGUMENT("Matrix::lcopy(): vector, column and/or row too large.");
    for (std::uint32_t i = 0; i < v.getSize(); ++i) (*this)(row + i, column) = v[i];
}

void Matrix::qcopy(const VectorN& v, std::uint32_t column, std::uint32_t row) {
    if (row >= rows || column >= columns || std::uint64_t(column) + v.getSize() > columns)
        VELIN_INVALID_ARGUMENT("Matrix::qcopy(): vector, column and/or row too large.");
    for (std::uint32_t i = 0; i < v.getSize(); ++i) (*this)(row, column + i) = v[i];
}

void Matrix::swapColumn(std::uint32_t a, std::uint32_t b) {
    if (a >= columns || b >= columns) VELIN_INVALID_ARGUMENT("Matrix::swapColumn(): invalid columns.");
    if (a == b) return;
    for (std::uint32_t r = 0; r < rows; ++r) {
        const double t = (*this)(r, a);
        (*this)(r, a) = (*this)(r, b);
        (*this)(r, b) = t;
    }
}

void Matrix::copyColumn(const Matrix& source, std::uint32_t sourceColumn, std::uint32_t destinationColumn) {
    if (source.rows != rows) VELIN_INVALID_ARGUMENT("Matrix::copyColumn(): source matrix has wrong number of rows.");
    if (sourceColumn >= source.columns) VELIN_INVALID_ARGUMENT("Matrix::copyColumn(): invalid source column.");
    if (destinationColumn >= columns) VELIN_INVALID_ARGUMENT("Matrix::copyColumn(): invalid destination column.");
    for (std::uint32_t r = 0; r < rows; ++r) (*this)(r, destinationColumn) = source(r, sourceColumn);
}

double Matrix::getMinInColumn(std::uint32_t column) const {
    if (column >= columns) VELIN_INVALID_ARGUMENT("Matrix::getMinInColumn(): invalid column.");
    return extremum(rows, false, [&](std::uint32_t r) { return (*this)(r, column); });
}

double Matrix::getMaxInColumn(std::uint32_t column) const {
    if (column >= columns) VELIN_INVALID_ARGUMENT("Matrix::getMinInColumn(): invalid column.");
    return extremum(rows, true, [&](std::uint32_t r) { return (*this)(r, column); });
}

// The row variants deliberately share the column variant's message text ("...getMinInColumn(): invalid
// rows."); hosts match on it.
double Matrix::getMinInRow(std::uint32_t row) const {
    if (row >= rows) VELIN_INVALID_ARGUMENT("Matrix::getMinInColumn(): invalid rows.");
    return extremum(columns, false, [&](std::uint32_t c) { return (*this)(row, c); });
}

double Matrix::getMaxInRow(std::uint32_t row) const {
    if (row >= rows) VELIN_INVALID_ARGUMENT("Matrix::getMinInColumn(): invalid rows.");
    return extremum(columns, true, [&](std::uint32_t c) { return (*this)(row, c); });
}

void Matrix::sortByColumn(std::uint32_t column) {
    if (column >= columns) VELIN_INVALID_ARGUMENT("Matrix::sortByColumn(): invalid column.");
    if (rows < 2) return;

    // Places `placed` at `hole` and sifts it down a max-heap of `heapSize` rows. The right child wins only
    // when strictly larger, and the sift stops at the first child that is not strictly larger than the key;
    // both rules fix which of several equal keys ends where.
    auto siftDown = [this, column](std::uint32_t hole, std::uint32_t heapSize, const VectorN& placed) {
        const double key = placed[column];
        std::uint64_t child = 2 * std::uint64_t(hole) + 1;
        while (child < heapSize) {
            std::uint32_t chosen = static_cast<std::uint32_t>(child);
            if (child + 1 < heapSize && (*this)(chosen + 1, column) > (*this)(chosen, column)) ++chosen;
            if (!((*this)(chosen, column) > key)) break;
            setRow(hole, getRow(chosen));
            hole = chosen;
            child = 2 * std::uint64_t(hole) + 1;
        }
        setRow(hole, placed);
    };

    for (std::uint32_t start = rows / 2; start-- > 0;) siftDown(start, rows, getRow(start));
    for (std::uint32_t end = rows - 1; end > 0; --end) {
        const VectorN last = getRow(end);
        setRow(end, getRow(0));
        siftDown(0, end, last);
    }
}

std::vector<PointXYZW> Matrix::toStdVectorVectorXYZW() const {
    if (columns != 3) VELIN_INVALID_ARGUMENT("Matrix::toStdVectorVectorXYZW(): matrix must have three columns.");
    std::vector<PointXYZW> points;
    points.reserve(rows);
    for (std::uint32_t r = 0; r < rows; ++r) {
        const VectorN row = getRow(r);
        points.push_back(PointXYZW{row[0], row[1], row[2], 1.0});
    }
    return points;
}

}  // namespace MathPackage
}  // namespace Orvan
