#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace Orvan {
namespace Velin {
namespace {

// Narrow B-scans need fewer edge points to count as a layer.
constexpr int kNarrowScanRows = 200;
constexpr int kMinPointsNarrow = 15;
constexpr int kMinPoints = 30;
// A row with this many mask pixels above its edge has tissue (or noise) above the layer: no edge point.
constexpr int kMaxPixelsAboveEdge = 20;
// A layer's mean edge depth must lie farther than this from both ends of the data's depth range.
constexpr int kMinDistanceFromDataEnds = 19;
// Few-scans volumes: more than kMaxJumps steps of more than kJumpSize between neighbours reject the layer.
constexpr int kJumpSize = 40;
constexpr int kMaxJumps = 2;

}  // namespace

bool VelinDetectorIpp::checkMaskLayer(Trace& points, bool strict) {
    const int width = maskImage.getWidth();
    const int height = maskImage.getHeight();
    minPointCount = height < kNarrowScanRows ? kMinPointsNarrow : kMinPoints;

    const std::size_t firstNew = points.size();
    std::int32_t sum = 0;
    int topRows = 0;
    for (int y = 1; y < height - 1; ++y) {
        const Ipp::Ipp8u* row = maskImage.getRow(y);
        int edge = 0;
        for (int x = 1; x < width - 1; ++x) {
            if (row[x - 1] == 0 && row[x] != 0) {
                edge = x;
                break;
            }
        }
        if (edge == 0) continue;
        if (edge > dataFirstDepth) {
            int above = 0;
            for (int x = 2; x <= edge - 2; ++x) above += row[x] != 0 ? 1 : 0;
            if (above < kMaxPixelsAboveEdge) {
                points.push_back(BoundaryPoint{edge, y});
                sum += edge;
            }
        }
        // An edge right at the frame means the mask reaches the top of the B-scan.
        if (edge < 2) ++topRows;
    }
    std::int32_t n = static_cast<std::int32_t>(points.size() - firstNew);

    if (strict && static_cast<std::uint8_t>(fewScansMode) != 0) {
        // Reads the first point unconditionally: an empty result here is an out-of-range access.
        BoundaryPoint previous = points[firstNew];
        int jumps = 0;
        for (std::size_t i = firstNew + 1; i < points.size(); ++i) {
            const BoundaryPoint& current = points[i];
            const int step =
                std::max(std::abs(current.depth - previous.depth), std::abs(current.aScan - previous.aScan));
            if (step > kJumpSize) ++jumps;
            previous = current;
        }
        if (jumps > kMaxJumps) n = 0;
    }

    if (n < minPointCount) return false;
    if (n < 4 * topRows) return false;
    const std::int32_t mean = sum / n;
    return std::abs(dataFirstDepth - mean) > kMinDistanceFromDataEnds &&
           std::abs(dataLastDepth - mean) > kMinDistanceFromDataEnds;
}

}  // namespace Velin
}  // namespace Orvan
