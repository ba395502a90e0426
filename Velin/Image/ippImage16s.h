#pragma once

#include <Velin/Image/ippImageBase.h>

namespace Orvan {
namespace Ipp {

class ippImage16s : public ippImageBase {
public:
    ippImage16s() = default;
    ~ippImage16s() override;

    void allocate(int width, int height) override;
    /// Wraps a caller's buffer; the row table is left as it is. The destructor frees it all the same.
    void attach(Ipp16s* data, int width, int height, int step);

    Ipp16s* getData() const { return data; }
    Ipp16s* getRow(int y) const { return rows[y]; }
    /// Address of pixel (x, y), computed from data and step (not from the row table).
    Ipp16s* getPixel(int x, int y) const;
    /// First pixel of the interior that lies `border` pixels inside every edge.
    Ipp16s* getRoiOrigin(int border) const { return getPixel(border, border); }
    /// Copies a region of this image's own size from `other`. When the sizes differ this image is
    /// re-allocated at its own current size (not `other`'s): it keeps its size.
    ippImage16s& copyFrom(const ippImage16s& other);
    ippImage16s(int width, int height);
    void fill(Ipp16s value);

    Ipp16s* data = nullptr;
    Ipp16s** rows = nullptr;
};

}  // namespace Ipp
}  // namespace Orvan
