#pragma once

// Nerve-fibre-layer thickness from the two boundary planes, and its summary figures.

#include <Velin/Api/Segment.h>

#include <cstddef>
#include <vector>

namespace velin {
namespace cli {

/// Distance between neighbouring samples in micrometres; 0 where unknown.
struct Spacing {
    double depthUm = 0.0;
    double aScanUm = 0.0;
    double bScanUm = 0.0;

    bool depthKnown() const { return depthUm > 0.0; }
    bool lateralKnown() const { return aScanUm > 0.0 && bScanUm > 0.0; }
};

/// One value per (B-scan, A-scan) position, element b*numAScans + a: lower minus upper boundary depth
/// (Result::lowerBoundary - Result::upperBoundary, whichever mode filled them), in micrometres when the depth
/// spacing is known and in samples otherwise. NaN where either boundary is missing, or where the lower
/// boundary lies above the upper one (no layer can be measured there).
struct ThicknessMap {
    int numBScans = 0;
    int numAScans = 0;
    bool micrometres = false;
    std::vector<float> values;

    float at(int bScan, int aScan) const { return values[static_cast<std::size_t>(bScan) * numAScans + aScan]; }
    const char* unit() const { return micrometres ? "um" : "samples"; }
};

ThicknessMap computeThickness(const Result& result, const Spacing& spacing);

struct ThicknessSummary {
    std::size_t positions = 0;
    std::size_t upperFound = 0;  ///< positions with an upper boundary (Result::upperBoundary not NaN)
    std::size_t lowerFound = 0;  ///< positions with a lower boundary
    std::size_t measured = 0;    ///< positions with a thickness
    double coverage = 0.0;       ///< measured / positions
    /// Over measured positions; NaN when there is none. Percentiles interpolate linearly between the two
    /// nearest ranks (the usual definition of numerical packages).
    double mean = 0.0, minimum = 0.0, p5 = 0.0, p25 = 0.0, median = 0.0, p75 = 0.0, p95 = 0.0, maximum = 0.0;
};

ThicknessSummary summariseThickness(const Result& result, const ThicknessMap& map);

/// Linear-interpolation percentile (0..100) of sorted values; NaN for an empty sequence.
double percentileOfSorted(const std::vector<float>& sorted, double percent);

}  // namespace cli
}  // namespace velin
