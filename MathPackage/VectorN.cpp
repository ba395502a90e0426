#include <MathPackage/VectorN.h>

#include <MathPackage/Matrix.h>

#include <FoundationPackage/Exceptions.h>
#include <FoundationPackage/FailureReport.h>

#include <cmath>
#include <cstdint>
#include <new>

namespace Orvan {
namespace MathPackage {

namespace {

const double kMachineEpsilon = 2.220446049250313e-16;
const double kPi = 3.141592653589793;

double* newBuffer(std::uint32_t n) {
    try {
        return new double[n];
    } catch (const std::bad_alloc&) {
        throw FoundationPackage::OutOfMemory();
    }
}

}  // namespace

VectorN::VectorN() : size(0), ownsData(false), data(nullptr) {}

VectorN::VectorN(std::uint32_t n) : size(0), ownsData(false), data(nullptr) {
    reallocate(n);
    for (std::uint32_t i = 0; i < size; ++i) data[i] = 0.0;
}

VectorN::VectorN(double x, double y, double z) : size(0), ownsData(false), data(nullptr) { set(x, y, z); }

VectorN::VectorN(double x, double y, double z, double w) : size(0), ownsData(false), data(nullptr) { set(x, y, z, w); }

VectorN::VectorN(const VectorN& other) : size(0), ownsData(false), data(nullptr) {
    reallocate(other.size);
    for (std::uint32_t i = 0; i < size; ++i) data[i] = other.data[i];
}

VectorN& VectorN::operator=(const VectorN& other) {
    if (this != &other) {
        reallocate(other.size);
        for (std::uint32_t i = 0; i < size; ++i) data[i] = other.data[i];
    }
    return *this;
}

VectorN::~VectorN() {
    if (ownsData) delete[] data;
    data = nullptr;
}

void VectorN::reallocate(std::uint32_t newSize) {
    // Point records are rewritten many times with the same length; keeping the buffer avoids an
    // allocation per point.
    if (newSize == size) return;
    double* fresh = newSize != 0 ? newBuffer(newSize) : nullptr;
    if (ownsData) delete[] data;
    data = fresh;
    size = newSize;
    ownsData = fresh != nullptr;
}

void VectorN::set(double x, double y, double z) {
    reallocate(3);
    data[0] = x;
    data[1] = y;
    data[2] = z;
}

void VectorN::set(double x, double y, double z, double w) {
    reallocate(4);
    data[0] = x;
    data[1] = y;
    data[2] = z;
    data[3] = w;
}

VectorN& VectorN::operator+=(const VectorN& other) {
    if (other.size != size) VELIN_INVALID_ARGUMENT("VectorN::operator+=(): vectors must have the same size.");
    for (std::uint32_t i = 0; i < size; ++i) data[i] += other.data[i];
    return *this;
}

VectorN& VectorN::operator-=(const VectorN& other) {
    if (other.size != size) VELIN_INVALID_ARGUMENT("VectorN::operator-=(): vectors must have the same size.");
    for (std::uint32_t i = 0; i < size; ++i) data[i] -= other.data[i];
    return *this;
}

VectorN VectorN::operator+(const VectorN& other) const {
    if (other.size != size) VELIN_INVALID_ARGUMENT("VectorN::operator+(): vectors must have the same size.");
    VectorN result(*this);
    for (std::uint32_t i = 0; i < size; ++i) result.data[i] += other.data[i];
    return result;
}

VectorN VectorN::operator-(const VectorN& other) const {
    if (other.size != size) VELIN_INVALID_ARGUMENT("VectorN::operator-(): vectors must have the same size.");
    VectorN result(*this);
    for (std::uint32_t i = 0; i < size; ++i) result.data[i] -= other.data[i];
    return result;
}

double VectorN::operator*(const VectorN& other) const {
    if (other.size != size) VELIN_INVALID_ARGUMENT("VectorN::operator*(): vectors must have the same size.");
    double sum = 0.0;
    for (std::uint32_t i = 0; i < size; ++i) sum += data[i] * other.data[i];
    return sum;
}

double VectorN::norm() const {
    double sum = 0.0;
    for (std::uint32_t i = 0; i < size; ++i) sum += data[i] * data[i];
    return std::sqrt(sum);
}

double VectorN::angle(const VectorN& other) const {
    if (other.size != size) VELIN_INVALID_ARGUMENT("VectorN::angle(): vectors must have the same size.");
    const double p = other.norm() * norm();
    if (p < kMachineEpsilon) return 0.0;
    const double x = (*this * other) / p;
    // Rounding can push the cosine of (anti)parallel vectors just outside [-1, 1].
    if (x <= -1.0) return kPi;
    if (x >= 1.0) return 0.0;
    return std::acos(x);
}

double VectorN::distance(const VectorN& other) const {
    if (other.size != size) VELIN_INVALID_ARGUMENT("VectorN::distance(): vectors must have the same size.");
    double sum = 0.0;
    for (std::uint32_t i = 0; i < size; ++i) {
        const double d = other.data[i] - data[i];
        sum += d * d;
    }
    return std::sqrt(sum);
}

void VectorN::lread(const Matrix& m, std::uint32_t firstRow, std::uint32_t column) {
    if (column >= m.getColumnCount()) VELIN_INVALID_ARGUMENT("VectorN::lread(): column out of range.");
    if (std::uint64_t(size) + firstRow > m.getRowCount()) VELIN_INVALID_ARGUMENT("VectorN::lread(): row out of range.");
    for (std::uint32_t i = 0; i < size; ++i) data[i] = m(firstRow + i, column);
}

VectorN VectorN::getIndexRange(std::uint32_t first, std::uint32_t last) const {
    if (last >= size) VELIN_INVALID_ARGUMENT("VectorN::getIndexRange(): maximum index must not exceed vector size.");
    if (last < first) return VectorN();
    VectorN result(last - first + 1);
    for (std::uint32_t i = first; i <= last; ++i) result.data[i - first] = data[i];
    return result;
}

}  // namespace MathPackage
}  // namespace Orvan
