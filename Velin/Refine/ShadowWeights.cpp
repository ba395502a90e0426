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

    // The window's means are kept sorted while it slides along the B-scan: one value leaves and one enters
    // per A-scan.
    std::vector<float> weights(n, 0.0f);
    std::vector<float> sorted;
    const std::size_t reach = static_cast<std::size_t>(std::max(0, window));
    auto enter = [&](std::size_t k) {
        if (measured[k]) sorted.insert(std::upper_bound(sorted.begin(), sorted.end(), mean[k]), mean[k]);
    };
    auto leave = [&](std::size_t k) {
        if (measured[k]) sorted.erase(std::lower_bound(sorted.begin(), sorted.end(), mean[k]));
    };
    for (std::size_t k = 0; k <= std::min(n - 1, reach); ++k) enter(k);
    for (std::size_t a = 0; a < n; ++a) {
        if (a > 0 && a + reach < n) enter(a + reach);
        if (a > reach) leave(a - reach - 1);
        if (!measured[a]) continue;
        const float median = sorted[sorted.size() / 2];
        if (!(median > 0.0f)) continue;
        const float ratio = mean[a] / median;
        weights[a] = std::clamp((ratio - kShadowedRatio) / (kLitRatio - kShadowedRatio), 0.0f, 1.0f);
    }
    return weights;
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
