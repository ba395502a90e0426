#include <Velin/Image/ippImage8u.h>

#include <Velin/Image/ImageStorage.h>

namespace Orvan {
namespace Ipp {

ippImage8u::~ippImage8u() { detail::releasePlane(*this); }

void ippImage8u::allocate(int w, int h) { detail::allocatePlane<detail::RowUnit::Byte>(*this, w, h); }

void ippImage8u::attach(Ipp8u* d, int w, int h, int s) { detail::attachPlane(*this, d, w, h, s); }

Ipp8u* ippImage8u::getPixel(int x, int y) const { return data + static_cast<std::ptrdiff_t>(y) * step + x; }

ippImage8u& ippImage8u::copyFrom(const ippImage8u& other) {
    return detail::copyKeepingSize(*this, other, ippiCopy_8u_C1R);
}

}  // namespace Ipp
}  // namespace Orvan
