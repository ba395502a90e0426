#include <Velin/Entry/FillShortGaps.h>

#include <limits>
#include <utility>
#include <vector>

namespace Orvan {
namespace Velin {

std::int32_t truncateToInt32(double value) {
    // The range test is written so that NaN fails it.
    if (!(value > -2147483649.0 && value < 2147483648.0)) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

std::int32_t gapLimit(float gapScale) {
    const double bridged = 100.0 / static_cast<double>(gapScale) + 0.5;
    // Wraps like the 32-bit addition it stands for when the conversion gave INT32_MIN (gapScale 0).
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(truncateToInt32(bridged)) + 5u);
}

void fillShortGaps(std::int16_t* values, int n, int maxGap) {
    std::vector<std::pair<int, int>> gaps;
    for (int i = 0; i + 1 < n; ++i) {
        if (values[i] < 0 || values[i + 1] != -1) continue;
        // The closing end is the first -1 followed by a valid value; the search passes over anything else,
        // and a run reaching the last element is never closed.
        for (int j = i + 1; j < n - 1; ++j) {
            if (values[j] == -1 && values[j + 1] >= 0) {
                const int end = j + 1;
                if (end - i < maxGap) gaps.emplace_back(i, end);
                break;
            }
        }
    }
    for (const auto& gap : gaps) {
        const int start = gap.first;
        const int end = gap.second;
        for (int k = start + 1; k < end; ++k) {
            const std::int32_t weighted = (end - k) * values[start] + (k - start) * values[end];
            values[k] = static_cast<std::int16_t>(weighted / (end - start));
        }
    }
}

}  // namespace Velin
}  // namespace Orvan
