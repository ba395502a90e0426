#include <Velin/VelinDetectorIpp.h>

#include <algorithm>

namespace Orvan {
namespace Velin {

namespace {
constexpr int kChainSmoothing = 7;
constexpr int kSnapRadius = 25;
// The strongest response lies on the transition into the layer; the layer itself starts two samples deeper.
constexpr int kSnapOffset = 2;
constexpr float kNoValue = -1000000.0f;
}  // namespace

bool VelinDetectorIpp::snapTracesToResponseMaximum(const ippImage32f& response) {
    if (upperTraces.empty()) return false;

    for (Trace& chain : upperTraces) smoothDepths(chain, kChainSmoothing);

    const int width = response.getWidth();
    for (Trace& chain : upperTraces) {
        for (BoundaryPoint& p : chain) {
            const int d = p.depth;
            // Near the top of the image the window starts at the point itself rather than at the frame.
            const int lo = (d - kSnapRadius >= 1) ? d - kSnapRadius : d;
            const int hi = std::min(d + kSnapRadius, width - 1);
            const float* row = response.getRow(p.aScan);
            float best = kNoValue;
            int bestDepth = -1;
            for (int x = lo; x < hi; ++x) {
                if (row[x] > best) {
                    best = row[x];
                    bestDepth = x;
                }
            }
            if (bestDepth >= 0) p.depth = bestDepth + kSnapOffset;
        }
    }
    return true;
}

}  // namespace Velin
}  // namespace Orvan
