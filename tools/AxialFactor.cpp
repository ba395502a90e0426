#include "AxialFactor.h"

#include <Velin/Api/AxialSampling.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace velin {
namespace cli {
namespace {

constexpr double kEngineSpacingUm = 1.95;
constexpr int kMaxAutoFactor = 4;
// Above this depth a scan of unknown spacing is taken to be a fine one (1024 samples and more).
constexpr int kCoarseDepthLimit = 640;

}  // namespace

AxialChoice chooseAxialFactor(int requested, double depthSpacingUm, int depth) {
    if (requested != kAxialFactorAuto) return {requested, "command line"};
    // An automatic choice must not make a volume fail that factor 1 accepts: the resampled depth has to fit
    // the 16-bit depth planes.
    const int fitting = std::max(1, std::numeric_limits<std::int16_t>::max() / std::max(depth, 1));
    if (depthSpacingUm > 0.0 && std::isfinite(depthSpacingUm)) {
        const double ratio = std::min(depthSpacingUm / kEngineSpacingUm, static_cast<double>(kMaxAutoFactor));
        const int factor = std::clamp(static_cast<int>(std::lround(ratio)), 1, kMaxAutoFactor);
        return {std::min(factor, fitting), "depth spacing"};
    }
    return {std::min(depth <= kCoarseDepthLimit ? 2 : 1, fitting), "depth"};
}

int parseAxialFactor(const std::string& text) {
    if (text == "auto") return kAxialFactorAuto;
    const bool digits = !text.empty() && text.size() <= 2 &&
                        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    const int value = digits ? std::stoi(text) : 0;
    if (value < 1 || value > kMaxAxialFactor)
        throw CLI::ValidationError("--axial-factor", "expected auto or a whole number from 1 to " +
                                                         std::to_string(kMaxAxialFactor) + ", got '" + text + "'");
    return value;
}

}  // namespace cli
}  // namespace velin
