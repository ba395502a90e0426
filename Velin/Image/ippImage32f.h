#pragma once

#include <Velin/Image/ippImageBase.h>

namespace Orvan {
namespace Ipp {

class ippImage32f : public ippImageBase {
public:
    ippImage32f() = default;
    ~ippImage32f() override;

    void allocate(int width, int height) override;
    /// Wraps a caller's buffer; the row table is left as it is. The destructor frees it all the same.
    void attach(Ipp32f* data, int width, int height, int step);

    Ipp32f* getData() const { return data; }
    Ipp32f* getRow(int y) const { return rows[y]; }
    /// Address of pixel (x, y), computed from data and step (not from the row table).
    Ipp32f* getPixel(int x, int y) const;
    /// First pixel of the interior that lies `border` pixels inside every edge.
    Ipp32f* getRoiOrigin(int border) const { return getPixel(border, border); }

    Ipp32f* data = nullptr;
    Ipp32f** rows = nullptr;
};

}  // namespace Ipp
}  // namespace Orvan
