#pragma once

#include <cstdint>

namespace Orvan {
namespace MathPackage {

class Matrix;

/// Dense vector of doubles. Size checks of the arithmetic report through the process-wide exception
/// handler and then throw std::invalid_argument; element access is unchecked.
class VectorN {
public:
    VectorN();
    explicit VectorN(std::uint32_t size);  ///< size elements, all 0.0
    VectorN(double x, double y, double z);
    VectorN(double x, double y, double z, double w);
    VectorN(const VectorN& other);
    VectorN& operator=(const VectorN& other);
    virtual ~VectorN();

    std::uint32_t getSize() const { return size; }
    double& operator[](std::uint32_t i) { return data[i]; }
    double operator[](std::uint32_t i) const { return data[i]; }
    const double* getData() const { return data; }

    /// Re-sizes to three (four) elements and sets them; the buffer is reused when the size already matches.
    void set(double x, double y, double z);
    void set(double x, double y, double z, double w);

    VectorN& operator+=(const VectorN& other);
    VectorN& operator-=(const VectorN& other);
    VectorN operator+(const VectorN& other) const;
    VectorN operator-(const VectorN& other) const;
    double operator*(const VectorN& other) const;  ///< dot product

    double norm() const;
    double angle(const VectorN& other) const;     ///< radians in [0, pi]
    double distance(const VectorN& other) const;

    /// Fills this vector, keeping its size, from column `column` of `m`, starting at row `firstRow`.
    void lread(const Matrix& m, std::uint32_t firstRow, std::uint32_t column);
    /// Elements first..last inclusive; empty when last < first.
    VectorN getIndexRange(std::uint32_t first, std::uint32_t last) const;

private:
    void reallocate(std::uint32_t newSize);

    std::uint32_t size;
    bool ownsData;
    double* data;
};

}  // namespace MathPackage
}  // namespace Orvan
