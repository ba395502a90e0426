#pragma once

// The rules for the arguments of a segmentation call, shared by every entry that checks them: the C entries
// (velin_segment, velin_segment_ex, velin_segment_with_options, velin_refine_boundaries), the checked C++
// entry (velin::segment), the program's options and the Python module. The rules live in this header alone so that the
// shared library's C entry and the static checked entry compile the very same rules without the library exporting a C++
// symbol. The exported class CVelinLayerSegment checks nothing but the B-scan count and stays so.

#include <Velin/velin_c.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <utility>

namespace velin {

/// Largest axial factor (Options::axialFactor).
constexpr int kMaxAxialFactor = 8;

/// Largest smoothing level (Options::smoothing, the C entry's optionFlag). The final surface pass diffuses
/// 10 * (smoothing + 1) times at rate 0.2, which spreads a surface over about sqrt(0.4 * steps) positions:
/// 63 at this limit, more than any anatomical smoothing needs. Time grows linearly with the level, and from
/// about 2^31 / 10 on the engine's step count overflows. Negative levels count as 0, as in the engine.
constexpr int kMaxSmoothing = 1000;

/// Most threads one call may ask for (Options::threads, velin_options.threads; 0 = one per processor core).
/// Each thread beyond the first holds working images of its own, so an absurd count would cost memory
/// rather than time; the limit is above the cores of any single machine the library runs on.
constexpr int kMaxThreads = 1024;

/// velin_options.size of the first layout, which ended after `threads`; callers built with it still work.
constexpr int kFirstOptionsSize = 2 * static_cast<int>(sizeof(int));

/// Plausible sample spacings in micrometres. Along depth and between A-scans: 0.1 um to 1 mm; OCT samples
/// lie a few micrometres apart in depth and a few to some tens of micrometres apart laterally, so the range
/// leaves two orders of magnitude either way. Between B-scans up to 10 mm: sparse line scans step further,
/// but no scan covers more than a few centimetres of the fundus. The refined boundaries size their rules in
/// samples from these spacings, and the program its pictures and grids; 0 stands for "unknown" wherever a
/// spacing is optional.
constexpr double kMinSpacingUm = 0.1;
constexpr double kMaxSampleSpacingUm = 1000.0;
constexpr double kMaxBScanSpacingUm = 10000.0;

/// The arguments of one call as the checks see them.
struct CallArguments {
    bool hasVolume = true;
    bool hasPlanes = true;
    int numBScans = 1, numAScans = 1, depth = 1;
    float gapScale = 100.0f;
    float widthSelector = 20.0f;
    float auxParameter = 0.0f;
    int smoothing = 0;
    int axialFactor = 1;
    int threads = 0;
    /// velin_options.size as the caller set it (the checks of a call without options see the right size).
    int optionsSize = static_cast<int>(sizeof(velin_options));
    /// Micrometres; 0 = unknown.
    double depthSpacingUm = 0.0;
    double aScanSpacingUm = 0.0;
    double bScanSpacingUm = 0.0;
    /// The checked C++ entry pads every A-scan to a multiple of 32 samples, so its size limits apply to the
    /// padded depth; the C entry takes the depth as it is.
    bool padsDepth = false;
};

/// A call's volume and sizes, every other argument at its default.
inline CallArguments volumeArguments(bool hasVolume, bool hasPlanes, int numBScans, int numAScans, int depth) {
    CallArguments call;
    call.hasVolume = hasVolume;
    call.hasPlanes = hasPlanes;
    call.numBScans = numBScans;
    call.numAScans = numAScans;
    call.depth = depth;
    return call;
}

/// The first argument at fault. `status` is the C entry's code for it (VELIN_OK when every argument
/// passes); `message` names the argument and its value, e.g. "smoothing = 5000 is above 1000", and
/// `argument` and `complaint` are its two halves ("smoothing", "5000 is above 1000").
struct ArgumentProblem {
    int status = VELIN_OK;
    std::string argument;
    std::string complaint;

    explicit operator bool() const { return status != VELIN_OK; }
    std::string message() const { return argument + " = " + complaint; }
};

namespace detail {

constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr int kDepthAlignment = 32;

inline std::string numberText(double value) {
    std::ostringstream text;
    text.precision(9);
    text << value;
    return text.str();
}

inline ArgumentProblem problem(int status, std::string argument, std::string complaint) {
    return {status, std::move(argument), std::move(complaint)};
}

/// What is wrong with a spacing of `um` micrometres whose largest plausible value is `most`; empty when
/// nothing is. Written so that NaN fails too.
inline std::string spacingComplaint(double um, double most) {
    if (um >= kMinSpacingUm && um <= most) return {};
    return numberText(um) + " um is outside " + numberText(kMinSpacingUm) + " to " + numberText(most) + " um";
}

}  // namespace detail

/// What is wrong with a spacing of `um` micrometres along depth or between A-scans (bScan false) or between
/// B-scans (bScan true), e.g. "inf um is outside 0.1 to 1000 um"; empty when it is plausible. 0 is not
/// plausible here: callers for which 0 means "unknown" test for it first.
inline std::string spacingProblem(double um, bool bScan) {
    return detail::spacingComplaint(um, bScan ? kMaxBScanSpacingUm : kMaxSampleSpacingUm);
}

/// The options alone, as the program checks them before reading any file: axialFactor 1..8; gapScale
/// finite, not 0 and not so close to 0 that the gap limit trunc(100 / gapScale + 0.5) + 5 overflows 32 bits
/// (negative values switch bridging off); widthSelector and auxParameter finite; smoothing at most
/// kMaxSmoothing; threads 0..kMaxThreads; the options' layout size; each spacing 0 (unknown) or plausible.
inline ArgumentProblem checkOptions(const CallArguments& call) {
    using detail::numberText;
    using detail::problem;
    if (call.axialFactor < 1 || call.axialFactor > kMaxAxialFactor)
        return problem(VELIN_ERR_BAD_OPTIONS, "axialFactor",
                       std::to_string(call.axialFactor) + " is outside 1.." + std::to_string(kMaxAxialFactor));
    const float gapScale = call.gapScale;
    if (gapScale == 0.0f || !std::isfinite(gapScale))
        return problem(VELIN_ERR_BAD_GAP_SCALE, "gapScale", numberText(gapScale) + " must be finite and not 0");
    const double gapLimit = std::trunc(100.0 / static_cast<double>(gapScale) + 0.5);
    if (gapLimit < static_cast<double>(std::numeric_limits<std::int32_t>::min()) ||
        gapLimit > static_cast<double>(detail::kInt32Max - 5))
        return problem(VELIN_ERR_BAD_GAP_SCALE, "gapScale", numberText(gapScale) + " is too close to 0");
    if (!std::isfinite(call.widthSelector))
        return problem(VELIN_ERR_BAD_OPTIONS, "widthSelector", numberText(call.widthSelector) + " must be finite");
    if (!std::isfinite(call.auxParameter))
        return problem(VELIN_ERR_BAD_OPTIONS, "auxParameter", numberText(call.auxParameter) + " must be finite");
    if (call.smoothing > kMaxSmoothing)
        return problem(VELIN_ERR_BAD_OPTIONS, "smoothing",
                       std::to_string(call.smoothing) + " is above " + std::to_string(kMaxSmoothing));
    if (call.threads < 0 || call.threads > kMaxThreads)
        return problem(VELIN_ERR_BAD_OPTIONS, "threads",
                       std::to_string(call.threads) + " is outside 0.." + std::to_string(kMaxThreads) +
                           " (0 = one per processor core)");
    if (call.optionsSize != static_cast<int>(sizeof(velin_options)) && call.optionsSize != kFirstOptionsSize)
        return problem(VELIN_ERR_BAD_OPTIONS, "options.size",
                       std::to_string(call.optionsSize) +
                           " is neither sizeof(velin_options) = " + std::to_string(sizeof(velin_options)) +
                           " nor the first layout's " + std::to_string(kFirstOptionsSize));
    struct Spacing {
        const char* name;
        double um;
        bool bScan;
    };
    const Spacing spacings[] = {{"depthSpacingUm", call.depthSpacingUm, false},
                                {"aScanSpacingUm", call.aScanSpacingUm, false},
                                {"bScanSpacingUm", call.bScanSpacingUm, true}};
    for (const Spacing& spacing : spacings) {
        if (spacing.um == 0.0) continue;
        const std::string complaint = spacingProblem(spacing.um, spacing.bScan);
        if (!complaint.empty()) return problem(VELIN_ERR_BAD_SPACING, spacing.name, complaint + " (0 = unknown)");
    }
    return {};
}

/// Every argument, in the order of the C entry's status codes: the volume, the planes, the sizes, the axial
/// factor, the size limits (after resampling and padding: every product the engine forms in 32-bit signed
/// arithmetic, and a resampled depth within the 32767 samples a 16-bit depth plane holds), then the tuning
/// values as checkOptions checks them.
inline ArgumentProblem checkArguments(const CallArguments& call) {
    using detail::problem;
    if (!call.hasVolume) return problem(VELIN_ERR_NULL_VOLUME, "data", "null");
    if (!call.hasPlanes) return problem(VELIN_ERR_NULL_PLANE, "plane", "null");
    const std::pair<const char*, int> sizes[] = {
        {"numBScans", call.numBScans}, {"numAScans", call.numAScans}, {"depth", call.depth}};
    for (const auto& size : sizes)
        if (size.second <= 0)
            return problem(VELIN_ERR_BAD_SIZE, size.first, std::to_string(size.second) + " is not positive");
    if (call.axialFactor < 1 || call.axialFactor > kMaxAxialFactor) return checkOptions(call);

    const int factor = call.axialFactor;
    const std::int64_t resampled = static_cast<std::int64_t>(call.depth) * factor;
    const std::int64_t alignment = call.padsDepth ? detail::kDepthAlignment : 1;
    const std::int64_t depth = (resampled + alignment - 1) / alignment * alignment;
    const std::int64_t positions = static_cast<std::int64_t>(call.numBScans) * call.numAScans;
    if (depth > detail::kInt32Max || positions > detail::kInt32Max || positions * depth > detail::kInt32Max) {
        std::string complaint = std::to_string(call.numBScans) + " x " + std::to_string(call.numAScans) + " x " +
                                std::to_string(call.depth);
        if (factor != 1)
            complaint +=
                " (axialFactor = " + std::to_string(factor) + ": depth resampled to " + std::to_string(resampled) + ")";
        if (depth != resampled) complaint += " (depth padded to " + std::to_string(depth) + ")";
        return problem(VELIN_ERR_SIZE_OVERFLOW, "numBScans x numAScans x depth",
                       complaint + " does not fit in 32 bits");
    }
    // Depths found on the resampled grid come back in 16-bit planes. With factor 1 the engine's own
    // behaviour is kept whatever the depth.
    if (factor != 1 && resampled > std::numeric_limits<std::int16_t>::max())
        return problem(VELIN_ERR_SIZE_OVERFLOW, "depth",
                       std::to_string(call.depth) + " with axialFactor = " + std::to_string(factor) + " gives " +
                           std::to_string(resampled) + " samples, more than the 32767 a depth plane holds");
    return checkOptions(call);
}

}  // namespace velin
