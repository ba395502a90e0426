#pragma once

// Small builders for the tests of the upper-boundary preparation and trace smoothing.

#include <Velin/VelinDetectorIpp.h>

#include <vector>

namespace upper_test {

using namespace Orvan::Velin;

/// Allocates `image` at width x height and sets every pixel to `value`.
template <class Image, class Value>
void fillImage(Image& image, int width, int height, Value value) {
    image.allocate(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image.getRow(y)[x] = value;
}

/// A trace with point i at (depths[i], firstAScan + i * step).
inline Trace traceOf(const std::vector<int>& depths, int firstAScan = 0, int step = 1) {
    Trace t;
    for (std::size_t i = 0; i < depths.size(); ++i) t.push_back(BoundaryPoint{depths[i], firstAScan + static_cast<int>(i) * step});
    return t;
}

inline std::vector<int> depthsOf(const Trace& t) {
    std::vector<int> out;
    for (const BoundaryPoint& p : t) out.push_back(p.depth);
    return out;
}

}  // namespace upper_test
