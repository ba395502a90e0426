#pragma once

// The real 2-D FFT object the primitives create for one size and flag. It owns the twiddle tables of both directions and every work
// buffer, so a transform allocates nothing. Transforms write into those buffers, which is why they are
// mutable: one such object must not be used by two threads at once.

#include <Velin/Image/FftBatch.h>
#include <Velin/Image/IppTypes.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace Orvan {
namespace Ipp {

struct IppiFFTSpec_R_32f {
    /// Set while the object is alive; ippiFFTFree_R_32f and the transforms refuse anything without it.
    static constexpr std::uint32_t kMagic = 0x52464654u;
    std::uint32_t magic = kMagic;

    int width = 1;        // 2^orderX, along a row
    int height = 1;       // 2^orderY, down a column
    int half = 1;         // complex values per row kept after the row transform (width/2, or 1 when width is 1)
    float forwardScale = 1.0f;
    float inverseScale = 1.0f;
    bool avx2 = false;  ///< the processor runs the AVX2 kernels of FftTranspose

    std::unique_ptr<detail::FftBatch> rowFft;     // length width/2; absent when width is 1
    std::unique_ptr<detail::FftBatch> columnFft;  // length height
    std::vector<float> splitCos, splitSin;        // exp(-2*pi*i*k/width) for k <= width/2

    // Row spectra, row by row: column 0 holds X(0) + i*X(width/2) (both real), columns 1..half-1 X(k).
    std::ptrdiff_t planeStride = 0;
    mutable std::vector<float> planeRe, planeIm;
    // A block of rows transposed so that the row transform runs across them as lanes.
    mutable std::vector<float> blockRe, blockIm;
    // The same rows in natural order, read while the inverse writes the block in bit-reversed order.
    mutable std::vector<float> stageRe, stageIm;
};

}  // namespace Ipp
}  // namespace Orvan
