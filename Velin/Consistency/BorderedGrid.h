#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {

/// Float grid with a frame of `border` cells on every side, row by row in one contiguous block. The final
/// volume pass keeps one boundary surface in it: one row per B-scan, one column per A-scan, the interior
/// starting at [border][border].
class BorderedGrid {
public:
    /// All cells 0.0.
    BorderedGrid(std::int32_t rows, std::int32_t columns, std::int32_t border);

    std::int32_t getRows() const { return rows; }
    std::int32_t getColumns() const { return columns; }
    std::int32_t getBorder() const { return border; }
    /// 0.0 when created, 1.0 once replicateBorder() has run.
    float getBorderFilled() const { return borderFilled; }

    /// Unchecked; for loops bounded by the grid's own extents.
    float* operator[](std::int32_t row) { return cells.data() + static_cast<std::size_t>(row) * columns; }
    const float* operator[](std::int32_t row) const { return cells.data() + static_cast<std::size_t>(row) * columns; }
    /// Checked; for indices that come from point data.
    float& at(std::int32_t row, std::int32_t column);

    /// Copies the edge of the interior outward into the frame: first the top and bottom rows (interior
    /// columns only), then the left and right columns of every row, which fills the corners.
    void replicateBorder();

private:
    std::int32_t rows;
    std::int32_t columns;
    std::int32_t border;
    std::vector<float> cells;
    float borderFilled = 0.0f;
};

/// Closes gaps of a surface: every interior cell whose value in `raw` is exactly 0.0 takes, in `filled`, the
/// first non-zero `raw` value of its 7 x 7 neighbourhood, searched row by row from the top and left to right
/// within a row. Only raw values are searched, so a filled cell never feeds another one.
void fillSurfaceGaps(const BorderedGrid& raw, BorderedGrid& filled);

/// Explicit heat-equation smoothing: `surface` becomes `filled` diffused `iterations` times with the five-
/// point Laplacian and step `rate`. Does nothing unless both grids have the same shape and a positive border.
void diffuseSurface(const BorderedGrid& filled, BorderedGrid& surface, int iterations, double rate);

}  // namespace Velin
}  // namespace Orvan
