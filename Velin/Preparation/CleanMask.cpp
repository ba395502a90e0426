#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/IppPrimitives.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace Orvan {
namespace Velin {
namespace {

using namespace Orvan::Ipp;

// A component must have at least this many pixels per A-scan.
constexpr int kMinPixelsPerAScan = 10;
// Its mean depth must lie at least this far from both ends of the data's depth range.
constexpr int kMinDistanceFromDataEnds = 40;
// Bound on the number of kept components; the scan of each row stops beyond it.
constexpr int kMaxKeptComponents = 100000;

}  // namespace

bool VelinDetectorIpp::cleanMask(ippImage8u& mask) {
    Ipp64f sum = 0.0;
    ippiSum_8u_C1R(mask.getData(), mask.getStep(), mask.getSize(), &sum);
    // The pixel sum stands for the pixel count; it is larger when a selector left threshold-valued pixels.
    const std::int32_t count = static_cast<std::int32_t>(sum);
    const int height = mask.getHeight();
    const int width = mask.getWidth();
    if (count < height) return false;
    const std::int32_t minSize = kMinPixelsPerAScan * height;

    // The search runs on a copy with a cleared frame, so that it never leaves the image.
    ippiSet_8u_C1R(0, componentImage.getData(), componentImage.getStep(), componentImage.getSize());
    ippiCopy_8u_C1R(mask.getRoiOrigin(1), mask.getStep(), componentImage.getRoiOrigin(1), componentImage.getStep(),
                    mask.getRoiSize(1));

    // Every queued pixel is a non-zero mask pixel, of which there are at most `count`.
    std::vector<std::int16_t> queueColumns(static_cast<std::size_t>(count));
    std::vector<std::int16_t> queueRows(static_cast<std::size_t>(count));
    int kept = 0;
    for (int row = 1; row < height - 1; ++row) {
        for (int column = 1; column < width - 1 && kept <= kMaxKeptComponents; ++column) {
            if (componentImage.getRow(row)[column] == 0) continue;

            std::size_t tail = 0;
            std::int32_t columnSum = 0;
            auto take = [&](int x, int y) {
                componentImage.getRow(y)[x] = 0;
                queueColumns[tail] = static_cast<std::int16_t>(x);
                queueRows[tail] = static_cast<std::int16_t>(y);
                ++tail;
                columnSum += x;
            };
            take(column, row);
            for (std::size_t head = 0; head < tail; ++head) {
                const int x = queueColumns[head];
                const int y = queueRows[head];
                if (componentImage.getRow(y - 1)[x] != 0) take(x, y - 1);
                if (componentImage.getRow(y + 1)[x] != 0) take(x, y + 1);
                if (componentImage.getRow(y)[x - 1] != 0) take(x - 1, y);
                if (componentImage.getRow(y)[x + 1] != 0) take(x + 1, y);
            }
            const std::int32_t size = static_cast<std::int32_t>(tail);
            const std::int32_t meanDepth = columnSum / size;

            const bool implausible = size < minSize || size > count ||
                                     std::abs(dataFirstDepth - meanDepth) < kMinDistanceFromDataEnds ||
                                     std::abs(dataLastDepth - meanDepth) < kMinDistanceFromDataEnds;
            if (implausible) {
                for (std::size_t i = 0; i < tail; ++i) mask.getRow(queueRows[i])[queueColumns[i]] = 0;
            } else {
                ++kept;
            }
        }
    }
    return kept >= 1;
}

}  // namespace Velin
}  // namespace Orvan
