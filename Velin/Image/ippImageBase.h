#pragma once

#include <Velin/Image/IppTypes.h>

namespace Orvan {
namespace Ipp {

/// Common fields of the detector's images: a buffer of `height` rows padded to `step` bytes (a multiple of
/// 32), allocated through the primitives. A width of -1 means "not yet allocated".
class ippImageBase {
public:
    ippImageBase() = default;
    ippImageBase(const ippImageBase&) = delete;
    ippImageBase& operator=(const ippImageBase&) = delete;
    virtual ~ippImageBase() = default;

    virtual void allocate(int width, int height) = 0;

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    int getStep() const { return step; }
    bool getOwnsData() const { return ownsData; }
    IppiSize getSize() const { return IppiSize{width, height}; }
    IppiSize getRoiSize(int border) const { return IppiSize{width - 2 * border, height - 2 * border}; }

    // Fields are public, as the detector and the primitives read them directly.
    int width = -1;
    int height = -1;
    int step = -1;
    bool ownsData = true;
};

}  // namespace Ipp
}  // namespace Orvan
