#include <Velin/Entry/ShortPlane.h>

#include <cstddef>

namespace Orvan {
namespace Velin {

ShortPlane::ShortPlane(std::int32_t rows, std::int32_t columns) : rowCount(rows), columnCount(columns) {
    if (rows <= 0 || columns <= 0) return;
    const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
    block = new std::int16_t[count]();
    try {
        rowTable = new std::int16_t*[static_cast<std::size_t>(rows)];
    } catch (...) {
        delete[] block;
        throw;
    }
    for (std::int32_t r = 0; r < rows; ++r) rowTable[r] = block + static_cast<std::size_t>(r) * columns;
}

ShortPlane::~ShortPlane() {
    delete[] block;
    delete[] rowTable;
}

void ShortPlane::fill(std::int16_t value) {
    fillValue = value;
    if (block == nullptr) return;
    const std::size_t count = static_cast<std::size_t>(rowCount) * static_cast<std::size_t>(columnCount);
    for (std::size_t i = 0; i < count; ++i) block[i] = value;
}

}  // namespace Velin
}  // namespace Orvan
