#pragma once

// Values over a band of depths that differs from A-scan to A-scan: column a holds rows first(a) to
// first(a) + count(a) - 1, one float each, stored one column after the other.

#include <cstddef>
#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

class BandImage {
public:
    /// Lays out `first.size()` columns; column a spans rows first[a] .. first[a] + count[a] - 1 (count 0 =
    /// no rows). Values start at 0. The storage is kept when the layout shrinks, so a reused image does not
    /// allocate again.
    void layout(const std::vector<int>& first, const std::vector<int>& count);

    int columns() const { return static_cast<int>(first_.size()); }
    int first(int column) const { return first_[static_cast<std::size_t>(column)]; }
    int count(int column) const { return count_[static_cast<std::size_t>(column)]; }
    /// One past the last row of the column.
    int end(int column) const { return first(column) + count(column); }
    bool contains(int column, int row) const { return row >= first(column) && row < end(column); }

    /// The column's values; element i belongs to row first(column) + i.
    float* column(int column) { return values_.data() + offset_[static_cast<std::size_t>(column)]; }
    const float* column(int column) const { return values_.data() + offset_[static_cast<std::size_t>(column)]; }
    float at(int a, int row) const { return column(a)[row - first(a)]; }

private:
    std::vector<int> first_;
    std::vector<int> count_;
    std::vector<std::size_t> offset_;
    std::vector<float> values_;
};

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
