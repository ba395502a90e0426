#include <Velin/Io/FloatScaling.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace velin {
namespace io {

namespace {

// Devices mark pixels they could not measure with FLT_MAX; anything this large is not a reflectivity.
constexpr double kInvalidAbove = 1e30;

std::uint8_t roundToByte(double v) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 255.0)));
}

template <typename T>
void scaleImpl(const T* values, std::size_t n, ScaleRule rule, std::uint8_t* out) {
    switch (rule) {
        case ScaleRule::FourthRoot:
            for (std::size_t i = 0; i < n; ++i) out[i] = fourthRootToByte(static_cast<double>(values[i]));
            return;
        case ScaleRule::Clip255:
            for (std::size_t i = 0; i < n; ++i) {
                const double v = static_cast<double>(values[i]);
                out[i] = std::isnan(v) ? 0 : roundToByte(v);
            }
            return;
        case ScaleRule::MinMax: {
            double lo = std::numeric_limits<double>::infinity();
            double hi = -lo;
            for (std::size_t i = 0; i < n; ++i) {
                const double v = static_cast<double>(values[i]);
                if (!std::isfinite(v)) continue;
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
            const double range = hi - lo;
            for (std::size_t i = 0; i < n; ++i) {
                const double v = static_cast<double>(values[i]);
                out[i] = (std::isfinite(v) && range > 0.0) ? roundToByte((v - lo) / range * 255.0) : 0;
            }
            return;
        }
        case ScaleRule::None:
            break;
    }
    throw std::invalid_argument("scaleToBytes: a scale rule is required for float samples");
}

}  // namespace

std::uint8_t fourthRootToByte(double value) {
    if (!(value > 0.0) || value > kInvalidAbove) return 0;
    return roundToByte(255.0 * std::sqrt(std::sqrt(std::min(value, 1.0))));
}

std::uint8_t windowToByte(double value, double centre, double width) {
    const double low = centre - 0.5 - (width - 1.0) / 2.0;
    if (!(value > low)) return 0;
    // Tested before the division, so a window of width 1 is a threshold.
    if (value > low + (width - 1.0)) return 255;
    return roundToByte(((value - (centre - 0.5)) / (width - 1.0) + 0.5) * 255.0);
}

void scaleToBytes(const float* values, std::size_t n, ScaleRule rule, std::uint8_t* out) {
    scaleImpl(values, n, rule, out);
}

void scaleToBytes(const double* values, std::size_t n, ScaleRule rule, std::uint8_t* out) {
    scaleImpl(values, n, rule, out);
}

ScaleRule parseScaleRule(const std::string& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (lower == "minmax") return ScaleRule::MinMax;
    if (lower == "clip255") return ScaleRule::Clip255;
    if (lower == "fourthroot") return ScaleRule::FourthRoot;
    throw std::invalid_argument("unknown scale rule '" + name + "' (expected minmax, clip255 or fourthroot)");
}

}  // namespace io
}  // namespace velin
