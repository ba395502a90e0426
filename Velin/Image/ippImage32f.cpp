#include <Velin/Image/ippImage32f.h>

#include <Velin/Image/IppPrimitives.h>

#include <cstdint>

namespace Orvan {
namespace Ipp {

ippImage32f::~ippImage32f() {
    ippiFree(data);
    delete[] rows;
}

void ippImage32f::allocate(int w, int h) {
    width = w;
    height = h;
    data = ippiMalloc_32f_C1(w, h, &step);
    rows = new Ipp32f*[static_cast<std::size_t>(h)];
    for (int y = 0; y < h; ++y) {
        const std::int32_t offset = static_cast<std::int32_t>(static_cast<std::int64_t>(y) * step);
        rows[y] = data == nullptr ? nullptr : reinterpret_cast<Ipp32f*>(reinterpret_cast<Ipp8u*>(data) + offset);
    }
    ownsData = true;
}

void ippImage32f::attach(Ipp32f* d, int w, int h, int s) {
    data = d;
    width = w;
    height = h;
    step = s;
    ownsData = false;
}

Ipp32f* ippImage32f::getPixel(int x, int y) const {
    return data + (static_cast<std::ptrdiff_t>(y) * step) / 4 + x;
}

}  // namespace Ipp
}  // namespace Orvan
