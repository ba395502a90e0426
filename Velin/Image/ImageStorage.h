#pragma once

// Buffer handling the three image classes share: allocation with its row table, wrapping a caller's
// buffer, release, and copying at the target's own size. Internal to the image library; each class keeps
// its own pixel addressing.

#include <Velin/Image/IppPrimitives.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Orvan {
namespace Ipp {
namespace detail {

template <typename Pixel>
Pixel* mallocPlane(int width, int height, int* step);
template <>
inline Ipp8u* mallocPlane<Ipp8u>(int width, int height, int* step) {
    return ippiMalloc_8u_C1(width, height, step);
}
template <>
inline Ipp16s* mallocPlane<Ipp16s>(int width, int height, int* step) {
    return ippiMalloc_16s_C1(width, height, step);
}
template <>
inline Ipp32f* mallocPlane<Ipp32f>(int width, int height, int* step) {
    return ippiMalloc_32f_C1(width, height, step);
}

/// What one unit of y * step advances a row-table entry by: a byte for the 8-bit and float images, a whole
/// element for the 16-bit image.
enum class RowUnit { Byte, Element };

/// Allocates `image` at width x height and fills its row table. Offsets are formed in 32 bits, as the
/// detector's images always have been.
template <RowUnit unit, class Image>
void allocatePlane(Image& image, int width, int height) {
    using Pixel = typename std::remove_pointer<decltype(image.data)>::type;
    image.width = width;
    image.height = height;
    image.data = mallocPlane<Pixel>(width, height, &image.step);
    image.rows = new Pixel*[static_cast<std::size_t>(height)];
    for (int y = 0; y < height; ++y) {
        const std::int32_t offset = static_cast<std::int32_t>(static_cast<std::int64_t>(y) * image.step);
        if (image.data == nullptr)
            image.rows[y] = nullptr;
        else if (unit == RowUnit::Element)
            image.rows[y] = image.data + offset;
        else
            image.rows[y] = reinterpret_cast<Pixel*>(reinterpret_cast<Ipp8u*>(image.data) + offset);
    }
    image.ownsData = true;
}

/// Wraps a caller's buffer; the row table is left as it is.
template <class Image, typename Pixel>
void attachPlane(Image& image, Pixel* data, int width, int height, int step) {
    image.data = data;
    image.width = width;
    image.height = height;
    image.step = step;
    image.ownsData = false;
}

/// Released unconditionally: the detector never attaches a buffer it does not own.
template <class Image>
void releasePlane(Image& image) {
    ippiFree(image.data);
    delete[] image.rows;
}

/// Copies a region of `image`'s own size from `other`, re-allocating `image` at its own current size when
/// the sizes differ.
template <class Image, typename Copy>
Image& copyKeepingSize(Image& image, const Image& other, Copy copy) {
    if (image.width != other.width || image.height != other.height) {
        releasePlane(image);
        image.data = nullptr;
        image.rows = nullptr;
        image.allocate(image.width, image.height);
    }
    copy(other.data, other.step, image.data, image.step, image.getSize());
    return image;
}

}  // namespace detail
}  // namespace Ipp
}  // namespace Orvan
