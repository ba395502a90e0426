#include <Velin/Api/AxialSampling.h>

#include <algorithm>
#include <cstddef>

namespace velin {
namespace {

// Interpolation of one resampled sample, the same for every A-scan of a volume: value =
// (in[index] * (denominator - weight) + in[index + 1] * weight + denominator / 2) / denominator.
struct Tap {
    int index;
    int weight;
};

std::vector<Tap> interpolationTaps(int depth, int factor) {
    const int denominator = 2 * factor;
    std::vector<Tap> taps(static_cast<std::size_t>(depth) * static_cast<std::size_t>(factor));
    for (std::size_t j = 0; j < taps.size(); ++j) {
        // Position in units of 1 / (2 factor) input samples; the 64-bit sum cannot overflow.
        const long long position = 2 * static_cast<long long>(j) + 1 - factor;
        if (position <= 0) {
            taps[j] = {0, 0};
            continue;
        }
        const int index = static_cast<int>(position / denominator);
        const int weight = static_cast<int>(position % denominator);
        // Past the last centre the last sample is held; weight 0 then never reads beyond the A-scan.
        taps[j] = index >= depth - 1 ? Tap{depth - 1, 0} : Tap{index, weight};
    }
    return taps;
}

}  // namespace

std::vector<std::uint8_t> engineVolume(const VolumeView& volume, int factor, int engineDepth) {
    const std::size_t aScans = static_cast<std::size_t>(volume.numBScans) * static_cast<std::size_t>(volume.numAScans);
    const std::size_t depth = static_cast<std::size_t>(volume.depth);
    const std::size_t padded = static_cast<std::size_t>(engineDepth);
    std::vector<std::uint8_t> out(aScans * padded, 0);

    if (factor == 1) {
        for (std::size_t i = 0; i < aScans; ++i) {
            const std::uint8_t* from = volume.data + i * depth;
            std::copy(from, from + depth, out.begin() + static_cast<std::ptrdiff_t>(i * padded));
        }
        return out;
    }

    const std::vector<Tap> taps = interpolationTaps(volume.depth, factor);
    const int denominator = 2 * factor;
    const int half = factor;
    for (std::size_t i = 0; i < aScans; ++i) {
        const std::uint8_t* from = volume.data + i * depth;
        std::uint8_t* to = out.data() + i * padded;
        for (std::size_t j = 0; j < taps.size(); ++j) {
            const Tap tap = taps[j];
            const int upper = from[tap.index];
            // A zero weight must not read the next sample: the held last sample has none.
            const int lower = tap.weight == 0 ? 0 : from[tap.index + 1];
            to[j] = static_cast<std::uint8_t>((upper * (denominator - tap.weight) + lower * tap.weight + half) /
                                              denominator);
        }
    }
    return out;
}

std::int16_t inputDepth(std::int16_t engineSample, int factor, int depth) {
    if (engineSample < 0) return -1;
    const int sample = engineSample / factor;
    return sample < depth ? static_cast<std::int16_t>(sample) : static_cast<std::int16_t>(-1);
}

}  // namespace velin
