#pragma once

#include <cstdint>

namespace Orvan {
namespace Velin {

/// A rows x columns array of 16-bit values in one contiguous block, addressed through a row table. The
/// entry builds its four output planes in these before copying them to the caller.
class ShortPlane {
public:
    /// Zero-filled when both counts are positive; otherwise the plane holds no storage.
    ShortPlane(std::int32_t rows, std::int32_t columns);
    ShortPlane(const ShortPlane&) = delete;
    ShortPlane& operator=(const ShortPlane&) = delete;
    ~ShortPlane();

    /// Sets every element to `value` and remembers it as the fill value.
    void fill(std::int16_t value);

    std::int16_t* operator[](std::int32_t row) { return rowTable[row]; }
    const std::int16_t* operator[](std::int32_t row) const { return rowTable[row]; }

    std::int32_t getRowCount() const { return rowCount; }
    std::int32_t getColumnCount() const { return columnCount; }
    std::int16_t getFillValue() const { return fillValue; }

private:
    std::int32_t rowCount;
    std::int32_t columnCount;
    std::int32_t reserved = 0;  ///< always 0; keeps the layout of the plane header fixed
    std::int16_t** rowTable = nullptr;
    std::int16_t* block = nullptr;
    std::int16_t fillValue = 0;
};

}  // namespace Velin
}  // namespace Orvan
