#pragma once

// The edge detector along depth and the sub-sample placement of an edge.
//
// Depth convention: a boundary at depth z lies between sample z - 1 and sample z, so the tissue below it
// begins at sample z; sample d covers depths d to d + 1. A sharp step from sample 99 to sample 100 is at
// 100.0, and a step that fills 70 % of sample 100 with the lower tissue is at 100.3.

#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

class EdgeDetector {
public:
    /// A derivative-of-Gaussian detector of width `sigma` samples, integrated over each sample's extent, so
    /// that a step between samples answers like one inside a sample. Normalised so that an ideal step of
    /// height h answers h at its own position.
    explicit EdgeDetector(double sigma);

    /// Samples the detector reads on either side of a boundary: z - reach() .. z + reach() - 1.
    int reach() const { return static_cast<int>(weights_.size() / 2); }

    /// Responses at boundaries firstBoundary .. firstBoundary + count - 1 of samples[] (an array whose element
    /// 0 is sample `firstSample`), times `sign`, into out[0 .. count - 1]: positive (for sign 1) where the
    /// samples brighten going down, negative where they darken. The caller keeps the samples the detector
    /// reads inside the array.
    void responses(const float* samples, int firstSample, int firstBoundary, int count, float sign, float* out) const;

private:
    std::vector<float> weights_;
};

/// An edge placed between samples: its depth and the response at its peak.
struct PlacedEdge {
    double depth = 0.0;
    float strength = 0.0f;
};

/// The sub-sample position of the response peak nearest to boundary `start`: from `start` it climbs to a
/// local maximum (at most two samples, staying within first .. last), then fits a Gaussian through the peak
/// and its two neighbours (a parabola where a value is not positive). `responses[i]` belongs to boundary
/// first + i. The fit moves the peak by at most half a sample.
PlacedEdge placeEdge(const float* responses, int first, int last, int start);

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
