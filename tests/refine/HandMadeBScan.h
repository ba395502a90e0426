#pragma once

// B-scans drawn by hand for the refinement's tests: flat-toned layers whose boundaries lie at chosen
// sub-sample depths, each sample the mean of the (optionally blurred) layer profile over its own extent, so
// that the true boundaries are known exactly in the convention of the outputs (a boundary at z: the tissue
// below it begins at sample z).

#include <Velin/Refine/BScanRefinement.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace refine_test {

struct Layers {
    double vitreous = 15.0, nerveFibre = 200.0, ganglion = 110.0, inner = 55.0;
    double blur = 0.0;                  ///< sigma of the optics' blur along depth, in samples
    std::function<double(int)> top;     ///< depth of the top of the retina at an A-scan
    std::function<double(int)> bottom;  ///< depth of the lower nerve-fibre-layer boundary
    double innerOffset = 25.0;          ///< the darker inner layer begins this far below `bottom`
};

/// Share of depth x that lies below a boundary at `edge` once blurred by sigma.
inline double below(double x, double edge, double sigma) {
    if (sigma <= 0.0) return x >= edge ? 1.0 : 0.0;
    return 0.5 * std::erfc(-(x - edge) / (sigma * std::sqrt(2.0)));
}

/// numAScans A-scans of `depth` samples (A-scan a at a * depth).
inline std::vector<std::uint8_t> drawBScan(const Layers& layers, int numAScans, int depth) {
    constexpr int kSteps = 64;  // sub-steps per sample for its mean
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(numAScans) * depth);
    for (int a = 0; a < numAScans; ++a) {
        const double top = layers.top(a), bottom = layers.bottom(a), inner = bottom + layers.innerOffset;
        for (int d = 0; d < depth; ++d) {
            double sum = 0.0;
            for (int k = 0; k < kSteps; ++k) {
                const double x = d + (k + 0.5) / kSteps;
                sum += layers.vitreous + (layers.nerveFibre - layers.vitreous) * below(x, top, layers.blur) +
                       (layers.ganglion - layers.nerveFibre) * below(x, bottom, layers.blur) +
                       (layers.inner - layers.ganglion) * below(x, inner, layers.blur);
            }
            samples[static_cast<std::size_t>(a) * depth + d] = static_cast<std::uint8_t>(std::lround(sum / kSteps));
        }
    }
    return samples;
}

/// The refined boundaries of one B-scan and their confidences.
struct Refined {
    std::vector<float> upper, lower, upperConfidence, lowerConfidence;
};

inline Refined refineOne(const std::vector<std::uint8_t>& samples, int numAScans, int depth,
                         const std::vector<std::int16_t>& upperStart, const std::vector<std::int16_t>& lowerStart,
                         double depthUm, double aScanUm) {
    namespace R = Orvan::Velin::Refine;
    const R::RefineSettings settings =
        R::deriveSettings(R::resolveSpacing({depthUm, aScanUm, 0.0}, 1, numAScans, depth));
    Refined out;
    for (auto* v : {&out.upper, &out.lower, &out.upperConfidence, &out.lowerConfidence}) v->resize(numAScans);
    R::BScanRefiner(settings).refine(
        {samples.data(), numAScans, depth, upperStart.data(), lowerStart.data()},
        {out.upper.data(), out.lower.data(), out.upperConfidence.data(), out.lowerConfidence.data()});
    return out;
}

/// A legacy-like start: the true depth rounded and moved by `shift` whole samples.
inline std::vector<std::int16_t> startLine(const std::function<double(int)>& depthAt, int numAScans, int shift) {
    std::vector<std::int16_t> line(static_cast<std::size_t>(numAScans));
    for (int a = 0; a < numAScans; ++a) line[a] = static_cast<std::int16_t>(std::lround(depthAt(a)) + shift);
    return line;
}

}  // namespace refine_test
