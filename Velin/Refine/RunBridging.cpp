#include <Velin/Refine/RunBridging.h>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace Orvan {
namespace Velin {
namespace Refine {

void bridgeRuns(std::vector<float>& values, const std::vector<std::uint8_t>& reliable, int maxRun,
                std::vector<float>* confidence) {
    const int n = static_cast<int>(values.size());
    const float missing = std::numeric_limits<float>::quiet_NaN();
    int a = 0;
    while (a < n) {
        if (reliable[static_cast<std::size_t>(a)]) {
            ++a;
            continue;
        }
        const int start = a;
        while (a < n && !reliable[static_cast<std::size_t>(a)]) ++a;
        const int end = a;  // one past the run
        const int length = end - start;
        const int left = start - 1, right = end;
        const bool hasLeft = left >= 0, hasRight = right < n;
        const bool bridged = length <= maxRun && (hasLeft || hasRight);
        float anchorConfidence = 0.0f;
        if (bridged && confidence) {
            const float l = hasLeft ? (*confidence)[static_cast<std::size_t>(left)] : 1.0f;
            const float r = hasRight ? (*confidence)[static_cast<std::size_t>(right)] : 1.0f;
            anchorConfidence = std::min(l, r) * (1.0f - static_cast<float>(length) / static_cast<float>(maxRun + 1));
        }
        for (int k = start; k < end; ++k) {
            float value = missing;
            if (bridged && hasLeft && hasRight) {
                const float t = static_cast<float>(k - left) / static_cast<float>(right - left);
                value = values[static_cast<std::size_t>(left)] +
                        t * (values[static_cast<std::size_t>(right)] - values[static_cast<std::size_t>(left)]);
            } else if (bridged) {
                value = values[static_cast<std::size_t>(hasLeft ? left : right)];
            }
            values[static_cast<std::size_t>(k)] = value;
            if (confidence) (*confidence)[static_cast<std::size_t>(k)] = bridged ? anchorConfidence : 0.0f;
        }
    }
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
