#include <Velin/Refine/LateralSmoothing.h>

#include <Velin/Image/IppChecks.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Orvan {
namespace Velin {
namespace Refine {

std::vector<float> gaussianWeights(double sigma) {
    if (!(sigma > 0.0)) return {1.0f};
    const int radius = static_cast<int>(std::ceil(3.0 * sigma));
    std::vector<double> raw(static_cast<std::size_t>(2 * radius + 1));
    double sum = 0.0;
    for (int k = -radius; k <= radius; ++k) {
        raw[static_cast<std::size_t>(k + radius)] = std::exp(-0.5 * k * k / (sigma * sigma));
        sum += raw[static_cast<std::size_t>(k + radius)];
    }
    std::vector<float> weights(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) weights[i] = static_cast<float>(raw[i] / sum);
    return weights;
}

VELIN_SIMD_CLONES void smoothAcrossAScans(const std::uint8_t* bscan, int numAScans, int depth,
                                          const std::vector<float>& weights, BandImage& out) {
    const int radius = static_cast<int>(weights.size() / 2);
    for (int a = 0; a < out.columns(); ++a) {
        const int first = out.first(a), count = out.count(a);
        if (count == 0) continue;
        // Near the ends of the B-scan the kernel shrinks on both sides alike: a one-sided kernel would move a
        // sloping edge.
        const int reach = std::min({radius, a, numAScans - 1 - a});
        float sum = 0.0f;
        for (int k = -reach; k <= reach; ++k) sum += weights[static_cast<std::size_t>(k + radius)];
        float* values = out.column(a);
        const std::uint8_t* centre = bscan + static_cast<std::size_t>(a) * depth + first;
        const float w0 = weights[static_cast<std::size_t>(radius)] / sum;
        for (int i = 0; i < count; ++i) values[i] = w0 * static_cast<float>(centre[i]);
        // The kernel is symmetric: the two A-scans at equal distance share one weight, summed as integers first.
        for (int k = 1; k <= reach; ++k) {
            const std::uint8_t* left = centre - static_cast<std::size_t>(k) * depth;
            const std::uint8_t* right = centre + static_cast<std::size_t>(k) * depth;
            const float w = weights[static_cast<std::size_t>(radius + k)] / sum;
            for (int i = 0; i < count; ++i) values[i] += w * static_cast<float>(left[i] + right[i]);
        }
    }
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
