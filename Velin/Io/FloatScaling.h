#pragma once

// Float samples to 8-bit samples by the rules a user can choose for float input.

#include <Velin/Io/VolumeFile.h>

#include <cstddef>
#include <cstdint>

namespace velin {
namespace io {

/// Linear reflectivity (normally 0..1) to 8 bits by 255 * v^(1/4), rounded to nearest. Values above 1 count
/// as 1; zero, negative, non-finite values and the device's invalid marker (anything above 1e30) become 0.
std::uint8_t fourthRootToByte(double value);

/// A value shown through a linear display window of centre c and width w >= 1, as DICOM viewers show it: values
/// up to c - 0.5 - (w - 1) / 2 become 0, values above c - 0.5 + (w - 1) / 2 become 255, values between map
/// linearly, rounded to nearest; NaN becomes 0.
std::uint8_t windowToByte(double value, double centre, double width);

/// Converts n values by `rule`:
/// - MinMax: the smallest finite value maps to 0 and the largest to 255, linearly, rounded to nearest
///   (all 0 when they are equal); non-finite values become 0.
/// - Clip255: values already on the 0..255 scale, clamped and rounded; NaN becomes 0.
/// - FourthRoot: fourthRootToByte.
/// ScaleRule::None is a programming error (std::invalid_argument): callers must ask the user for a rule.
void scaleToBytes(const float* values, std::size_t n, ScaleRule rule, std::uint8_t* out);
void scaleToBytes(const double* values, std::size_t n, ScaleRule rule, std::uint8_t* out);

/// "minmax", "clip255", "fourthroot" (case-insensitive) to a rule; anything else is std::invalid_argument
/// whose message lists the accepted names.
ScaleRule parseScaleRule(const std::string& name);

}  // namespace io
}  // namespace velin
