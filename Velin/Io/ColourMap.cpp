#include <Velin/Io/ColourMap.h>

#include <algorithm>
#include <cmath>

namespace velin {
namespace io {

namespace {

// Samples of viridis at t = 0, 1/8, ..., 1; between them the map is close enough to linear that the error
// stays below what a person can see.
constexpr std::array<Rgb, 9> kViridisAnchors{{{{68, 1, 84}},
                                              {{72, 40, 120}},
                                              {{59, 82, 139}},
                                              {{44, 114, 142}},
                                              {{33, 145, 140}},
                                              {{40, 174, 128}},
                                              {{94, 201, 98}},
                                              {{173, 220, 48}},
                                              {{253, 231, 37}}}};

}  // namespace

Rgb viridis(double t) {
    if (std::isnan(t)) return {{0, 0, 0}};
    const double position = std::clamp(t, 0.0, 1.0) * static_cast<double>(kViridisAnchors.size() - 1);
    const std::size_t lower = std::min(static_cast<std::size_t>(position), kViridisAnchors.size() - 2);
    const double f = position - static_cast<double>(lower);
    Rgb colour{};
    for (std::size_t c = 0; c < 3; ++c) {
        const double v = (1.0 - f) * kViridisAnchors[lower][c] + f * kViridisAnchors[lower + 1][c];
        colour[c] = static_cast<std::uint8_t>(std::lround(v));
    }
    return colour;
}

}  // namespace io
}  // namespace velin
