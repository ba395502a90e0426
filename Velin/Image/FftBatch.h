#pragma once

// Power-of-two complex FFT applied to many independent signals at once. Element i of every signal is a
// contiguous run of `lanes` floats (split real and imaginary planes), `stride` floats after element i-1, so
// each butterfly is one loop over the lanes that the compiler turns into vector code. The 2-D real FFT
// uses it along columns (lanes = columns of the image) and along rows (lanes = a block of transposed rows).

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Orvan {
namespace Ipp {
namespace detail {

class FftBatch {
public:
    /// Plans a transform of length 2^log2Length; twiddles are computed in double precision.
    explicit FftBatch(int log2Length);

    int length() const { return n_; }

    /// Position at which element i must be stored before transform(): its index with the bits reversed.
    /// Callers scatter their input there while they gather it anyway, which saves a separate pass.
    std::uint32_t reversed(int i) const { return reversed_[static_cast<std::size_t>(i)]; }

    /// In-place unnormalised transform of input stored in bit-reversed order; the output is in natural
    /// order. Forward uses exp(-2*pi*i*j*k/n), inverse exp(+2*pi*i*j*k/n).
    void transform(float* re, float* im, std::ptrdiff_t stride, int lanes, bool inverse) const;

private:
    int n_;
    int log2n_;
    std::vector<std::uint32_t> reversed_;
    std::vector<float> cos_;           // cos(2*pi*j/n), j < n/2
    std::vector<float> sin_;           // sin(2*pi*j/n), j < n/2
};

}  // namespace detail
}  // namespace Ipp
}  // namespace Orvan
