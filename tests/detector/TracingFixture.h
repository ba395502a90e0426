#pragma once

// Hand-built detector state for the tracing tests.

#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace velin_test {

using namespace Orvan::Velin;

/// A detector with `aScans` A-scans of `width` samples, flat intensity 100 and a response of `fill`.
inline std::unique_ptr<VelinDetectorIpp> makeDetector(int width, int aScans, float fill = 0.0f) {
    auto d = std::make_unique<VelinDetectorIpp>();
    d->numAScans = aScans;
    d->intensityImage.allocate(width, aScans);
    d->responseImage.allocate(width, aScans);
    for (int y = 0; y < aScans; ++y) std::fill(d->intensityImage.getRow(y), d->intensityImage.getRow(y) + width, 100);
    for (int y = 0; y < aScans; ++y) std::fill(d->responseImage.getRow(y), d->responseImage.getRow(y) + width, fill);
    return d;
}

/// A trace with point i at (depths[i], A-scan i).
inline Trace traceOf(const std::vector<int>& depths) {
    Trace t;
    for (std::size_t i = 0; i < depths.size(); ++i) t.push_back(BoundaryPoint{depths[i], static_cast<int>(i)});
    return t;
}

inline std::vector<int> depthsOf(const Trace& t) {
    std::vector<int> out;
    for (const BoundaryPoint& p : t) out.push_back(p.depth);
    return out;
}

}  // namespace velin_test
