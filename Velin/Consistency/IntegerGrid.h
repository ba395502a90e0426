#pragma once

#include <Velin/CheckedList.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {

/// Zero-filled two-dimensional grid of 32-bit integers in one contiguous block, row by row. Used by the
/// cross-scan correction with one row per A-scan position and one column per B-scan, both padded by one cell.
class IntegerGrid {
public:
    IntegerGrid(std::int32_t rows_, std::int32_t columns_)
        : rows(rows_), columns(columns_), cells(static_cast<std::size_t>(rows_) * columns_, 0) {}

    std::int32_t getRows() const { return rows; }
    std::int32_t getColumns() const { return columns; }

    /// Indices come from point data, so a bad one is a fault like a bad list index, never a stray write.
    std::int32_t& at(std::int32_t row, std::int32_t column) {
        if (row < 0 || row >= rows) failListIndex(static_cast<std::size_t>(row), static_cast<std::size_t>(rows));
        if (column < 0 || column >= columns)
            failListIndex(static_cast<std::size_t>(column), static_cast<std::size_t>(columns));
        return cells[static_cast<std::size_t>(row) * columns + column];
    }

private:
    std::int32_t rows;
    std::int32_t columns;
    std::vector<std::int32_t> cells;
};

}  // namespace Velin
}  // namespace Orvan
