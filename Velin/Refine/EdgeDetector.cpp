#include <Velin/Refine/EdgeDetector.h>

#include <Velin/Image/IppChecks.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Orvan {
namespace Velin {
namespace Refine {
namespace {

// A detector of width sigma reaches 3 sigma on either side, and one sample more for the sample extents.
int detectorReach(double sigma) { return static_cast<int>(std::ceil(3.0 * sigma)) + 1; }

// Steps the peak search may take from the path's boundary to a local maximum.
constexpr int kClimbSteps = 2;

}  // namespace

EdgeDetector::EdgeDetector(double sigma) {
    const int r = detectorReach(sigma);
    // Sample z + k covers depths k .. k + 1 relative to the boundary; its weight is the integral of the
    // derivative of the Gaussian over that extent: G(k) - G(k + 1), negative above the boundary.
    auto gauss = [sigma](double x) { return std::exp(-0.5 * x * x / (sigma * sigma)); };
    weights_.resize(static_cast<std::size_t>(2 * r));
    double positive = 0.0;
    for (int k = -r; k < r; ++k) {
        const double w = gauss(k) - gauss(k + 1.0);
        weights_[static_cast<std::size_t>(k + r)] = static_cast<float>(w);
        if (w > 0.0) positive += w;
    }
    for (float& w : weights_) w = static_cast<float>(w / positive);
}

VELIN_SIMD_CLONES void EdgeDetector::responses(const float* samples, int firstSample, int firstBoundary, int count,
                                               float sign, float* out) const {
    std::fill(out, out + count, 0.0f);
    // Tap by tap over all boundaries, so that neighbouring boundaries are computed together.
    const float* at = samples + (firstBoundary - reach() - firstSample);
    for (std::size_t k = 0; k < weights_.size(); ++k) {
        const float w = sign * weights_[k];
        for (int i = 0; i < count; ++i) out[i] += w * at[static_cast<std::size_t>(i) + k];
    }
}

PlacedEdge placeEdge(const float* responses, int first, int last, int start) {
    auto value = [&](int z) { return responses[z - first]; };
    int z = std::clamp(start, first, last);
    for (int step = 0; step < kClimbSteps; ++step) {
        if (z + 1 <= last && value(z + 1) > value(z))
            ++z;
        else if (z - 1 >= first && value(z - 1) > value(z))
            --z;
        else
            break;
    }
    PlacedEdge edge{static_cast<double>(z), value(z)};
    if (z == first || z == last) return edge;
    const double above = value(z - 1), peak = value(z), below = value(z + 1);
    if (peak < above || peak < below) return edge;
    double offset = 0.0;
    if (above > 0.0 && peak > 0.0 && below > 0.0) {
        // A Gaussian peak is a parabola in the logarithm; the fit is exact for the detector's ideal answer.
        const double la = std::log(above), lp = std::log(peak), lb = std::log(below);
        const double curvature = la - 2.0 * lp + lb;
        if (curvature < 0.0) offset = 0.5 * (la - lb) / curvature;
    } else {
        const double curvature = above - 2.0 * peak + below;
        if (curvature < 0.0) offset = 0.5 * (above - below) / curvature;
    }
    edge.depth = z + std::clamp(offset, -0.5, 0.5);
    return edge;
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
