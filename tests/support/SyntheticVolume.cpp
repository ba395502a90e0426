#include "support/SyntheticVolume.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>

namespace velin_test {
namespace {

constexpr double kTwoPi = 6.283185307179586;

// The engine's output sequence is fixed by the standard; the distributions of the standard library are not,
// so uniform and normal numbers are derived here to give the same volume on every platform.
class Noise {
public:
    explicit Noise(std::uint32_t seed) : engine(seed) {}

    double uniform() { return (static_cast<double>(engine()) + 0.5) / 4294967296.0; }

    double normal() {
        if (haveSpare) {
            haveSpare = false;
            return spare;
        }
        const double radius = std::sqrt(-2.0 * std::log(uniform()));
        const double angle = kTwoPi * uniform();
        spare = radius * std::sin(angle);
        haveSpare = true;
        return radius * std::cos(angle);
    }

private:
    std::mt19937 engine;
    double spare = 0.0;
    bool haveSpare = false;
};

// Mean brightness and thickness (as a fraction of the depth, with a floor in samples) of the layers below
// the nerve-fibre layer, top to bottom, chosen like a typical 8-bit OCT B-scan of the macula's rim.
struct Layer {
    double level;
    double fraction;
    int minSamples;
};

constexpr Layer kLowerLayers[] = {
    {118.0, 0.05, 5},  // ganglion cells
    {98.0, 0.05, 5},   // inner plexiform
    {58.0, 0.05, 4},   // inner nuclear
    {92.0, 0.03, 3},   // outer plexiform
    {46.0, 0.12, 8},   // outer nuclear
    {228.0, 0.04, 6},  // pigment epithelium
    {82.0, 0.12, 8},   // choroid
};

constexpr double kVitreousLevel = 13.0;
constexpr double kNerveFibreLevel = 205.0;
constexpr double kScleraLevel = 22.0;

int clampToByte(double value) { return static_cast<int>(std::min(255.0, std::max(2.0, std::round(value)))); }

}  // namespace

SyntheticVolume makeLayeredVolume(const SyntheticVolumeOptions& options) {
    SyntheticVolume volume;
    volume.numBScans = options.numBScans;
    volume.numAScans = options.numAScans;
    volume.depth = options.depth;
    const int depth = options.depth;
    const std::size_t positions = static_cast<std::size_t>(options.numBScans) * options.numAScans;
    volume.samples.assign(positions * depth, 0);
    volume.top.assign(positions, 0);
    volume.nflBottom.assign(positions, 0);

    Noise noise(options.seed);
    std::vector<double> profile(depth);
    const double d = depth;
    for (int b = 0; b < options.numBScans; ++b) {
        const double y = options.numBScans > 1 ? static_cast<double>(b) / (options.numBScans - 1) : 0.0;
        for (int a = 0; a < options.numAScans; ++a) {
            const double x = options.numAScans > 1 ? static_cast<double>(a) / (options.numAScans - 1) : 0.0;
            // A gently tilted, curved retina whose nerve-fibre layer thickens towards one side, as near the
            // optic nerve head.
            const int top = std::max(48, static_cast<int>(d * (0.22 + 0.035 * std::sin(kTwoPi * (0.9 * x + 0.35 * y)) +
                                                               0.015 * std::sin(kTwoPi * y))));
            const double thickening = 0.5 + 0.5 * std::cos(kTwoPi * (x - 0.3));
            const int nflThickness = std::max(10, static_cast<int>(d * (0.03 + 0.035 * thickening)));
            const int nflBottom = top + nflThickness;

            std::fill(profile.begin(), profile.begin() + std::min(top, depth), kVitreousLevel);
            int cursor = top;
            for (int i = cursor; i < std::min(nflBottom, depth); ++i) profile[i] = kNerveFibreLevel;
            cursor = nflBottom;
            for (const Layer& layer : kLowerLayers) {
                const int end = cursor + std::max(layer.minSamples, static_cast<int>(d * layer.fraction));
                for (int i = std::max(cursor, 0); i < std::min(end, depth); ++i) profile[i] = layer.level;
                cursor = end;
            }
            for (int i = std::max(cursor, 0); i < depth; ++i) profile[i] = kScleraLevel;

            std::uint8_t* out = &volume.samples[(static_cast<std::size_t>(b) * options.numAScans + a) * depth];
            for (int i = 0; i < depth; ++i) {
                const double speckle = std::max(0.0, 1.0 + options.speckle * noise.normal());
                const double floorNoise = options.speckle > 0.0 ? 6.0 * (noise.uniform() - 0.5) : 0.0;
                out[i] = static_cast<std::uint8_t>(clampToByte(profile[i] * speckle + floorNoise));
            }
            volume.top[static_cast<std::size_t>(b) * options.numAScans + a] = top;
            volume.nflBottom[static_cast<std::size_t>(b) * options.numAScans + a] = nflBottom;
        }
    }
    return volume;
}

}  // namespace velin_test
