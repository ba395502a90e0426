#include <Velin/Api/Segment.h>

#include <Velin/Api/AxialSampling.h>

#include <Velin/velin_c.h>

#include <cstdint>
#include <exception>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>

namespace velin {
namespace {

std::int64_t roundUpToAlignment(std::int64_t depth) {
    return (depth + detail::kDepthAlignment - 1) / detail::kDepthAlignment * detail::kDepthAlignment;
}

[[noreturn]] void rejectArgument(const std::string& what) { throw std::invalid_argument("velin::segment: " + what); }

struct ProgressRelay {
    const ProgressCallback* callback;
    std::exception_ptr error;
};

// No exception may cross the C entry, so a throwing callback is remembered, and the engine is asked to stop:
// it starts no further B-scan, and the exception is rethrown once the call has returned.
extern "C" int stopAfterFailure(void* user) { return static_cast<ProgressRelay*>(user)->error ? 1 : 0; }

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
    const int status =
        velin_refine_boundaries(volume.data, volume.numBScans, volume.numAScans, volume.depth, result.upperDepth.data(),
                                result.lowerDepth.data(), options.depthSpacingUm, options.aScanSpacingUm,
                                options.bScanSpacingUm, result.upperBoundary.data(), result.lowerBoundary.data(),
                                result.upperConfidence.data(), result.lowerConfidence.data(), options.threads);
    if (status == VELIN_ERR_OUT_OF_MEMORY) throw std::bad_alloc();
    if (status != VELIN_OK)
        throw std::runtime_error(std::string("velin::segment: refining the boundaries: ") +
                                 velin_status_message(status));
}

}  // namespace

CallArguments callArguments(const VolumeView& volume, const Options& options) {
    CallArguments call =
        volumeArguments(volume.data != nullptr, true, volume.numBScans, volume.numAScans, volume.depth);
    call.gapScale = options.gapScale;
    call.widthSelector = options.widthSelector;
    call.auxParameter = options.auxParameter;
    call.smoothing = options.smoothing;
    call.axialFactor = options.axialFactor;
    call.threads = options.threads;
    call.depthSpacingUm = options.depthSpacingUm;
    call.aScanSpacingUm = options.aScanSpacingUm;
    call.bScanSpacingUm = options.bScanSpacingUm;
    call.padsDepth = true;
    return call;
}

int paddedDepth(int depth) {
    if (depth <= 0) return depth;
    const std::int64_t rounded = roundUpToAlignment(depth);
    return rounded > detail::kInt32Max ? std::numeric_limits<int>::max() : static_cast<int>(rounded);
}

Result segment(const VolumeView& volume, const Options& options) {
    if (const ArgumentProblem problem = checkArguments(callArguments(volume, options)))
        rejectArgument(problem.message());

    Result result;
    result.numBScans = volume.numBScans;
    result.numAScans = volume.numAScans;
    result.axialFactor = options.axialFactor;
    result.engineDepth = paddedDepth(volume.depth * options.axialFactor);  // fits: checked above

    // The engine leaves the planes untouched when it segments nothing; start them at "not found".
    const std::size_t planeSize =
        static_cast<std::size_t>(volume.numBScans) * static_cast<std::size_t>(volume.numAScans);
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
    if (options.progress) {
        engineOptions.stop = stopAfterFailure;
        engineOptions.stopUser = &relay;
    }
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
