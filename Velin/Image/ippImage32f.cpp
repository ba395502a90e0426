#include <Velin/Image/ippImage32f.h>

#include <Velin/Image/ImageStorage.h>

namespace Orvan {
namespace Ipp {

ippImage32f::~ippImage32f() { detail::releasePlane(*this); }

void ippImage32f::allocate(int w, int h) { detail::allocatePlane<detail::RowUnit::Byte>(*this, w, h); }

void ippImage32f::attach(Ipp32f* d, int w, int h, int s) { detail::attachPlane(*this, d, w, h, s); }

Ipp32f* ippImage32f::getPixel(int x, int y) const { return data + (static_cast<std::ptrdiff_t>(y) * step) / 4 + x; }

}  // namespace Ipp
}  // namespace Orvan
