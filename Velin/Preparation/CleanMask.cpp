#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/IppPrimitives.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

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

// First column in [from, to) whose pixel is non-zero, or `to`. Most of a mask is zero, so it is skipped
// eight pixels at a time.
int nextNonZero(const Ipp8u* row, int from, int to) {
    int x = from;
    for (; x + 8 <= to; x += 8) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, row + x, sizeof eight);
        if (eight != 0) break;
    }
    while (x < to && row[x] == 0) ++x;
    return x;
}

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

    // Every queued pixel is a non-zero mask pixel, of which there are at most `count`. The queues are kept by
    // the detector between calls, so that they are allocated once per volume rather than once per mask.
    if (componentColumns.size() < static_cast<std::size_t>(count)) {
        componentColumns.resize(static_cast<std::size_t>(count));
        componentRows.resize(static_cast<std::size_t>(count));
    }
    std::int16_t* const queueColumns = componentColumns.data();
    std::int16_t* const queueRows = componentRows.data();

    // Pixels are addressed from the buffer start and the row step: the 8-bit stores of the search could
    // otherwise alias the image's row table and force a reload of it for every neighbour.
    Ipp8u* const pixels = componentImage.getData();
    const std::ptrdiff_t step = componentImage.getStep();
    auto at = [pixels, step](int x, int y) { return pixels + y * step + x; };

    int kept = 0;
    for (int row = 1; row < height - 1; ++row) {
        const Ipp8u* const scan = at(0, row);
        // Only a seed can change the number kept, so testing the bound at seeds stops the scan of a row at
        // the same place as testing it at every column would.
        for (int column = nextNonZero(scan, 1, width - 1); column < width - 1;
             column = nextNonZero(scan, column + 1, width - 1)) {
            if (kept > kMaxKeptComponents) break;

            std::size_t tail = 0;
            // Summed with wrap-around, as a 32-bit running sum of columns would.
            std::uint32_t columnSum = 0;
            auto take = [&](int x, int y, Ipp8u* pixel) {
                *pixel = 0;
                queueColumns[tail] = static_cast<std::int16_t>(x);
                queueRows[tail] = static_cast<std::int16_t>(y);
                ++tail;
                columnSum += static_cast<std::uint32_t>(x);
            };
            take(column, row, at(column, row));
            for (std::size_t head = 0; head < tail; ++head) {
                const int x = queueColumns[head];
                const int y = queueRows[head];
                Ipp8u* const centre = at(x, y);
                if (centre[-step] != 0) take(x, y - 1, centre - step);
                if (centre[step] != 0) take(x, y + 1, centre + step);
                if (centre[-1] != 0) take(x - 1, y, centre - 1);
                if (centre[1] != 0) take(x + 1, y, centre + 1);
            }
            const std::int32_t size = static_cast<std::int32_t>(tail);
            const std::int32_t meanDepth = static_cast<std::int32_t>(columnSum) / size;

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
