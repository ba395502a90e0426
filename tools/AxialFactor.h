#pragma once

// How finely the engine samples each A-scan: the factor by which the checked entry resamples the depth axis
// (velin::Options::axialFactor), either as asked for or chosen from the volume.
//
// The engine's depth rules are fixed sample counts tuned to about 1.95 um per sample (1024 samples over
// 2 mm, as on common macular cubes). The automatic choice brings a volume near that scale:
// round(depth spacing / 1.95 um), clamped to 1..4, when the depth spacing is known; otherwise 2 for a depth
// of at most 640 samples (the 496- and 512-sample scanners, whose spacing is near 4 um) and 1 above; in
// either case no more than keeps factor x depth within the 32767 samples a 16-bit depth plane can address.

#include <string>

namespace velin {
namespace cli {

/// Stands for "choose automatically" where a factor is asked for.
constexpr int kAxialFactorAuto = 0;

struct AxialChoice {
    int factor = 1;
    std::string source;  ///< "command line", "depth spacing" or "depth"
};

/// The factor to use: `requested` itself unless it is kAxialFactorAuto. `depthSpacingUm` <= 0 means unknown.
AxialChoice chooseAxialFactor(int requested, double depthSpacingUm, int depth);

/// "auto" to kAxialFactorAuto, a whole number 1..8 to itself; throws CLI::ValidationError naming
/// --axial-factor otherwise.
int parseAxialFactor(const std::string& text);

}  // namespace cli
}  // namespace velin
