#pragma once

// Synthetic layered OCT volumes with known boundaries, for tests of the detector and the whole call.

#include <cstdint>
#include <vector>

namespace velin_test {

struct SyntheticVolumeOptions {
    int numBScans = 16;
    int numAScans = 256;
    int depth = 512;
    std::uint32_t seed = 1;
    double speckle = 0.15;  ///< relative strength of the multiplicative speckle; 0 gives clean bands
};

/// A volume in the library's layout (sample (b, a, d) at b*numAScans*depth + a*depth + d) with, per
/// position b*numAScans + a, the true depth of the top of the retina (first bright sample of the
/// nerve-fibre layer) and of the lower boundary of the nerve-fibre layer (first darker sample below it).
struct SyntheticVolume {
    int numBScans = 0;
    int numAScans = 0;
    int depth = 0;
    std::vector<std::uint8_t> samples;
    std::vector<int> top;
    std::vector<int> nflBottom;
};

/// Dark vitreous, a bright nerve-fibre layer whose top and bottom vary smoothly across A-scans and B-scans,
/// darker retinal layers below, a bright pigment-epithelium band deeper down, dark choroid; speckle on top.
SyntheticVolume makeLayeredVolume(const SyntheticVolumeOptions& options);

}  // namespace velin_test
