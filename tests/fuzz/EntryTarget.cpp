// A small volume through the checked entry, velin::segment. The engine runs for milliseconds even on tiny
// volumes under the sanitizers, so the input space keeps most calls cheap: small sizes, and smoothing levels
// that cost little. The input:
//   bytes 0-2: B-scans, A-scans 1..24, depth 1..64 (byte % range + 1). B-scans are 10..12, so that the
//              engine runs, for one input in 16 by a hash of the whole input, and 1..9 otherwise: the engine
//              then does nothing, which leaves the checked entry's own work (checks, resampling, padding,
//              the outcome) at a fraction of the cost. A hash, not a byte, decides, so that the inputs
//              mutated from one that ran the engine mostly stay cheap;
//   byte 3: the axial factor 0..9 (0 and 9 are refused);
//   bytes 4-15: gapScale, widthSelector and auxParameter as raw float bits (any NaN, infinity or denormal);
//   byte 16: the smoothing level: -2..5 for most values, else one beyond the limit (1001, the largest and
//            the smallest int), which must be refused before any work;
//   byte 17: the threads (bits 0-1: 1, 2, 3 or 0 = one per core) and the boundaries (bit 2: legacy, else
//            refined);
//   bytes 18-20: the spacings along depth, between A-scans and between B-scans, each chosen from a list of
//            plausible, limit, unknown and refused values;
//   byte 21: bit 0 draws retinal layers at depths from bytes 22-24 under the samples, so that the engine
//            finds boundaries and runs its later steps; otherwise the samples alone make the volume;
//   the rest: the samples, repeated over the volume.
// Refused arguments must be exactly those checkArguments refuses; an accepted call must return planes that
// fit the volume, and boundaries inside the A-scans, the lower one never above the top, with confidences
// from 0 to 1.

#include "FuzzInput.h"
#include "FuzzTargets.h"

#include <Velin/Api/Segment.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

namespace velin_fuzz {
namespace {

constexpr int kMaxAScans = 24, kMaxDepth = 64;

double spacingUm(std::uint8_t byte) {
    static const double values[] = {0.0,   0.0,   1.953125, 3.87,  11.71875, 46.875, 0.1,      1000.0,
                                    10000, 120.0, 0.0999,   1000.5, 10000.5, -1.0,   INFINITY, NAN};
    return values[byte % 16];
}

int smoothingLevel(std::uint8_t byte) {
    static const int beyond[] = {velin::kMaxSmoothing + 1, std::numeric_limits<int>::max(),
                                 std::numeric_limits<int>::min()};
    return byte < 240 ? byte % 8 - 2 : beyond[byte % 3];
}

std::vector<std::uint8_t> volumeSamples(FuzzInput& input, int nb, int na, int nd) {
    const bool layered = (input.byte() & 1) != 0;
    const int top = input.byte() % nd, nerveFibres = 1 + input.byte() % 16, pigment = input.byte() % nd;
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(nb) * na * nd);
    const std::uint8_t* noise = input.rest();
    const std::size_t noiseSize = input.restSize();
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const int d = static_cast<int>(i % static_cast<std::size_t>(nd));
        int value = noiseSize > 0 ? noise[i % noiseSize] : 0;
        if (layered) {
            const int base = d < top ? 10 : d < top + nerveFibres ? 210 : d == pigment ? 240 : 90;
            value = base + (value % 32) - 16;
        }
        samples[i] = static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
    return samples;
}

void checkResult(const velin::Result& r, const velin::VolumeView& view, const velin::Options& options) {
    const std::size_t positions = static_cast<std::size_t>(view.numBScans) * view.numAScans;
    for (const auto* plane : {&r.upperDepth, &r.lowerDepth, &r.upperValue, &r.lowerWeight})
        if (plane->size() != positions) broken("a result plane does not fit the volume");
    if (r.axialFactor != options.axialFactor || r.engineDepth != velin::paddedDepth(view.depth * options.axialFactor))
        broken("the result misstates the grid the engine ran on");
    if (r.bscansSegmented < 0 || r.bscansSegmented > view.numBScans) broken("impossible count of segmented B-scans");
    if (r.segmented() != (r.outcome == velin::Outcome::Segmented)) broken("segmented() contradicts the outcome");
    if ((view.numBScans < 10) != (r.outcome == velin::Outcome::TooFewBScans)) broken("wrong too-few-B-scans outcome");
    const bool refined = options.boundaries == velin::Boundaries::Refined;
    if (r.boundaries != options.boundaries) broken("the result names another boundaries mode");
    for (const auto* plane : {&r.upperBoundary, &r.lowerBoundary})
        if (plane->size() != positions) broken("a boundary plane does not fit the volume");
    for (const auto* plane : {&r.upperConfidence, &r.lowerConfidence})
        if (plane->size() != (refined ? positions : 0)) broken("a confidence plane does not fit the mode");
    for (std::size_t i = 0; i < positions; ++i) {
        for (const auto* plane : {&r.upperDepth, &r.lowerDepth}) {
            const int depth = (*plane)[i];
            if (depth < -1 || depth >= view.depth) broken("a boundary lies outside the A-scan");
            if (!r.segmented() && depth != -1) broken("a boundary without a segmented B-scan");
        }
        const float upper = r.upperBoundary[i], lower = r.lowerBoundary[i];
        for (const float z : {upper, lower}) {
            if (std::isnan(z)) continue;
            if (!(z >= 0.0f && z <= static_cast<float>(view.depth))) broken("a boundary outside the A-scan");
            if (!r.segmented()) broken("a boundary without a segmented B-scan");
        }
        if (refined && lower < upper) broken("the lower boundary above the top");
        if (refined)
            for (const float c : {r.upperConfidence[i], r.lowerConfidence[i]})
                if (!(c >= 0.0f && c <= 1.0f)) broken("a confidence outside 0..1");
    }
}

}  // namespace

bool entryRunsEngine(const std::uint8_t* data, std::size_t size) {
    std::uint32_t hash = 2166136261u;  // FNV-1a
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 16777619u;
    return hash % 16 == 0;
}

void segmentSmallVolume(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    velin::VolumeView view;
    const std::uint8_t bScans = input.byte();
    view.numBScans = entryRunsEngine(data, size) ? 10 + bScans % 3 : 1 + bScans % 9;
    view.numAScans = 1 + input.byte() % kMaxAScans;
    view.depth = 1 + input.byte() % kMaxDepth;
    velin::Options options;
    options.axialFactor = input.byte() % 10;
    options.gapScale = input.value<float>();
    options.widthSelector = input.value<float>();
    options.auxParameter = input.value<float>();
    options.smoothing = smoothingLevel(input.byte());
    const std::uint8_t run = input.byte();
    options.threads = (run & 3) == 3 ? 0 : (run & 3) + 1;
    options.boundaries = (run & 4) ? velin::Boundaries::Legacy : velin::Boundaries::Refined;
    options.depthSpacingUm = spacingUm(input.byte());
    options.aScanSpacingUm = spacingUm(input.byte());
    options.bScanSpacingUm = spacingUm(input.byte());
    const std::vector<std::uint8_t> samples = volumeSamples(input, view.numBScans, view.numAScans, view.depth);
    view.data = samples.data();

    const bool refused = static_cast<bool>(velin::checkArguments(velin::callArguments(view, options)));
    try {
        const velin::Result result = velin::segment(view, options);
        if (refused) broken("segment() accepted arguments checkArguments refuses");
        checkResult(result, view, options);
    } catch (const std::invalid_argument&) {
        if (!refused) broken("segment() refused arguments checkArguments accepts");
    }
}

}  // namespace velin_fuzz
