#include <Velin/VelinDetectorIpp.h>

#include <Velin/Tracing/ResponseRange.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Orvan {
namespace Velin {

namespace {

constexpr float kFloatMax = 3.4028235e38f;
constexpr int kReferenceOffset = 5;   // below the upper point, inside the nerve-fibre layer
constexpr int kDarknessOffset = 3;    // just above a candidate, where the layer should end
constexpr int kContrastOffset = 7;    // half the span of the contrast across a candidate
constexpr double kSingleBendFactor = 0.4;
constexpr int kMargin = 10;           // points at either end of a segment that keep the first valley
constexpr double kSignificance = 0.5;
constexpr double kSignificanceWide = 0.3;  // for more than 512 A-scans on a regular, well-lit B-scan
constexpr int kWideAScans = 512;

bool isSet(std::int32_t flag) { return static_cast<std::uint8_t>(flag) != 0; }

struct SmoothingParameters {
    int snapRadius;
    int length;
};

SmoothingParameters smoothingFor(int aScans) {
    if (aScans <= 256) return {5, 7};
    if (aScans < 1000) return {10, 7};
    return {10, 21};
}

// The traces of one segment, built point by point and handed to the detector only when the segment
// yields more than one point.
struct SegmentTraces {
    Trace upper;
    Trace lower;
    ValueList upperResponses;
    ValueList lowerWeights;
    CheckedList<CandidateList> candidates;
};

}  // namespace

// Finds, below every upper-boundary point, the lower edge of the nerve-fibre layer as a negative valley of
// the depth-gradient response, then smooths and refines the lower traces. Each upper point yields exactly
// one lower point; where no valley qualifies the lower point is the upper point itself with weight 0, which
// the refinement passes treat as a gap to be bridged.
bool VelinDetectorIpp::traceBoundaries() {
    if (upperSegments.empty()) return false;
    std::size_t pointCount = 0;
    for (const Segment& segment : upperSegments) pointCount += segment.size();
    if (pointCount == 0) return false;

    const int width = intensityImage.getWidth();
    const int height = intensityImage.getHeight();
    const bool fewScans = isSet(fewScansMode);
    const bool filterMarked = isSet(filterStageMark);

    // Locals while folding: the members could alias the rows.
    float least = kFloatMax;
    float greatest = -kFloatMax;
    for (int y = 1; y < height - 1; ++y) foldRange(responseImage.getRow(y) + 1, width - 2, least, greatest);
    responseMin = least;
    responseMax = greatest;
    const float scale = std::max(std::fabs(responseMin), std::fabs(responseMax));

    upperTraces.clear();
    lowerTraces.clear();
    candidateLists.clear();

    // Several segments, or one that bends far off its chord, mean the retina is not a single smooth
    // sheet here; the deepest minimum is then left out of the candidates as likely belonging to a deeper
    // structure.
    bool irregular = true;
    if (upperSegments.size() < 2) {
        int farthest = 0;
        irregular = isBentSegment(upperSegments[0], kSingleBendFactor, farthest);
    }

    const auto intensity = [this](int aScan, int depthIndex) -> int {
        return intensityImage.getRow(aScan)[depthIndex];
    };
    const auto response = [this](int aScan, int depthIndex) -> float {
        return responseImage.getRow(aScan)[depthIndex];
    };
    const ExtremumRecord noCandidate{0, 0, 0.0f};
    const int margin = fewScans ? 0 : kMargin;
    const double threshold =
        (numAScans > kWideAScans && !filterMarked && !irregular) ? kSignificanceWide : kSignificance;

    for (const Segment& segment : upperSegments) {
        const int n = static_cast<int>(segment.size());
        if (n == 0) continue;

        // The reference intensity is the layer's own brightness just below its top. The column is kept
        // inside the row: a point within five samples of the bottom would otherwise read past it.
        int referenceSum = 0;
        for (const UpperPoint& p : segment) {
            referenceSum += intensity(p.aScan, std::min(p.depth + kReferenceOffset, width - 1));
        }
        const int reference = referenceSum / n;

        SegmentTraces traces;
        traces.upper.reserve(static_cast<std::size_t>(n));
        traces.lower.reserve(static_cast<std::size_t>(n));
        traces.upperResponses.reserve(static_cast<std::size_t>(n));
        traces.lowerWeights.reserve(static_cast<std::size_t>(n));
        traces.candidates.reserve(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) {
            const UpperPoint& point = segment[i];
            const BoundaryPoint own{point.depth, point.aScan};
            CandidateList& maxima = scratchMaxima;
            CandidateList& minima = scratchMinima;
            maxima.clear();
            minima.clear();
            findResponseExtrema(responseImage, point, maxima, minima);

            traces.upper.push_back(own);
            traces.upperResponses.push_back(response(point.aScan, point.depth) / scale);
            if (std::min(maxima.size(), minima.size()) < 1) {
                traces.lower.push_back(own);
                traces.lowerWeights.push_back(0.0f);
                traces.candidates.push_back(CandidateList{noCandidate});
                continue;
            }

            const int m = static_cast<int>(minima.size());
            int first = -1;
            for (int k = 0; k < m; ++k) {
                if (minima[k].value < 0.0f) {
                    first = k;
                    break;
                }
            }
            if (first < 0) {
                traces.lower.push_back(own);
                traces.lowerWeights.push_back(0.0f);
                traces.candidates.push_back(CandidateList{noCandidate});
                continue;
            }
            const float firstValue = minima[first].value;

            int end;
            if (!fewScans) {
                end = irregular ? m - 1 : m;
            } else {
                end = filterMarked ? m - 1 : m - 2;
            }

            CandidateList& candidates = traces.candidates.emplace_back();
            CandidateList& alternatives = scratchAlternatives;
            alternatives.clear();
            candidates.push_back(minima[first]);
            for (int k = first + 1; k < end; ++k) {
                if (minima[k].value <= 0.0f) {
                    candidates.push_back(minima[k]);
                    alternatives.push_back(minima[k]);
                }
            }

            ExtremumRecord chosen = minima[first];

            if (margin < i && i < n - margin) {
                // A deeper valley replaces the first one when it is about as dark as the default just above
                // it (or much sharper at a similar darkness), darker or sharper than the best so far, and
                // deeper in response.
                const int d0 = intensity(chosen.aScan, std::max(chosen.depth - kDarknessOffset, 0)) - reference;
                const int g0 = intensity(chosen.aScan, std::min(chosen.depth + kContrastOffset, width - 1)) -
                               intensity(chosen.aScan, std::max(chosen.depth - kContrastOffset, 0));
                float best = 1e6f;
                int bestDarkness = 1000000;
                int bestContrast = 1000000;
                int bestIndex = -1;
                for (std::size_t a = 0; a < alternatives.size(); ++a) {
                    const ExtremumRecord& alt = alternatives[a];
                    const int da = intensity(alt.aScan, std::max(alt.depth - kDarknessOffset, 0)) - reference;
                    const int ga = intensity(alt.aScan, std::min(alt.depth + kContrastOffset, width - 1)) -
                                   intensity(alt.aScan, std::max(alt.depth - kContrastOffset, 0));
                    const bool similarDarkness =
                        std::abs(da) <= std::abs(d0) ||
                        (std::abs(std::abs(da) - std::abs(d0)) * 5.0 < reference && std::abs(ga) >= 2 * std::abs(g0));
                    const bool improves = std::abs(da) < std::abs(bestDarkness) || ga < bestContrast;
                    if (similarDarkness && improves && alt.value < best) {
                        best = alt.value;
                        bestDarkness = da;
                        bestContrast = ga;
                        bestIndex = static_cast<int>(a);
                    }
                }
                const bool significant = bestIndex >= 0 && (firstValue - best) / std::fabs(best) > threshold;

                if (!fewScans) {
                    const bool reliable = point.weight > 0.0f && segment[i - 1].weight > 0.0f &&
                                          segment[i + 1].weight > 0.0f;
                    if (reliable) {
                        if (significant) chosen = alternatives[static_cast<std::size_t>(bestIndex)];
                    } else if (alternatives.size() >= 2) {
                        // At an unreliable upper point the first valley is often still inside the
                        // layer; the deep end of the candidates is preferred there on purpose.
                        chosen = alternatives[alternatives.size() - 2];
                    }
                } else if (significant) {
                    chosen = alternatives[static_cast<std::size_t>(bestIndex)];
                }
            }

            traces.lower.push_back(BoundaryPoint{chosen.depth, chosen.aScan});
            traces.lowerWeights.push_back(std::fabs(response(chosen.aScan, chosen.depth)) * point.weight / scale);
        }

        if (traces.upper.size() > 1) {
            upperTraces.push_back(std::move(traces.upper));
            lowerTraces.push_back(std::move(traces.lower));
            upperResponses.push_back(std::move(traces.upperResponses));
            lowerWeights.push_back(std::move(traces.lowerWeights));
            candidateLists.push_back(std::move(traces.candidates));
        }
    }

    const SmoothingParameters smoothing = smoothingFor(height);

    // Few-scans mode has no cross-scan passes to fall back on, so gaps are bridged before smoothing too.
    if (fewScans) bridgeWeakRuns();

    for (std::size_t k = 0; k < lowerTraces.size(); ++k) {
        Trace& upper = upperTraces[k];
        Trace& lower = lowerTraces[k];
        const ValueList& weights = lowerWeights[k];
        if (!fewScans) {
            smoothDepths(lower, smoothing.length);
            snapToResponseMinimum(responseImage, lower, smoothing.snapRadius);
            smoothDepths(lower, smoothing.length);
        } else {
            smoothDepths(upper, smoothing.length);
            smoothDepthsWeighted(lower, weights, smoothing.length);
            snapToResponseMinimum(responseImage, lower, smoothing.snapRadius);
            smoothDepthsWeighted(lower, weights, smoothing.length);
        }
        for (std::size_t i = 0; i < lower.size(); ++i) {
            if (lower[i].depth < upper[i].depth) lower[i] = upper[i];
        }
    }

    bridgeWeakRuns();
    refreshTraceWeights(scale);

    // The split at 512 A-scans (at least 512 here, more than 512 for the significance threshold) is kept.
    if (!fewScans && numAScans >= kWideAScans) {
        reselectLowerTraces();
        if (!filterMarked) bridgeWeakRuns();
        refreshTraceWeights(scale);
    }

    return !upperTraces.empty() && !lowerTraces.empty();
}

}  // namespace Velin
}  // namespace Orvan
