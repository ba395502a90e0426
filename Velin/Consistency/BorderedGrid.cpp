#include <Velin/Consistency/BorderedGrid.h>

#include <Velin/CheckedList.h>

namespace Orvan {
namespace Velin {

namespace {

const std::int32_t kGapSearchRadius = 3;

}  // namespace

BorderedGrid::BorderedGrid(std::int32_t rows_, std::int32_t columns_, std::int32_t border_)
    : rows(rows_), columns(columns_), border(border_), cells(static_cast<std::size_t>(rows_) * columns_, 0.0f) {}

float& BorderedGrid::at(std::int32_t row, std::int32_t column) {
    if (row < 0 || row >= rows) failListIndex(static_cast<std::size_t>(row), static_cast<std::size_t>(rows));
    if (column < 0 || column >= columns)
        failListIndex(static_cast<std::size_t>(column), static_cast<std::size_t>(columns));
    return (*this)[row][column];
}

void BorderedGrid::replicateBorder() {
    if (border <= 0) return;
    BorderedGrid& g = *this;
    const std::int32_t w = border;
    for (std::int32_t r = 0; r < w; ++r) {
        for (std::int32_t c = w; c < columns - w; ++c) g[r][c] = g[w][c];
    }
    for (std::int32_t r = rows - w; r < rows; ++r) {
        for (std::int32_t c = w; c < columns - w; ++c) g[r][c] = g[rows - w - 1][c];
    }
    for (std::int32_t r = 0; r < rows; ++r) {
        for (std::int32_t c = 0; c < w; ++c) g[r][c] = g[r][w];
        for (std::int32_t c = columns - w; c < columns; ++c) g[r][c] = g[r][columns - w - 1];
    }
    borderFilled = 1.0f;
}

void fillSurfaceGaps(const BorderedGrid& raw, BorderedGrid& filled) {
    const std::int32_t w = raw.getBorder();
    for (std::int32_t r = w; r < raw.getRows() - w; ++r) {
        for (std::int32_t c = w; c < raw.getColumns() - w; ++c) {
            if (raw[r][c] != 0.0f) continue;
            bool found = false;
            for (std::int32_t sr = r - kGapSearchRadius; sr <= r + kGapSearchRadius && !found; ++sr) {
                for (std::int32_t sc = c - kGapSearchRadius; sc <= c + kGapSearchRadius; ++sc) {
                    if (raw[sr][sc] != 0.0f) {
                        filled[r][c] = raw[sr][sc];
                        found = true;
                        break;
                    }
                }
            }
        }
    }
}

void diffuseSurface(const BorderedGrid& filled, BorderedGrid& surface, int iterations, double rate) {
    if (filled.getRows() != surface.getRows() || filled.getColumns() != surface.getColumns() ||
        filled.getBorder() != surface.getBorder() || filled.getBorder() <= 0)
        return;
    surface = filled;
    surface.replicateBorder();
    BorderedGrid update(surface.getRows(), surface.getColumns(), surface.getBorder());

    const std::int32_t w = surface.getBorder();
    const std::int32_t lastRow = surface.getRows() - w;
    const std::int32_t lastColumn = surface.getColumns() - w;
    for (int i = 0; i < iterations; ++i) {
        // All updates of one step come from the surface as it was before the step.
        for (std::int32_t r = w; r < lastRow; ++r) {
            for (std::int32_t c = w; c < lastColumn; ++c) {
                const float neighbours = surface[r][c - 1] + surface[r][c + 1] + surface[r + 1][c] + surface[r - 1][c];
                update[r][c] = static_cast<float>((neighbours - 4.0 * surface[r][c]) * rate);
            }
        }
        for (std::int32_t r = w; r < lastRow; ++r) {
            for (std::int32_t c = w; c < lastColumn; ++c) surface[r][c] += update[r][c];
        }
        // A replicated frame means no heat flows out across the volume's edges.
        surface.replicateBorder();
    }
}

}  // namespace Velin
}  // namespace Orvan
