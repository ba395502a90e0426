#include <Velin/Refine/BScanRefinement.h>

#include <Velin/Refine/LateralSmoothing.h>
#include <Velin/Refine/RunBridging.h>
#include <Velin/Refine/ShadowWeights.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Orvan {
namespace Velin {
namespace Refine {
namespace {

constexpr float kMissing = std::numeric_limits<float>::quiet_NaN();
// An edge weaker than this share of the B-scan's typical edge is not trusted and is bridged instead.
constexpr float kWeakEdgeShare = 0.25f;
// Tissue darker than this share of the nerve-fibre layer's own brightness is not nerve-fibre layer: a lower
// boundary candidate with such tissue above it has passed the layer.
constexpr float kDarkShare = 0.75f;
// A-scans with a shadow weight below this are bridged rather than measured.
constexpr float kLitEnough = 0.5f;
// The least step, in grey levels of the 8-bit samples, that counts as an edge at all: the detector answers a
// step of h levels with h, and flat regions without signal (a floater's shadow, a blink) answer next to 0.
constexpr float kMinimumContrast = 4.0f;

float median(std::vector<float>& values) {
    if (values.empty()) return 0.0f;
    auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// The typical edge of a band: the median, over the columns that hold an edge at all, of each column's
// strongest response; 0 when none does. Columns without signal are left out, so that a B-scan mostly lost
// still measures its edges against the ones it has.
float typicalEdge(const BandImage& response) {
    std::vector<float> strongest;
    for (int a = 0; a < response.columns(); ++a) {
        const int count = response.count(a);
        if (count == 0) continue;
        const float peak = *std::max_element(response.column(a), response.column(a) + count);
        if (peak >= kMinimumContrast) strongest.push_back(peak);
    }
    return median(strongest);
}

// Whether an edge of `strength` is trusted, against the band's typical edge.
bool trusted(float strength, float typical) { return strength >= std::max(kWeakEdgeShare * typical, kMinimumContrast); }

std::size_t index(int a) { return static_cast<std::size_t>(a); }

}  // namespace

BScanRefiner::BScanRefiner(const RefineSettings& settings)
    : settings_(settings), detector_(settings.axialSigma), lateralWeights_(gaussianWeights(settings.lateralSigma)) {}

void BScanRefiner::refine(const BScanInput& in, const BScanOutput& out) {
    std::fill(out.upper, out.upper + in.numAScans, kMissing);
    std::fill(out.lower, out.lower + in.numAScans, kMissing);
    std::fill(out.upperConfidence, out.upperConfidence + in.numAScans, 0.0f);
    std::fill(out.lowerConfidence, out.lowerConfidence + in.numAScans, 0.0f);
    if (in.numAScans <= 0 || in.depth <= 0 || !prepareStart(in)) return;
    smoothWindows(in);
    if (refineUpper(out)) refineLower(in, out);
}

bool BScanRefiner::prepareStart(const BScanInput& in) {
    const int n = in.numAScans;
    auto valid = [&in](std::int16_t depth) { return depth >= 0 && depth < in.depth; };
    upperStart_.assign(index(n), kMissing);
    reliable_.assign(index(n), 0);
    bool any = false;
    for (int a = 0; a < n; ++a) {
        if (!valid(in.upperStart[a])) continue;
        upperStart_[index(a)] = in.upperStart[a];
        reliable_[index(a)] = 1;
        any = true;
    }
    if (!any) return false;
    bridgeRuns(upperStart_, reliable_, settings_.maxBridge);

    // The lower start is kept as a thickness below the top, which is what varies slowly along the B-scan.
    thicknessStart_.assign(index(n), 0.0f);
    reliable_.assign(index(n), 0);
    any = false;
    for (int a = 0; a < n; ++a) {
        const std::int16_t upper = in.upperStart[a], lower = in.lowerStart[a];
        if (!valid(upper) || !valid(lower) || lower < upper) continue;
        thicknessStart_[index(a)] = static_cast<float>(lower - upper);
        reliable_[index(a)] = 1;
        any = true;
    }
    if (any) bridgeRuns(thicknessStart_, reliable_, settings_.maxBridge);
    // Where no lower start is known the band below the top is the margin alone.
    for (float& t : thicknessStart_)
        if (std::isnan(t)) t = 0.0f;
    return true;
}

void BScanRefiner::smoothWindows(const BScanInput& in) {
    const int n = in.numAScans, reach = detector_.reach();
    first_.assign(index(n), 0);
    count_.assign(index(n), 0);
    for (int a = 0; a < n; ++a) {
        if (std::isnan(upperStart_[index(a)])) continue;
        // Room for the top's band, the lower band below the deepest top the band allows, and the detector.
        const int top = static_cast<int>(std::lround(upperStart_[index(a)]));
        const int thickness = static_cast<int>(std::lround(thicknessStart_[index(a)])) + settings_.lowerMargin;
        const int lo = std::max(0, top - settings_.upperBandAbove - reach);
        const int hi = std::min(in.depth, top + settings_.upperBandBelow + 1 + thickness + reach + 1);
        first_[index(a)] = lo;
        count_[index(a)] = hi - lo;
    }
    smoothed_.layout(first_, count_);
    smoothAcrossAScans(in.samples, n, in.depth, lateralWeights_, smoothed_);
}

void BScanRefiner::computeResponses(const std::vector<int>& first, const std::vector<int>& count, float sign) {
    response_.layout(first, count);
    for (int a = 0; a < response_.columns(); ++a)
        detector_.responses(smoothed_.column(a), smoothed_.first(a), response_.first(a), response_.count(a), sign,
                            response_.column(a));
}

bool BScanRefiner::refineUpper(const BScanOutput& out) {
    const int n = smoothed_.columns(), reach = detector_.reach();
    for (int a = 0; a < n; ++a) {
        count_[index(a)] = 0;
        if (smoothed_.count(a) == 0) continue;
        const int top = static_cast<int>(std::lround(upperStart_[index(a)]));
        const int lo = std::max(top - settings_.upperBandAbove, smoothed_.first(a) + reach);
        const int hi = std::min(top + settings_.upperBandBelow, smoothed_.end(a) - reach);
        first_[index(a)] = lo;
        count_[index(a)] = std::max(0, hi - lo + 1);
    }
    // The top is where the samples brighten going down: vitreous above, nerve-fibre layer below.
    computeResponses(first_, count_, 1.0f);
    const float scale = typicalEdge(response_);
    if (!(scale > 0.0f)) return false;

    cost_.layout(first_, count_);
    const float weight = static_cast<float>(settings_.columnWeight) / scale;
    for (int a = 0; a < n; ++a)
        for (int i = 0; i < cost_.count(a); ++i) cost_.column(a)[i] = -weight * response_.column(a)[i];
    const std::vector<int> path = cheapestPath(cost_, settings_.upperMaxStep, settings_.stepPenalty, workspace_);

    clearPoints(n);
    for (int a = 0; a < n; ++a) {
        if (path[index(a)] < 0) continue;
        const PlacedEdge edge =
            placeEdge(response_.column(a), response_.first(a), response_.end(a) - 1, path[index(a)]);
        values_[index(a)] = static_cast<float>(edge.depth);
        confidence_[index(a)] = std::clamp(edge.strength / scale, 0.0f, 1.0f);
        reliable_[index(a)] = trusted(edge.strength, scale);
    }
    bridgeRuns(values_, reliable_, settings_.maxBridge, &confidence_);
    std::copy(values_.begin(), values_.end(), out.upper);
    std::copy(confidence_.begin(), confidence_.end(), out.upperConfidence);
    return std::any_of(values_.begin(), values_.end(), [](float v) { return !std::isnan(v); });
}

void BScanRefiner::clearPoints(int n) {
    values_.assign(index(n), kMissing);
    confidence_.assign(index(n), 0.0f);
    reliable_.assign(index(n), 0);
}

float BScanRefiner::nerveFibreBrightness(const BScanOutput& out) const {
    std::vector<float> brightest;
    for (int a = 0; a < smoothed_.columns(); ++a) {
        if (std::isnan(out.upper[a]) || smoothed_.count(a) == 0) continue;
        const int lo = std::max(static_cast<int>(std::ceil(out.upper[a])), smoothed_.first(a));
        const int hi = std::min(lo + settings_.nerveFibreReach, smoothed_.end(a));
        if (hi <= lo) continue;
        const float* samples = smoothed_.column(a) - smoothed_.first(a);
        brightest.push_back(*std::max_element(samples + lo, samples + hi));
    }
    return median(brightest);
}

void BScanRefiner::refineLower(const BScanInput& in, const BScanOutput& out) {
    const int n = in.numAScans, reach = detector_.reach();

    std::vector<int> slabStart(index(n), 0), slabEnd(index(n), 0);
    rowFirst_.assign(index(n), 0);
    for (int a = 0; a < n; ++a) {
        count_[index(a)] = 0;
        const float upper = out.upper[a];
        if (std::isnan(upper)) continue;
        const float thickness = std::max(thicknessStart_[index(a)], 0.0f);
        slabStart[index(a)] = static_cast<int>(std::lround(upper + thickness)) + settings_.shadowSlabStart;
        slabEnd[index(a)] = static_cast<int>(std::lround(upper)) + settings_.shadowSlabEnd;
        if (smoothed_.count(a) == 0) continue;
        // Rows are boundaries below the top: the first lies below the top's own sample.
        const int base = static_cast<int>(std::floor(upper)) + 1;
        const int span = static_cast<int>(std::lround(thickness)) + settings_.lowerMargin;
        const int lo = std::max(base, smoothed_.first(a) + reach);
        const int hi = std::min(base + span, smoothed_.end(a) - reach);
        rowFirst_[index(a)] = base;
        first_[index(a)] = lo;
        count_[index(a)] = std::max(0, hi - lo + 1);
    }
    const std::vector<float> lit = shadowWeights(in.samples, n, in.depth, slabStart, slabEnd, settings_.shadowWindow);

    // The lower boundary is where the nerve-fibre layer gives way to darker tissue going down.
    computeResponses(first_, count_, -1.0f);
    const float scale = typicalEdge(response_);
    const float brightness = nerveFibreBrightness(out);
    if (!(scale > 0.0f) || !(brightness > 0.0f)) return;
    const float threshold = kDarkShare * brightness;

    // Costs by thickness below the top (row - base), so that the path's steps limit the change of thickness.
    std::vector<int> thicknessFirst(index(n));
    for (int a = 0; a < n; ++a) thicknessFirst[index(a)] = first_[index(a)] - rowFirst_[index(a)];
    cost_.layout(thicknessFirst, count_);
    for (int a = 0; a < n; ++a) {
        const int count = cost_.count(a);
        if (count == 0) continue;
        const float weight = lit[index(a)] * static_cast<float>(settings_.columnWeight);
        const float* samples = smoothed_.column(a) - smoothed_.first(a);
        // Dark tissue between the top and a candidate, its first and last sample (mixed with the tissue
        // around them) left out, in samples of full darkness.
        const int darkFrom = std::max(static_cast<int>(std::ceil(out.upper[a])) + 1, smoothed_.first(a));
        float dark = 0.0f;
        int darkTo = darkFrom;  // dark holds samples darkFrom .. darkTo - 1
        for (int i = 0; i < count; ++i) {
            const int row = response_.first(a) + i;
            for (; darkTo < row - 1; ++darkTo) dark += std::max(0.0f, threshold - samples[darkTo]) / brightness;
            cost_.column(a)[i] =
                weight * (-response_.column(a)[i] / scale + static_cast<float>(settings_.darkPenalty) * dark);
        }
    }
    const std::vector<int> path = cheapestPath(cost_, settings_.lowerMaxStep, settings_.stepPenalty, workspace_);

    clearPoints(n);
    for (int a = 0; a < n; ++a) {
        if (path[index(a)] < 0) continue;
        const int row = rowFirst_[index(a)] + path[index(a)];
        const PlacedEdge edge = placeEdge(response_.column(a), response_.first(a), response_.end(a) - 1, row);
        values_[index(a)] = static_cast<float>(edge.depth) - out.upper[a];
        confidence_[index(a)] = lit[index(a)] * std::clamp(edge.strength / scale, 0.0f, 1.0f);
        reliable_[index(a)] = lit[index(a)] >= kLitEnough && trusted(edge.strength, scale);
    }
    // Shadows and weak stretches are bridged in thickness: the layer keeps its course under a vessel.
    bridgeRuns(values_, reliable_, settings_.maxBridge, &confidence_);
    for (int a = 0; a < n; ++a) {
        const float thickness = values_[index(a)];
        if (std::isnan(out.upper[a]) || std::isnan(thickness)) continue;
        out.lower[a] = out.upper[a] + std::max(thickness, 0.0f);
        out.lowerConfidence[a] = confidence_[index(a)];
    }
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
