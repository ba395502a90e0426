#pragma once

// Checked C++ entry to the segmentation engine. It runs the same engine as the exported class and the C entry
// (it calls velin_segment_ex), but validates its arguments first and makes volumes of any depth safe to pass.

#include <Velin/Api/ArgumentCheck.h>

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
/// An exception it throws stops the engine: no further B-scan is started, the B-scans under way on other
/// threads end, and segment() rethrows the exception without a result.
using ProgressCallback = std::function<void(int done, int total)>;

/// Which boundaries fill Result::upperBoundary and Result::lowerBoundary.
enum class Boundaries {
    /// The engine's own depths, whole samples (the planes upperDepth and lowerDepth as floats).
    Legacy,
    /// The engine's depths refined on the input's samples: sub-sample depths of the top of the retina and of
    /// the lower nerve-fibre-layer boundary, each with a confidence (docs/refined-boundaries.md).
    Refined
};

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
    /// at most kMaxSmoothing (1000); negative values count as 0.
    int smoothing = 0;
    /// Axial resampling, 1 to 8: each A-scan is resampled to axialFactor times its samples before the engine
    /// runs, and the depths found are mapped back to the input's samples. The engine's depth rules (the
    /// distance to the second bright band, snap and search ranges) are fixed sample counts tuned to about
    /// 2 um per sample, e.g. 1024 samples over 2 mm; on coarser scans (496 samples at 3.9 um) the retina is
    /// too thin for them and no B-scan is segmented. A factor of round(depth spacing / 1.95 um) brings such
    /// scans to the engine's scale. 1 leaves the volume as it is, bit for bit.
    int axialFactor = 1;
    /// B-scans segmented at once: 0 = one per processor core, 1 = one at a time, at most kMaxThreads. The
    /// result does not depend on it. Each thread beyond the first holds working images of its own, about 34 bytes per
    /// sample of one B-scan (18 MB for 512 x 1024).
    int threads = 0;
    /// The boundaries the result carries as depths in samples (the four planes are the engine's either way).
    Boundaries boundaries = Boundaries::Refined;
    /// Sample spacing in micrometres along depth, between A-scans and between B-scans, used by the refined
    /// boundaries to size their rules; 0 = unknown (derived from the depth, resp. a 6 mm field). Otherwise
    /// 0.1 to 1000 um, and up to 10000 um between B-scans (kMinSpacingUm and the rest in ArgumentCheck.h).
    double depthSpacingUm = 0.0;
    double aScanSpacingUm = 0.0;
    double bScanSpacingUm = 0.0;
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
    /// Depth of each A-scan as the engine saw it: axialFactor x the input depth, rounded up to a multiple
    /// of 32.
    int engineDepth = 0;
    int axialFactor = 1;  ///< the resampling the engine ran on

    std::vector<std::int16_t> upperDepth;   ///< depth of the top of the retina, or -1 = not found
    std::vector<std::int16_t> lowerDepth;   ///< depth of the lower nerve-fibre-layer boundary, or -1
    std::vector<std::int16_t> upperValue;   ///< normalised response at the upper point x 100, 0 = none
    std::vector<std::int16_t> lowerWeight;  ///< weight of the lower point x 100, 0 = none

    /// The mode that filled the four vectors below (Options::boundaries).
    Boundaries boundaries = Boundaries::Legacy;
    /// Depths in samples of the input: a boundary at z means the tissue below it begins at sample z (a sharp
    /// step from sample 99 to 100 is 100.0). NaN where not found. Legacy: upperDepth and lowerDepth as
    /// whole numbers.
    std::vector<float> upperBoundary;
    std::vector<float> lowerBoundary;
    /// Refined mode only (empty otherwise): confidence of each point, 0 (not found) to 1.
    std::vector<float> upperConfidence;
    std::vector<float> lowerConfidence;

    bool segmented() const { return outcome == Outcome::Segmented; }
};

/// Segments one volume.
///
/// Throws std::invalid_argument, with a message naming the argument and its value, for a null data pointer,
/// a non-positive size, an axialFactor outside 1..8, sizes whose product (after resampling and depth padding)
/// does not fit in 32 bits, a resampled depth above 32767 (the depth planes are 16-bit), a gapScale that is 0,
/// NaN, infinite or so close to 0 that the gap limit overflows, a widthSelector or auxParameter that is not
/// finite, a smoothing above 1000, a thread count outside 0..1024, and a spacing that is neither 0 (unknown)
/// nor within its plausible range: the rules of checkArguments (ArgumentCheck.h). Throws std::bad_alloc when
/// memory runs out and std::runtime_error for an internal failure of the engine.
///
/// Depth padding: the engine copies each B-scan into its working image as one block, which lines the A-scans
/// up only when the depth is a multiple of 32. When it is not (e.g. 496-sample scanners), each A-scan is
/// padded with zeros at its deep end up to the next multiple of 32 before the engine runs; the padding sits
/// below the retina and never moves a boundary. A boundary depth that falls into the padding is reported as
/// -1 (no sample of the input lies there). When the depth already is a multiple of 32 the volume is passed
/// as it is and the planes are those of CVelinLayerSegment, bit for bit.
///
/// Axial resampling (axialFactor > 1): each A-scan of D samples becomes axialFactor * D samples by linear
/// interpolation at the centres of the finer samples (exact integer arithmetic, rounded half up, end samples
/// held), and is then padded as above. A depth the engine finds on that grid is reported as the input sample
/// that contains it, engine depth / axialFactor (integer division: the input sample whose extent holds the
/// finer sample's centre); -1 stays -1, and a depth in the padding is -1.
///
/// Refined boundaries (the default) are found on the input's own samples, whatever the axial factor, starting
/// from the engine's depths; the spacings in the options size their rules. They cost about a tenth of the
/// engine's time.
///
/// A volume of fewer than 10 B-scans, or one in which no B-scan could be segmented, is not an error: the
/// result's outcome says so, its planes hold -1 (depths) and 0 (values) everywhere and its boundaries NaN.
Result segment(const VolumeView& volume, const Options& options = Options());

/// The arguments of segment(volume, options) as checkArguments (ArgumentCheck.h) sees them, for callers that
/// check before they call: checkOptions(callArguments({}, options)) checks the options alone, as the program
/// does before it reads a file.
CallArguments callArguments(const VolumeView& volume, const Options& options);

/// Depth the engine works on for an input depth: the next multiple of 32 (the depth itself when it is one;
/// the largest int when the next multiple does not fit).
int paddedDepth(int depth);

}  // namespace velin
