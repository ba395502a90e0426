#include <Velin/Image/ippImage8u.h>

#include <Velin/Image/IppPrimitives.h>

#include <cstdint>

namespace Orvan {
namespace Ipp {

ippImage8u::~ippImage8u() {
    // Released unconditionally: the detector never attaches a buffer it does not own.
    ippiFree(data);
    delete[] rows;
}

void ippImage8u::allocate(int w, int h) {
    width = w;
    height = h;
    data = ippiMalloc_8u_C1(w, h, &step);
    rows = new Ipp8u*[static_cast<std::size_t>(h)];
    for (int y = 0; y < h; ++y)
        rows[y] = data == nullptr ? nullptr : data + static_cast<std::int32_t>(static_cast<std::int64_t>(y) * step);
    ownsData = true;
}

void ippImage8u::attach(Ipp8u* d, int w, int h, int s) {
    data = d;
    width = w;
    height = h;
    step = s;
    ownsData = false;
}

Ipp8u* ippImage8u::getPixel(int x, int y) const {
    return data + static_cast<std::ptrdiff_t>(y) * step + x;
}

ippImage8u& ippImage8u::copyFrom(const ippImage8u& other) {
    if (width != other.width || height != other.height) {
        ippiFree(data);
        delete[] rows;
        data = nullptr;
        rows = nullptr;
        allocate(width, height);  // keeps its own size
    }
    ippiCopy_8u_C1R(other.data, other.step, data, step, getSize());
    return *this;
}

}  // namespace Ipp
}  // namespace Orvan
