#pragma once

// A synthetic retina volume with known boundaries, for demonstrations and end-to-end checks.

#include <Velin/Io/VolumeFile.h>

#include <cstdint>
#include <string>
#include <vector>

namespace velin {
namespace io {

struct PhantomOptions {
    int numBScans = 128;
    int numAScans = 512;
    int depth = 1024;
    std::uint64_t seed = 1;
    /// Strength of the multiplicative speckle relative to a typical device cube: 0 gives clean layers,
    /// 1 the usual grain, 2 a noisy scan.
    double noise = 1.0;
    std::string scanKind = "macula";  ///< "macula" (foveal pit) or "disc" (optic-disc cup)
    std::string eye = "OD";           ///< "OD" or "OS": decides on which side the nasal (disc) side lies
};

/// The volume and, per position b * numAScans + a, the true boundaries: `top` is the first sample of the
/// nerve-fibre layer (the top of the retina), `nflBottom` the first sample below it. Both are -1 inside the
/// optic disc, where there is no retina.
///
/// `topExact` and `nflBottomExact` are the same boundaries before rounding, in samples: sample d covers depths
/// d to d + 1, so a boundary at 100.3 means the layer below it fills 70 % of sample 100 and all samples after
/// it. NaN inside the optic disc.
struct Phantom {
    Volume volume;
    std::vector<std::int16_t> top;
    std::vector<std::int16_t> nflBottom;
    std::vector<float> topExact;
    std::vector<float> nflBottomExact;
};

/// Builds the phantom described in docs/phantom.md; the same options always give the same volume.
/// Sizes below 8 A-scans or 64 samples of depth, depths above 32767, more samples than the segmentation call
/// accepts, a negative or NaN noise level, or an unknown scan kind or eye give std::invalid_argument.
Phantom makePhantom(const PhantomOptions& options);

}  // namespace io
}  // namespace velin
