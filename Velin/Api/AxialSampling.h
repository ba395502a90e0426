#pragma once

// The grid the engine works on: each A-scan resampled to `factor` times its samples, then padded with zeros
// to a multiple of 32; and the way back from that grid to the caller's samples.
//
// Geometry: resampled sample j covers [j/factor, (j+1)/factor) of the input's sample extents, so its centre
// lies at input position (2j + 1 - factor) / (2 factor), with input sample i centred at i. Its value is the
// linear interpolation there between the two neighbouring input samples (the end samples held beyond the
// ends), in integer arithmetic rounded half up: the same bytes on every platform and compiler.

#include <Velin/Api/Segment.h>

#include <cstdint>
#include <vector>

namespace velin {

/// The engine's input for `volume`: every A-scan resampled to factor * depth samples and followed by zeros up
/// to `engineDepth` samples. With factor 1 the samples are copied unchanged. Arguments are not checked.
std::vector<std::uint8_t> engineVolume(const VolumeView& volume, int factor, int engineDepth);

/// The input sample that a depth on the resampled grid lies in: engineSample / factor, the one whose extent
/// holds the resampled sample's centre (so there are no ties to break). -1 (not found) stays -1, and so does
/// a depth in the zero padding below the resampled A-scan (no input sample lies there) or any other negative.
std::int16_t inputDepth(std::int16_t engineSample, int factor, int depth);

}  // namespace velin
