#pragma once

#include <cstdint>

namespace Orvan {
namespace Velin {

/// Bridges runs of -1 that lie between two non-negative values and span fewer than `maxGap` steps
/// (end - start < maxGap, counted from the valid value before the run to the one after it) by integer linear
/// interpolation. Runs touching either end of the array stay -1.
void fillShortGaps(std::int16_t* values, int n, int maxGap);

/// The gap limit for a given gapScale: trunc(100 / gapScale + 0.5) + 5.
std::int32_t gapLimit(float gapScale);

/// Truncation toward zero of a double to 32 bits as the x86 conversion instruction does it: values that do
/// not fit (and NaN) give INT32_MIN instead of undefined behaviour.
std::int32_t truncateToInt32(double value);

}  // namespace Velin
}  // namespace Orvan
