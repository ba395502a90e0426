#include <Velin/VelinDetectorIpp.h>

namespace Orvan {
namespace Velin {

namespace {
constexpr float kNoValue = 1e6f;
}  // namespace

// Moves each lower point onto the deepest response valley within the radius; the shallowest of equal
// values wins. Points whose window would reach the image frame stay where they are.
void VelinDetectorIpp::snapToResponseMinimum(const ippImage32f& response, Trace& trace, int radius) {
    const int width = response.getWidth();
    if (radius < 1 || radius > width - 1) return;

    for (BoundaryPoint& p : trace) {
        const int x = p.depth;
        if (x - radius < 1 || x + radius > width - 1) continue;
        const float* row = response.getRow(p.aScan);
        float least = kNoValue;
        int leastDepth = x;
        for (int d = x - radius; d <= x + radius; ++d) {
            if (row[d] < least) {
                least = row[d];
                leastDepth = d;
            }
        }
        p.depth = leastDepth;
    }
}

}  // namespace Velin
}  // namespace Orvan
