#pragma once

// Hand-built detector state for the tracing tests: images of a chosen size, traces from depth lists.

#include <Velin/VelinDetectorIpp.h>

#include <memory>
#include <vector>

namespace velin_test {

using Orvan::Velin::BoundaryPoint;
using Orvan::Velin::Trace;
using Orvan::Velin::VelinDetectorIpp;

/// A detector with `aScans` A-scans of `width` samples: flat intensity 100 and a response of `fill`.
inline std::unique_ptr<VelinDetectorIpp> makeDetector(int width, int aScans, float fill = 0.0f) {
    auto d = std::make_unique<VelinDetectorIpp>();
    d->numAScans = aScans;
    d->intensityImage.allocate(width, aScans);
    d->responseImage.allocate(width, aScans);
    for (int y = 0; y < aScans; ++y) {
        for (int x = 0; x < width; ++x) {
            d->intensityImage.getRow(y)[x] = 100;
            d->responseImage.getRow(y)[x] = fill;
        }
    }
    return d;
}

/// A trace with point i at (depths[i], firstAScan + i).
inline Trace traceOf(const std::vector<int>& depths, int firstAScan = 0) {
    Trace t;
    for (std::size_t i = 0; i < depths.size(); ++i) t.push_back(BoundaryPoint{depths[i], firstAScan + static_cast<int>(i)});
    return t;
}

inline std::vector<int> depthsOf(const Trace& t) {
    std::vector<int> out;
    for (const BoundaryPoint& p : t) out.push_back(p.depth);
    return out;
}

}  // namespace velin_test
