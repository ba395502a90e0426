#pragma once

// A perceptually uniform colour map for thickness pictures.

#include <array>
#include <cstdint>

namespace velin {
namespace io {

using Rgb = std::array<std::uint8_t, 3>;

/// The viridis map (dark blue through green to yellow), interpolated linearly between nine anchor colours.
/// t is clamped to [0, 1]; NaN gives black so that missing values stand out.
Rgb viridis(double t);

}  // namespace io
}  // namespace velin
