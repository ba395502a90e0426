#pragma once

#include <Velin/Image/ippImageBase.h>

namespace Orvan {
namespace Ipp {

class ippImage8u : public ippImageBase {
public:
    ippImage8u() = default;
    ~ippImage8u() override;

    void allocate(int width, int height) override;
    /// Wraps a caller's buffer; the row table is left as it is. The destructor frees it all the same.
    void attach(Ipp8u* data, int width, int height, int step);

    Ipp8u* getData() const { return data; }
    Ipp8u* getRow(int y) const { return rows[y]; }
    /// Address of pixel (x, y), computed from data and step (not from the row table).
    Ipp8u* getPixel(int x, int y) const;
    /// First pixel of the interior that lies `border` pixels inside every edge.
    Ipp8u* getRoiOrigin(int border) const { return getPixel(border, border); }
    /// Copies a region of this image's own size from `other`. When the sizes differ this image is
    /// re-allocated at its own current size (not `other`'s): it keeps its size.
    ippImage8u& copyFrom(const ippImage8u& other);

    Ipp8u* data = nullptr;
    Ipp8u** rows = nullptr;
};

}  // namespace Ipp
}  // namespace Orvan
