#pragma once

// Small builders for the detector tests: images, traces and detectors set up by hand.

#include <Velin/Image/IppPrimitives.h>
#include <Velin/VelinDetectorIpp.h>

#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace velin_test {

using namespace Orvan::Velin;
using Ints = std::vector<int>;
using Floats = std::vector<float>;

/// Allocates `image` at width x height (once: allocate() does not release an earlier buffer) and sets pixel
/// (x, y) to `value`, or to value(x, y) when it is callable.
template <class Image, class Value>
void fillImage(Image& image, int width, int height, const Value& value) {
    if (image.getWidth() != width || image.getHeight() != height) {
        if (image.getWidth() != -1) {
            Orvan::Ipp::ippiFree(image.data);
            delete[] image.rows;
            image.data = nullptr;
            image.rows = nullptr;
        }
        image.allocate(width, height);
    }
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            if constexpr (std::is_invocable_v<Value, int, int>)
                image.getRow(y)[x] = static_cast<std::remove_pointer_t<decltype(image.getRow(0))>>(value(x, y));
            else
                image.getRow(y)[x] = value;
        }
}

/// A detector with `aScans` A-scans of `width` samples, flat intensity and smoothed image 100 and a response of
/// `fill`.
inline std::unique_ptr<VelinDetectorIpp> makeDetector(int width, int aScans, float fill = 0.0f) {
    auto d = std::make_unique<VelinDetectorIpp>();
    d->numAScans = aScans;
    fillImage(d->intensityImage, width, aScans, 100);
    fillImage(d->smoothImage, width, aScans, 100);
    fillImage(d->responseImage, width, aScans, fill);
    return d;
}

/// A trace with point i at (depths[i], firstAScan + i * step).
inline Trace traceOf(const Ints& depths, int firstAScan = 0, int step = 1) {
    Trace t;
    for (std::size_t i = 0; i < depths.size(); ++i)
        t.push_back(BoundaryPoint{depths[i], firstAScan + static_cast<int>(i) * step});
    return t;
}

/// One field of every point of a segment, e.g. fieldOf(segment, &UpperPoint::limitDepth).
template <class Field>
std::vector<Field> fieldOf(const Segment& segment, Field UpperPoint::*member) {
    std::vector<Field> out;
    for (const UpperPoint& p : segment) out.push_back(p.*member);
    return out;
}

template <class List>
Ints depthsOf(const List& list) {
    Ints out;
    for (const auto& p : list) out.push_back(p.depth);
    return out;
}

}  // namespace velin_test

using namespace velin_test;
