#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace Orvan {
namespace Velin {

namespace {
constexpr int kLimitReach = 100;
constexpr int kLimitSmoothing = 7;

int signOf(std::int32_t v) { return (v > 0) - (v < 0); }

// Moves every search limit to the strongest response within reach below it, and returns the positions of
// the strongest (A) and weakest (B) responses. Least and greatest start beyond any response, so the first
// sample always sets the least and, since a sample that sets a new least is not also tested as a greatest,
// never becomes the greatest: the limit moves to the strongest response that follows a rise, and a response
// that only falls keeps the limit where it is. Ties keep the earlier position.
void moveLimitsToMaximum(const Orvan::Ipp::ippImage32f& response, int width, Segment& segment, Trace& maxima,
                         Trace& minima) {
    for (UpperPoint& q : segment) {
        const int start = q.limitDepth;
        const int stop = std::min(q.limitDepth + kLimitReach, width - 1);
        int minPos = start;
        int maxPos = start;
        if (start < stop) {
            const float* row = response.getRow(q.limitAScan);
            float least = std::numeric_limits<float>::max();
            float greatest = -std::numeric_limits<float>::max();
            for (int x = start; x < stop; ++x) {
                if (row[x] < least) {
                    least = row[x];
                    minPos = x;
                } else if (row[x] > greatest) {
                    greatest = row[x];
                    maxPos = x;
                }
            }
        }
        maxima.push_back(BoundaryPoint{maxPos, q.limitAScan});
        minima.push_back(BoundaryPoint{minPos, q.limitAScan});
        q.limitDepth = maxPos;
    }
}

// A reliable point whose layer, between the smoothed strongest and weakest responses, is darker than four
// fifths of the segment's average loses its reliability.
void dropDarkPoints(const Orvan::Ipp::ippImage8u& smooth, const Trace& maxima, const Trace& minima,
                    Segment& segment) {
    const int n = static_cast<int>(segment.size());
    CheckedList<std::int32_t> means(static_cast<std::size_t>(n), 0);
    std::int32_t meanSum = 0;
    std::int32_t counted = 0;
    for (int i = 0; i < n; ++i) {
        if (!(segment[i].weight > 0.0f)) continue;
        const int from = maxima[i].depth;
        const int to = minima[i].depth;
        if (to >= from) {
            const std::uint8_t* row = smooth.getRow(maxima[i].aScan);
            std::int32_t sum = 0;
            for (int x = from; x <= to; ++x) sum += row[x];
            means[i] = sum / (to - from + 1);
        }
        meanSum += means[i];
        ++counted;
    }
    if (counted == 0) return;

    const std::int32_t average = meanSum / counted;
    for (int i = 0; i < n; ++i) {
        if (5 * means[i] < 4 * average) segment[i].weight = 0.0f;
    }
}

// Each run of unreliable points between two reliable ones gets limits on the straight line between the
// ends' limits. The slope is taken over the ends' A-scan distance, not over their index distance.
void bridgeWeakLimits(Segment& segment) {
    const int n = static_cast<int>(segment.size());
    for (int i = 1; i < n; ++i) {
        if (!(segment[i - 1].weight > 0.0f) || segment[i].weight > 0.0f) continue;
        int k = i + 1;
        while (k < n && !(segment[k].weight > 0.0f)) ++k;
        if (k >= n) continue;

        const UpperPoint& left = segment[i - 1];
        const std::int32_t dA = segment[k].limitAScan - left.limitAScan;
        const std::int32_t dD = segment[k].limitDepth - left.limitDepth;
        const std::int32_t s = signOf(dA);
        if (dA == 0 || k - (i - 1) <= 1) continue;
        const std::int32_t base = left.limitDepth;
        for (int m = 1; m <= k - i; ++m) segment[i - 1 + m].limitDepth = base + (m * s * dD) / dA;
    }
}
}  // namespace

bool VelinDetectorIpp::refineUpperPoints() {
    if (upperSegments.empty()) return false;

    const int width = smoothImage.getWidth();
    for (Segment& segment : upperSegments) {
        Trace maxima;
        Trace minima;
        moveLimitsToMaximum(responseImage, width, segment, maxima, minima);
        smoothDepths(maxima, kLimitSmoothing);
        smoothDepths(minima, kLimitSmoothing);
        dropDarkPoints(smoothImage, maxima, minima, segment);
    }
    for (Segment& segment : upperSegments) bridgeWeakLimits(segment);
    return true;
}

}  // namespace Velin
}  // namespace Orvan
