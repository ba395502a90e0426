#include <Velin/VelinDetectorIpp.h>

#include <algorithm>

namespace Orvan {
namespace Velin {

namespace {
// The search starts a little below the upper point, so that the bright edge of the layer itself is not
// taken as a candidate, and runs the same distance past the search limit.
constexpr int kSearchOffset = 5;
constexpr float kNoMinimum = 1e6f;
constexpr float kNoMaximum = -1e6f;
}  // namespace

// A valley is opened at a sample lower than the one above it and not higher than the one below it, and is
// reported once the response rises above it again. Reporting the midpoint between the valley and that first
// higher sample puts a flat floor at its middle instead of at its shallow end. Peaks mirror this.
bool VelinDetectorIpp::findResponseExtrema(const ippImage32f& response, const UpperPoint& point,
                                           CandidateList& maxima, CandidateList& minima) {
    const int width = response.getWidth();
    const int y = point.aScan;
    const int start = std::min(point.depth + kSearchOffset, width - 1);
    const int end = std::min(point.limitDepth + kSearchOffset, width - 1);

    if (start < end) {
        const float* row = response.getRow(y);
        float minValue = kNoMinimum;
        int minDepth = 0;
        float maxValue = kNoMaximum;
        int maxDepth = 0;
        for (int x = start; x < end; ++x) {
            const float c = row[x];
            const float l = row[x - 1];
            const float r = row[x + 1];
            if (l > c && r >= c) {
                minValue = c;
                minDepth = x;
            }
            if (c > minValue) {
                minima.push_back(ExtremumRecord{(minDepth + x) / 2, y, row[minDepth]});
                minValue = kNoMinimum;
            }
            if (c > l && c >= r) {
                maxValue = c;
                maxDepth = x;
            }
            if (maxValue > c) {
                maxima.push_back(ExtremumRecord{(maxDepth + x) / 2, y, row[maxDepth]});
                maxValue = kNoMaximum;
            }
        }
    }
    return !maxima.empty() && !minima.empty();
}

}  // namespace Velin
}  // namespace Orvan
