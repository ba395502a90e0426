#include <Velin/Refine/CrossScanAgreement.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

void agreeAcrossBScans(const BoundaryPlanes& planes, double tolerance) {
    const std::size_t rows = static_cast<std::size_t>(std::max(0, planes.numBScans));
    const std::size_t cols = static_cast<std::size_t>(std::max(0, planes.numAScans));
    if (rows < 3 || cols == 0) return;
    std::vector<float> thickness(rows * cols), confidence(planes.lowerConfidence, planes.lowerConfidence + rows * cols);
    for (std::size_t i = 0; i < rows * cols; ++i) thickness[i] = planes.lower[i] - planes.upper[i];
    const float limit = static_cast<float>(tolerance);

    for (std::size_t b = 1; b + 1 < rows; ++b) {
        for (std::size_t a = 0; a < cols; ++a) {
            const std::size_t here = b * cols + a, before = here - cols, after = here + cols;
            if (std::isnan(planes.upper[here])) continue;
            const float tb = thickness[before], ta = thickness[after], t = thickness[here];
            if (std::isnan(tb) || std::isnan(ta) || std::fabs(tb - ta) > limit) continue;
            const float mean = 0.5f * (tb + ta);
            float agreed = t;
            if (std::isnan(t) || std::fabs(t - mean) > limit) {
                agreed = mean;
                planes.lowerConfidence[here] = 0.5f * std::min(confidence[before], confidence[after]);
            } else {
                agreed = 0.25f * (tb + 2.0f * t + ta);
            }
            planes.lower[here] = planes.upper[here] + std::max(agreed, 0.0f);
        }
    }
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
