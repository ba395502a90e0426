#pragma once

// Refinement of the two boundaries of one B-scan, starting from the legacy boundaries. B-scans are refined
// independently of each other (one refiner per thread); their agreement across B-scans is a later step.

#include <Velin/Refine/BandImage.h>
#include <Velin/Refine/BandPath.h>
#include <Velin/Refine/EdgeDetector.h>
#include <Velin/Refine/RefineSettings.h>

#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

/// One B-scan of numAScans A-scans, each `depth` samples (A-scan a at samples + a * depth), with its starting
/// boundaries in whole samples: values outside 0 .. depth - 1 (such as -1) mean "not found".
struct BScanInput {
    const std::uint8_t* samples = nullptr;
    int numAScans = 0;
    int depth = 0;
    const std::int16_t* upperStart = nullptr;
    const std::int16_t* lowerStart = nullptr;
};

/// numAScans values each: depths in samples (NaN = not found) and confidences from 0 to 1 (0 = not found).
struct BScanOutput {
    float* upper = nullptr;
    float* lower = nullptr;
    float* upperConfidence = nullptr;
    float* lowerConfidence = nullptr;
};

class BScanRefiner {
public:
    explicit BScanRefiner(const RefineSettings& settings);

    /// Writes the refined top of the retina and lower nerve-fibre-layer boundary of one B-scan. The lower
    /// boundary is never above the upper one.
    void refine(const BScanInput& in, const BScanOutput& out);

private:
    bool prepareStart(const BScanInput& in);
    void smoothWindows(const BScanInput& in);
    bool refineUpper(const BScanOutput& out);
    void refineLower(const BScanInput& in, const BScanOutput& out);
    float nerveFibreBrightness(const BScanOutput& out) const;
    void computeResponses(const std::vector<int>& first, const std::vector<int>& count, float sign);
    /// Starts the per-point lists of a boundary: no depth, no confidence, nothing trusted.
    void clearPoints(int n);

    RefineSettings settings_;
    EdgeDetector detector_;
    std::vector<float> lateralWeights_;

    // Starting boundaries, gaps bridged: the top and the layer's thickness below it.
    std::vector<float> upperStart_;
    std::vector<float> thicknessStart_;
    // Depths smoothed across A-scans over each column's window, and the responses and costs of the bands.
    BandImage smoothed_;
    BandImage response_;
    BandImage cost_;
    PathWorkspace workspace_;
    std::vector<int> first_, count_, rowFirst_;
    // Per point of the boundary being refined: its depth (or thickness), confidence, and whether it is trusted.
    std::vector<float> values_, confidence_;
    std::vector<std::uint8_t> reliable_;
};

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
