#pragma once

// Checked C++ entry to the segmentation engine. It runs the same engine as the exported class and the C entry
// (it calls velin_segment_ex), but validates its arguments first and makes volumes of any depth safe to pass.

#include <cstdint>
#include <functional>
#include <vector>

namespace velin {

/// A read-only view of an 8-bit volume in the library's layout: sample (b, a, d) at
/// b*numAScans*depth + a*depth + d, depth growing away from the vitreous. The caller keeps the data alive for
/// the duration of the call.
struct VolumeView {
    const std::uint8_t* data = nullptr;
    int numBScans = 0;
    int numAScans = 0;
    int depth = 0;
};

/// Called after each B-scan with the number done so far and the total. It runs on the caller's thread.
/// Exceptions it throws are held back until the engine has finished and then rethrown from segment().
using ProgressCallback = std::function<void(int done, int total)>;

/// Tuning values of the engine.
struct Options {
    /// How many B-scans a gap in a boundary may span and still be bridged across B-scans: gaps shorter than
    /// trunc(100 / gapScale + 0.5) + 5 B-scans are interpolated. Must be finite and not 0.
    float gapScale = 100.0f;
    /// Together with the A-scan count picks the width of the low-pass filter. 20 keeps the engine's own
    /// width for every A-scan count from 257 up (0.3 for 257 to 512 A-scans, 0.15 above).
    float widthSelector = 20.0f;
    /// Passed to the engine unchanged.
    float auxParameter = 0.0f;
    /// Smoothing of the final surface pass: the boundary surfaces are diffused 10 * (smoothing + 1) times;
    /// negative values count as 0.
    int smoothing = 0;
    ProgressCallback progress;
};

/// How a call ended. Only Segmented carries boundaries; the other two are outcomes of the image content or
/// the volume's size, not errors of the caller, and leave the planes at "not found".
enum class Outcome {
    Segmented,        ///< at least one B-scan was segmented
    TooFewBScans,     ///< the engine needs at least 10 B-scans and did nothing
    NoBScanSegmented  ///< no B-scan could be segmented
};

/// Four planes of numBScans * numAScans values, element b*numAScans + a.
struct Result {
    int numBScans = 0;
    int numAScans = 0;
    Outcome outcome = Outcome::NoBScanSegmented;
    int bscansSegmented = 0;  ///< B-scans the engine segmented before the volume passes
    /// Depth of each A-scan as the engine saw it: the input depth rounded up to a multiple of 32.
    int engineDepth = 0;

    std::vector<std::int16_t> upperDepth;   ///< depth of the top of the retina, or -1 = not found
    std::vector<std::int16_t> lowerDepth;   ///< depth of the lower nerve-fibre-layer boundary, or -1
    std::vector<std::int16_t> upperValue;   ///< normalised response at the upper point x 100, 0 = none
    std::vector<std::int16_t> lowerWeight;  ///< weight of the lower point x 100, 0 = none

    bool segmented() const { return outcome == Outcome::Segmented; }
};

/// Segments one volume.
///
/// Throws std::invalid_argument, with a message naming the argument and its value, for a null data pointer,
/// a non-positive size, sizes whose product (after depth padding) does not fit in 32 bits, and a gapScale
/// that is 0, NaN, infinite or so close to 0 that the gap limit overflows. Throws std::bad_alloc when memory
/// runs out and std::runtime_error for an internal failure of the engine.
///
/// Depth padding: the engine copies each B-scan into its working image as one block, which lines the A-scans
/// up only when the depth is a multiple of 32. When it is not (e.g. 496-sample scanners), each A-scan is
/// padded with zeros at its deep end up to the next multiple of 32 before the engine runs; the padding sits
/// below the retina and never moves a boundary. A boundary depth that falls into the padding is reported as
/// -1 (no sample of the input lies there). When the depth already is a multiple of 32 the volume is passed
/// as it is and the planes are those of CVelinLayerSegment, bit for bit.
///
/// A volume of fewer than 10 B-scans, or one in which no B-scan could be segmented, is not an error: the
/// result's outcome says so and its planes hold -1 (depths) and 0 (values) everywhere.
Result segment(const VolumeView& volume, const Options& options = Options());

/// Depth the engine works on for an input depth: the next multiple of 32 (the depth itself when it is one;
/// the largest int when the next multiple does not fit).
int paddedDepth(int depth);

}  // namespace velin
