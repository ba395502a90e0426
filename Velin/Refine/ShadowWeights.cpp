#include <Velin/Refine/ShadowWeights.h>

#include <algorithm>
#include <cstddef>

namespace Orvan {
namespace Velin {
namespace Refine {

std::vector<float> shadowWeights(const std::uint8_t* bscan, int numAScans, int depth, const std::vector<int>& slabStart,
                                 const std::vector<int>& slabEnd, int window) {
    const std::size_t n = static_cast<std::size_t>(numAScans);
    std::vector<float> mean(n, 0.0f);
    std::vector<std::uint8_t> measured(n, 0);
    for (std::size_t a = 0; a < n; ++a) {
        const int start = std::max(0, slabStart[a]), end = std::min(depth, slabEnd[a]);
        if (end <= start) continue;
        const std::uint8_t* samples = bscan + a * static_cast<std::size_t>(depth);
        std::uint32_t sum = 0;
        for (int d = start; d < end; ++d) sum += samples[d];
        mean[a] = static_cast<float>(sum) / static_cast<float>(end - start);
        measured[a] = 1;
    }

    std::vector<float> weights(n, 0.0f);
    std::vector<float> around;
    for (std::size_t a = 0; a < n; ++a) {
        if (!measured[a]) continue;
        const std::size_t lo = a > static_cast<std::size_t>(window) ? a - window : 0;
        const std::size_t hi = std::min(n - 1, a + static_cast<std::size_t>(window));
        around.clear();
        for (std::size_t k = lo; k <= hi; ++k)
            if (measured[k]) around.push_back(mean[k]);
        auto middle = around.begin() + static_cast<std::ptrdiff_t>(around.size() / 2);
        std::nth_element(around.begin(), middle, around.end());
        const float median = *middle;
        if (!(median > 0.0f)) continue;
        const float ratio = mean[a] / median;
        weights[a] = std::clamp((ratio - kShadowedRatio) / (kLitRatio - kShadowedRatio), 0.0f, 1.0f);
    }
    return weights;
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
