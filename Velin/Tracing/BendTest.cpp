#include <Velin/VelinDetectorIpp.h>

#include <cstdint>
#include <cstdlib>

namespace Orvan {
namespace Velin {

// The chord runs between the search limits of the first and last points. Only reliable interior points
// (weight > 0) may make a segment bent, so that a single stray limit cannot. The distance is compared as
// the unnormalised cross product against factor * |chord|^2, which is the same as comparing the point's
// distance from the chord with factor chord lengths, without a square root.
bool VelinDetectorIpp::isBentSegment(const Segment& segment, double factor, int& farthestIndex) {
    farthestIndex = 0;
    const int n = static_cast<int>(segment.size());
    if (n < 2) return false;

    const UpperPoint& first = segment[0];
    const UpperPoint& last = segment[n - 1];
    if (first.limitDepth == last.limitDepth && first.limitAScan == last.limitAScan) return false;

    const std::int32_t dx = last.limitDepth - first.limitDepth;
    const std::int32_t dy = last.limitAScan - first.limitAScan;

    std::int32_t largest = 0;
    int largestIndex = 0;
    for (int k = 1; k < n - 1; ++k) {
        const UpperPoint& p = segment[k];
        if (!(p.weight > 0.0f)) continue;
        const std::int32_t cross =
            std::abs((first.limitAScan - p.limitAScan) * dx - (first.limitDepth - p.limitDepth) * dy);
        if (cross > largest) {
            largest = cross;
            largestIndex = k;
        }
    }

    if (static_cast<double>(dx * dx + dy * dy) * factor < static_cast<double>(largest)) {
        farthestIndex = largestIndex;
        return true;
    }
    return false;
}

}  // namespace Velin
}  // namespace Orvan
