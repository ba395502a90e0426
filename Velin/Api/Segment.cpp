#include <Velin/Api/Segment.h>

#include <Velin/Api/AxialSampling.h>

#include <Velin/velin_c.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <limits>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace velin {
namespace {

constexpr int kDepthAlignment = 32;
constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();

std::int64_t roundUpToAlignment(std::int64_t depth) {
    return (depth + kDepthAlignment - 1) / kDepthAlignment * kDepthAlignment;
}

[[noreturn]] void rejectArgument(const std::string& what) {
    throw std::invalid_argument("velin::segment: " + what);
}

std::string floatText(float value) {
    std::ostringstream text;
    text.precision(9);
    text << value;
    return text.str();
}

std::string doubleText(double value) {
    std::ostringstream text;
    text.precision(17);
    text << value;
    return text.str();
}

void checkSize(const char* name, int value) {
    if (value <= 0) rejectArgument(std::string(name) + " = " + std::to_string(value) + " is not positive");
}

void checkArguments(const VolumeView& volume, const Options& options) {
    if (volume.data == nullptr) rejectArgument("data is null");
    checkSize("numBScans", volume.numBScans);
    checkSize("numAScans", volume.numAScans);
    checkSize("depth", volume.depth);
    const int factor = options.axialFactor;
    if (factor < 1 || factor > kMaxAxialFactor)
        rejectArgument("axialFactor = " + std::to_string(factor) + " is outside 1.." +
                       std::to_string(kMaxAxialFactor));

    // The engine forms every offset into the volume in 32-bit signed arithmetic, on the padded depth.
    const std::int64_t resampled = static_cast<std::int64_t>(volume.depth) * factor;
    const std::int64_t depth = roundUpToAlignment(resampled);
    const std::int64_t perBScan = static_cast<std::int64_t>(volume.numAScans) * depth;
    const std::int64_t total = perBScan * volume.numBScans;
    if (depth > kInt32Max || perBScan > kInt32Max || total > kInt32Max) {
        std::ostringstream what;
        what << "numBScans x numAScans x depth = " << volume.numBScans << " x " << volume.numAScans << " x "
             << volume.depth;
        if (factor != 1) what << " (axialFactor = " << factor << ": depth resampled to " << resampled << ")";
        if (depth != resampled) what << " (depth padded to " << depth << ")";
        what << " does not fit in 32 bits";
        rejectArgument(what.str());
    }
    // Depths on the resampled grid come back in 16-bit planes and must survive the way back. With factor 1
    // the engine's own behaviour is kept whatever the depth.
    if (factor != 1 && resampled > std::numeric_limits<std::int16_t>::max())
        rejectArgument("depth = " + std::to_string(volume.depth) + " with axialFactor = " + std::to_string(factor) +
                       " gives " + std::to_string(resampled) + " samples, more than the 32767 a depth plane holds");

    if (options.threads < 0)
        rejectArgument("threads = " + std::to_string(options.threads) + " is negative (0 = one per processor core)");
    const std::pair<const char*, double> spacings[] = {{"depthSpacingUm", options.depthSpacingUm},
                                                       {"aScanSpacingUm", options.aScanSpacingUm},
                                                       {"bScanSpacingUm", options.bScanSpacingUm}};
    for (const auto& [name, um] : spacings)
        if (!std::isfinite(um) || um < 0.0)
            rejectArgument(std::string(name) + " = " + doubleText(um) + " must be finite and not negative");

    const float gapScale = options.gapScale;
    if (gapScale == 0.0f || std::isnan(gapScale) || std::isinf(gapScale))
        rejectArgument("gapScale = " + floatText(gapScale) + " must be finite and not 0");
    // The gap limit trunc(100 / gapScale + 0.5) + 5 is a 32-bit integer.
    const double gapLimit = std::trunc(100.0 / static_cast<double>(gapScale) + 0.5);
    if (gapLimit < static_cast<double>(std::numeric_limits<std::int32_t>::min()) ||
        gapLimit > static_cast<double>(kInt32Max - 5))
        rejectArgument("gapScale = " + floatText(gapScale) + " is too close to 0");
}

struct ProgressRelay {
    const ProgressCallback* callback;
    std::exception_ptr error;
};

// No exception may cross the C entry, so a throwing callback is remembered and silenced until the end.
extern "C" void relayProgress(int done, int total, void* user) {
    auto* relay = static_cast<ProgressRelay*>(user);
    if (relay->error) return;
    try {
        (*relay->callback)(done, total);
    } catch (...) {
        relay->error = std::current_exception();
    }
}

// The result's depths as floats: the engine's whole samples, or the refinement's on the input's samples.
void fillBoundaries(const VolumeView& volume, const Options& options, Result& result) {
    const std::size_t size = result.upperDepth.size();
    result.boundaries = options.boundaries;
    result.upperBoundary.assign(size, std::numeric_limits<float>::quiet_NaN());
    result.lowerBoundary.assign(size, std::numeric_limits<float>::quiet_NaN());
    if (options.boundaries == Boundaries::Legacy) {
        for (std::size_t i = 0; i < size; ++i) {
            if (result.upperDepth[i] >= 0) result.upperBoundary[i] = result.upperDepth[i];
            if (result.lowerDepth[i] >= 0) result.lowerBoundary[i] = result.lowerDepth[i];
        }
        return;
    }
    result.upperConfidence.assign(size, 0.0f);
    result.lowerConfidence.assign(size, 0.0f);
    if (!result.segmented()) return;
    const int status = velin_refine_boundaries(
        volume.data, volume.numBScans, volume.numAScans, volume.depth, result.upperDepth.data(),
        result.lowerDepth.data(), options.depthSpacingUm, options.aScanSpacingUm, options.bScanSpacingUm,
        result.upperBoundary.data(), result.lowerBoundary.data(), result.upperConfidence.data(),
        result.lowerConfidence.data(), options.threads);
    if (status == VELIN_ERR_OUT_OF_MEMORY) throw std::bad_alloc();
    if (status != VELIN_OK)
        throw std::runtime_error(std::string("velin::segment: refining the boundaries: ") +
                                 velin_status_message(status));
}

}  // namespace

int paddedDepth(int depth) {
    if (depth <= 0) return depth;
    const std::int64_t rounded = roundUpToAlignment(depth);
    return rounded > kInt32Max ? std::numeric_limits<int>::max() : static_cast<int>(rounded);
}

Result segment(const VolumeView& volume, const Options& options) {
    checkArguments(volume, options);

    Result result;
    result.numBScans = volume.numBScans;
    result.numAScans = volume.numAScans;
    result.axialFactor = options.axialFactor;
    result.engineDepth = paddedDepth(volume.depth * options.axialFactor);  // fits: checked above

    // The engine leaves the planes untouched when it segments nothing; start them at "not found".
    const std::size_t planeSize = static_cast<std::size_t>(volume.numBScans) * static_cast<std::size_t>(volume.numAScans);
    result.upperDepth.assign(planeSize, -1);
    result.lowerDepth.assign(planeSize, -1);
    result.upperValue.assign(planeSize, 0);
    result.lowerWeight.assign(planeSize, 0);

    // A volume that already is on the engine's grid is passed as it is, without a copy.
    std::vector<std::uint8_t> prepared;
    const unsigned char* samples = volume.data;
    if (result.engineDepth != volume.depth) {
        prepared = engineVolume(volume, result.axialFactor, result.engineDepth);
        samples = prepared.data();
    }

    ProgressRelay relay{&options.progress, nullptr};
    velin_options engineOptions;
    velin_options_init(&engineOptions);
    engineOptions.threads = options.threads;
    const int status = velin_segment_with_options(
        samples, volume.numBScans, volume.numAScans, result.engineDepth, result.upperDepth.data(),
        result.lowerDepth.data(), result.upperValue.data(), result.lowerWeight.data(), options.gapScale,
        options.widthSelector, options.auxParameter, options.smoothing, options.progress ? relayProgress : nullptr,
        options.progress ? &relay : nullptr, &result.bscansSegmented, &engineOptions);
    if (relay.error) std::rethrow_exception(relay.error);

    switch (status) {
    case VELIN_OK:
        result.outcome = Outcome::Segmented;
        break;
    case VELIN_ERR_TOO_FEW_BSCANS:
        result.outcome = Outcome::TooFewBScans;
        result.bscansSegmented = 0;
        fillBoundaries(volume, options, result);
        return result;
    case VELIN_ERR_NO_BSCAN_FOUND:
        result.outcome = Outcome::NoBScanSegmented;
        result.bscansSegmented = 0;
        fillBoundaries(volume, options, result);
        return result;
    case VELIN_ERR_OUT_OF_MEMORY:
        throw std::bad_alloc();
    case VELIN_ERR_NULL_VOLUME:
    case VELIN_ERR_NULL_PLANE:
    case VELIN_ERR_BAD_SIZE:
    case VELIN_ERR_SIZE_OVERFLOW:
    case VELIN_ERR_BAD_GAP_SCALE:
    case VELIN_ERR_BAD_OPTIONS:
        rejectArgument(velin_status_message(status));
    default:
        throw std::runtime_error(std::string("velin::segment: ") + velin_status_message(status));
    }

    if (result.engineDepth != volume.depth) {
        for (auto* plane : {&result.upperDepth, &result.lowerDepth})
            for (auto& value : *plane) value = inputDepth(value, result.axialFactor, volume.depth);
    }
    fillBoundaries(volume, options, result);
    return result;
}

}  // namespace velin
