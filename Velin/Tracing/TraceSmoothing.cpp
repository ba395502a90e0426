#include <Velin/Image/IppPrimitives.h>
#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {

namespace {
constexpr int kMedianPasses = 2;

int signOf(std::int32_t v) { return (v > 0) - (v < 0); }
}  // namespace

// Two rounds of a median (which removes single-point spikes) followed by a neighbour average. The average
// leaves the centre sample out, so a point that survived the median still moves toward its neighbours.
// Short traces get a window of about half their length, so that the median does not flatten them entirely.
void VelinDetectorIpp::smoothDepths(Trace& trace, int length) {
    const int n = static_cast<int>(trace.size());
    if (n < 3) return;

    int window = length;
    if (n < 2 * length) window = n / 2 - 1;
    window = std::max(window, 1);

    // Plain buffers because the median primitive works on raw arrays; every index below lies in [0, n).
    std::vector<Ipp::Ipp16s> a(static_cast<std::size_t>(n));
    std::vector<Ipp::Ipp16s> b(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) a[i] = static_cast<Ipp::Ipp16s>(trace[i].depth);

    for (int pass = 0; pass < kMedianPasses; ++pass) {
        // An even window is reduced by one inside the primitive; its warning status carries no information.
        Ipp::ippsFilterMedian_16s(a.data(), b.data(), n, window);
        a[0] = b[0];
        a[1] = static_cast<Ipp::Ipp16s>((b[0] + b[2]) / 2);
        for (int i = 2; i <= n - 3; ++i) a[i] = static_cast<Ipp::Ipp16s>((b[i - 2] + b[i - 1] + b[i + 1] + b[i + 2]) / 4);
        a[n - 2] = static_cast<Ipp::Ipp16s>((b[n - 3] + b[n - 1]) / 2);
        a[n - 1] = b[n - 1];
    }

    for (int i = 0; i < n; ++i) trace[i].depth = a[i];
}

void VelinDetectorIpp::smoothDepthsWeighted(Trace& trace, const ValueList& weights, int length) {
    smoothDepths(trace, length);
    bridgeBelowMeanWeight(trace, weights);
}

// Points weaker than the trace's mean are not trusted; each run of them is replaced by the straight line
// between the reliable points on either side. The first point always serves as the left anchor, and the
// last one as the right anchor of a run that reaches the end, whatever their own weights.
void VelinDetectorIpp::bridgeBelowMeanWeight(Trace& trace, const ValueList& weights) {
    const int n = static_cast<int>(trace.size());
    if (weights.empty() || static_cast<int>(weights.size()) != n || n == 1) return;

    float sum = 0.0f;
    for (float w : weights) sum += w;
    const float mean = sum / static_cast<float>(n);

    for (int c = 0; c + 1 < n - 1; ++c) {
        if (!(weights[c + 1] < mean)) continue;
        if (c != 0 && !(weights[c] >= mean)) continue;

        int runEnd = -1;
        for (int r = c + 1; r <= n - 2; ++r) {
            if (weights[r] < mean && (r == n - 2 || weights[r + 1] >= mean)) {
                runEnd = r;
                break;
            }
        }
        if (runEnd < 0) continue;

        const BoundaryPoint before = trace[c];
        const BoundaryPoint after = trace[runEnd + 1];
        const std::int32_t dA = after.aScan - before.aScan;
        const std::int32_t dD = after.depth - before.depth;
        if (dA == 0) continue;
        const std::int32_t s = signOf(dA);
        for (int t = 1; t <= runEnd - c; ++t) trace[c + t].depth = before.depth + (t * s * dD) / dA;
    }
}

}  // namespace Velin
}  // namespace Orvan
