#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <cstdint>

namespace Orvan {
namespace Velin {

namespace {

// Half-width of the zone marked around a weak point, by A-scans per B-scan.
int markingHalfWidth(int aScans) {
    if (aScans < 221) return 1;
    if (aScans < 1000) return 5;
    return 10;
}

// Smoothing length of each sweep. It switches at 1024 A-scans while the marking switches at 1000; the two
// thresholds are independent on purpose.
int sweepSmoothingLength(int aScans) { return aScans < 1024 ? 7 : 21; }

// Extra smoothing in few-scans mode, where the cross-scan passes that would otherwise steady the traces
// do not run.
int fewScansSmoothingLength(int aScans) {
    if (aScans < 512) return 5;
    if (aScans < 1024) return 11;
    return 21;
}

constexpr int kSnapRadius = 10;
constexpr int kSweeps = 2;

using MarkList = CheckedList<std::uint8_t>;

bool isMarked(const MarkList& marks, const BoundaryPoint& p) { return marks[static_cast<std::size_t>(p.aScan)] != 0; }

// Replaces every run of marked points that has an unmarked anchor on both sides by the straight line between
// the anchors. A run reaching the last point has no anchor after it and is left alone.
void bridgeMarkedRuns(Trace& trace, const MarkList& marks) {
    const int n = static_cast<int>(trace.size());
    if (n == 1) return;
    for (int i = 1; i < n; ++i) {
        if (isMarked(marks, trace[i - 1]) || !isMarked(marks, trace[i])) continue;

        int end = -1;
        for (int r = i; r < n - 1; ++r) {
            if (isMarked(marks, trace[r]) && !isMarked(marks, trace[r + 1])) {
                end = r;
                break;
            }
        }
        if (end < 0) continue;

        const BoundaryPoint before = trace[i - 1];
        const BoundaryPoint after = trace[end + 1];
        const std::int32_t dA = after.aScan - before.aScan;
        const std::int32_t dD = after.depth - before.depth;
        if (dA == 0) continue;
        const std::int32_t sign = dA > 0 ? 1 : -1;
        for (int t = 0; t <= end - i; ++t) {
            trace[i + t].depth = before.depth + ((t + 1) * sign * dD) / dA;
        }
    }
}

}  // namespace

// Weak points (weight <= 0) are widened to 2h + 1 A-scans so that their direct neighbours, which tend to be
// pulled by the same artefact, are replaced as well; the line is drawn between the first points outside
// that zone. Marks are kept per A-scan, so a weak point of one segment also marks an overlapping segment.
void VelinDetectorIpp::bridgeWeakRuns() {
    const int aScans = numAScans;
    const int halfWidth = markingHalfWidth(aScans);

    MarkList marks(static_cast<std::size_t>(std::max(aScans, 0)), 0);
    for (std::size_t k = 0; k < upperTraces.size(); ++k) {
        const Trace& upper = upperTraces[k];
        const ValueList& weights = lowerWeights[k];
        for (std::size_t i = 0; i < upper.size(); ++i) {
            // Only weights at or below zero mark; a NaN weight, which a zero response scale leaves, does not.
            if (!(weights[i] <= 0.0f)) continue;
            const int a = upper[i].aScan;
            const int from = std::max(a - halfWidth, 0);
            const int to = std::min(a + halfWidth, aScans - 1);
            for (int m = from; m <= to; ++m) marks[static_cast<std::size_t>(m)] = 1;
        }
    }

    const int length = sweepSmoothingLength(aScans);
    for (int sweep = 0; sweep < kSweeps; ++sweep) {
        for (std::size_t k = 0; k < lowerTraces.size(); ++k) {
            Trace& lower = lowerTraces[k];
            const Trace& upper = upperTraces[k];
            bridgeMarkedRuns(lower, marks);
            // Snapping once is enough: the second sweep only re-bridges and smooths what the first left.
            if (sweep == 0) snapToResponseMinimum(responseImage, lower, kSnapRadius);
            smoothDepths(lower, length);
            for (std::size_t j = 0; j < lower.size(); ++j) {
                if (lower[j].depth < upper[j].depth) lower[j] = upper[j];
            }
        }
    }

    if (static_cast<std::uint8_t>(fewScansMode) != 0) {
        const int extra = fewScansSmoothingLength(aScans);
        for (std::size_t k = 0; k < lowerTraces.size(); ++k) smoothDepths(lowerTraces[k], extra);
    }
}

}  // namespace Velin
}  // namespace Orvan
