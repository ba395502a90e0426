#include "ThicknessMap.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velin {
namespace cli {

ThicknessMap computeThickness(const Result& result, const Spacing& spacing) {
    ThicknessMap map;
    map.numBScans = result.numBScans;
    map.numAScans = result.numAScans;
    map.micrometres = spacing.depthKnown();
    const double scale = map.micrometres ? spacing.depthUm : 1.0;
    const float missing = std::numeric_limits<float>::quiet_NaN();

    map.values.resize(result.upperBoundary.size(), missing);
    for (std::size_t i = 0; i < map.values.size(); ++i) {
        const float upper = result.upperBoundary[i];
        const float lower = result.lowerBoundary[i];
        // NaN fails the comparison, so a missing boundary leaves the position unmeasured.
        if (!(lower >= upper)) continue;
        map.values[i] = static_cast<float>((static_cast<double>(lower) - upper) * scale);
    }
    return map;
}

double percentileOfSorted(const std::vector<float>& sorted, double percent) {
    if (sorted.empty()) return std::numeric_limits<double>::quiet_NaN();
    const double rank = percent / 100.0 * static_cast<double>(sorted.size() - 1);
    const std::size_t below = static_cast<std::size_t>(std::floor(rank));
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    const double fraction = rank - static_cast<double>(below);
    return sorted[below] + fraction * (static_cast<double>(sorted[above]) - sorted[below]);
}

ThicknessSummary summariseThickness(const Result& result, const ThicknessMap& map) {
    ThicknessSummary summary;
    summary.positions = map.values.size();
    for (std::size_t i = 0; i < result.upperBoundary.size(); ++i) {
        if (!std::isnan(result.upperBoundary[i])) ++summary.upperFound;
        if (!std::isnan(result.lowerBoundary[i])) ++summary.lowerFound;
    }

    std::vector<float> measured;
    measured.reserve(map.values.size());
    double sum = 0.0;
    for (float value : map.values) {
        if (std::isnan(value)) continue;
        measured.push_back(value);
        sum += value;
    }
    std::sort(measured.begin(), measured.end());
    summary.measured = measured.size();
    summary.coverage = summary.positions == 0 ? 0.0
                                              : static_cast<double>(summary.measured) / summary.positions;
    summary.mean = measured.empty() ? std::numeric_limits<double>::quiet_NaN() : sum / measured.size();
    summary.minimum = percentileOfSorted(measured, 0.0);
    summary.p5 = percentileOfSorted(measured, 5.0);
    summary.p25 = percentileOfSorted(measured, 25.0);
    summary.median = percentileOfSorted(measured, 50.0);
    summary.p75 = percentileOfSorted(measured, 75.0);
    summary.p95 = percentileOfSorted(measured, 95.0);
    summary.maximum = percentileOfSorted(measured, 100.0);
    return summary;
}

}  // namespace cli
}  // namespace velin
