#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Orvan {
namespace Velin {

namespace {

constexpr int kWindow = 50;              // points on each side of a fitted line
constexpr double kFarDistance = 100000.0;
constexpr double kAcceptDistance = 30.0;  // a nearer candidate is taken, a farther one gives way to the deepest
constexpr double kDeepBias = 0.75;        // an upper candidate must be clearly nearer than a lower one
constexpr std::int32_t kDepthLimit = 1024;
constexpr std::int32_t kDepthCap = 1022;  // fixed, whatever the image depth
constexpr int kSnapRadius = 10;
constexpr int kSmoothingLength = 7;
constexpr double kBendFactor = 0.2;

// Copies the index range [from, to) of a list.
template <class T>
CheckedList<T> slice(const CheckedList<T>& list, std::size_t from, std::size_t to) {
    CheckedList<T> part;
    part.reserve(to - from);
    for (std::size_t i = from; i < to; ++i) part.push_back(list[i]);
    return part;
}

}  // namespace

// The third refinement pass. With several lower traces each is reselected with lines fitted through the
// points before each A-scan. A lone trace is the common case of a clean B-scan and is reselected with
// lines centred on each A-scan, which follow the boundary more closely; when its segment is bent, the
// trace is first cut at the bend so that no line is fitted across the kink (docs/line-guided-reselection.md).
void VelinDetectorIpp::reselectLowerTraces() {
    const std::size_t count = lowerTraces.size();
    if (count > 1) {
        for (std::size_t k = 0; k < count; ++k) {
            reselectAlongLocalLines(upperTraces[k], lowerTraces[k], lowerWeights[k], candidateLists[k], 0);
        }
        return;
    }
    if (count == 0) return;

    Trace& upper = upperTraces[0];
    Trace& lower = lowerTraces[0];
    const ValueList& weights = lowerWeights[0];
    const CheckedList<CandidateList>& candidates = candidateLists[0];
    const std::size_t n = lower.size();

    // The stored trace comes from the first upper segment that held more than one point; only that
    // segment carries the search limits and point weights the bend test reads.
    int split = 0;
    for (const Segment& segment : upperSegments) {
        if (segment.size() < 2) continue;
        if (segment.size() == n) isBentSegment(segment, kBendFactor, split);
        break;
    }

    if (split <= 0) {
        reselectAlongLocalLines(upper, lower, weights, candidates, 1);
        return;
    }

    const std::size_t cut = static_cast<std::size_t>(split);
    const std::size_t bounds[3] = {0, cut, n};
    for (int part = 0; part < 2; ++part) {
        const std::size_t from = bounds[part];
        const std::size_t to = bounds[part + 1];
        const Trace partUpper = slice(upper, from, to);
        Trace partLower = slice(lower, from, to);
        const ValueList partWeights = slice(weights, from, to);
        const CheckedList<CandidateList> partCandidates = slice(candidates, from, to);
        reselectAlongLocalLines(partUpper, partLower, partWeights, partCandidates, 1);
        for (std::size_t i = from; i < to; ++i) lower[i] = partLower[i - from];
    }
}

// Each point is re-decided against a line fitted through its neighbours as they already stand, so the
// order forward, backward, tail is part of the result. The first m points have no m predecessors and are
// done backward from lines fitted through the points after them.
void VelinDetectorIpp::reselectAlongLocalLines(const Trace& upper, Trace& lower, const ValueList& weights,
                                               const CheckedList<CandidateList>& candidates, int centred) {
    const int n = static_cast<int>(lower.size());
    const int m = std::min(n, kWindow);
    const int end = centred > 0 ? n - m : n;

    for (int i = m; i < end; ++i) {
        double intercept = 0.0;
        double slope = 0.0;
        const bool fitted = centred != 0 ? fitLocalLine(2 * m, i - m, lower, weights, intercept, slope)
                                         : fitLocalLine(m, i - m, lower, weights, intercept, slope);
        if (fitted) reselectPoint(centred, candidates[i], intercept, slope, upper[i], lower[i]);
    }

    for (int i = m - 1; i >= 0; --i) {
        double intercept = 0.0;
        double slope = 0.0;
        if (fitLocalLine(m, i + 1, lower, weights, intercept, slope)) {
            reselectPoint(1, candidates[i], intercept, slope, upper[i], lower[i]);
        }
    }

    if (centred > 0 && end < n) {
        for (int i = end; i < n; ++i) {
            double intercept = 0.0;
            double slope = 0.0;
            if (fitLocalLine(m, i - m, lower, weights, intercept, slope)) {
                reselectPoint(1, candidates[i], intercept, slope, upper[i], lower[i]);
            }
        }
    }

    snapToResponseMinimum(responseImage, lower, kSnapRadius);
    smoothDepths(lower, kSmoothingLength);
}

// Weighted least squares of depth over A-scan. Only points that sit on a real valley of the response count,
// weighted by how deep the valley is relative to the deepest of the B-scan.
bool VelinDetectorIpp::fitLocalLine(int count, int start, const Trace& lower, const ValueList& weights,
                                    double& intercept, double& slope) {
    intercept = 0.0;
    slope = 0.0;
    const int n = static_cast<int>(lower.size());
    if (n < count || start < 0 || start > n - count) return false;

    double sw = 0.0, sy = 0.0, sx = 0.0, sxy = 0.0, syy = 0.0;
    int used = 0;
    for (int k = start; k < start + count; ++k) {
        if (!(weights[k] > 0.0f)) continue;
        const BoundaryPoint& p = lower[k];
        const float response = responseImage.getRow(p.aScan)[p.depth];
        if (!(response < 0.0f) || !(responseMin < 0.0f) || std::fabs(responseMin) < 1e-6f) continue;
        const double w = response / responseMin;
        const std::int32_t y = p.aScan;
        const std::int32_t x = p.depth;
        sw += w;
        sy += w * y;
        sx += w * x;
        sxy += w * static_cast<double>(y * x);
        syy += w * static_cast<double>(y * y);
        ++used;
    }
    if (used < 2) return false;

    const double denominatorLeft = sw * syy;
    const double denominatorRight = sy * sy;
    slope = denominatorLeft == denominatorRight ? 0.0 : (sw * sxy - sx * sy) / (denominatorLeft - denominatorRight);
    intercept = sw > 0.0 ? (sx - sy * slope) / sw : 0.0;
    return true;
}

// Moves a lower point to the candidate nearest the fitted line when that is nearer than the point itself.
// Mode 0 prefers the candidate at or below the line unless one above is clearly nearer, since the
// boundary sought is the lower edge of the layer and the shallower valleys are mostly inside it.
void VelinDetectorIpp::reselectPoint(int mode, const CandidateList& candidates, double intercept, double slope,
                                     const BoundaryPoint& upper, BoundaryPoint& lower) {
    const double norm = std::sqrt(slope * slope + 1.0);
    const double predicted = slope * lower.aScan + intercept;
    const double current = std::fabs((slope * lower.aScan - lower.depth + intercept) / norm);
    auto distance = [&](const ExtremumRecord& c) {
        return std::fabs((slope * c.aScan - c.depth + intercept) / norm);
    };

    if (candidates.empty()) {
        lower.depth = static_cast<std::int32_t>(predicted);
    } else {
        int chosen = -1;
        double chosenDistance = kFarDistance;
        if (mode == 0) {
            int below = -1;
            int above = -1;
            double belowDistance = kFarDistance;
            double aboveDistance = std::numeric_limits<double>::max();
            for (std::size_t i = 0; i < candidates.size(); ++i) {
                const ExtremumRecord& c = candidates[i];
                const double d = distance(c);
                if (c.depth >= predicted) {
                    if (d < belowDistance) {
                        belowDistance = d;
                        below = static_cast<int>(i);
                    }
                } else if (predicted > c.depth && d < aboveDistance) {
                    aboveDistance = d;
                    above = static_cast<int>(i);
                }
            }
            if (kDeepBias * belowDistance > aboveDistance) {
                chosen = above;
                chosenDistance = aboveDistance;
            } else {
                chosen = below;
                chosenDistance = belowDistance;
            }
        } else {
            for (std::size_t i = 0; i < candidates.size(); ++i) {
                const double d = distance(candidates[i]);
                if (d < chosenDistance) {
                    chosenDistance = d;
                    chosen = static_cast<int>(i);
                }
            }
        }

        if (current > chosenDistance) {
            const ExtremumRecord& taken =
                chosenDistance < kAcceptDistance ? candidates[static_cast<std::size_t>(chosen)] : candidates.back();
            lower.depth = taken.depth;
            lower.aScan = taken.aScan;
        }
    }

    if (lower.depth < upper.depth) lower.depth = upper.depth;
    if (lower.depth >= kDepthLimit) lower.depth = kDepthCap;
}

}  // namespace Velin
}  // namespace Orvan
