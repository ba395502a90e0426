#include <Velin/VelinDetectorIpp.h>

namespace Orvan {
namespace Velin {

// Only the first A-scan that holds any data decides the range; the others are not consulted.
bool VelinDetectorIpp::findDataDepthRange(const ippImage8u& image, int& first, int& last) {
    const int width = image.getWidth();
    const int height = image.getHeight();
    first = 0;
    last = width - 1;
    bool found = false;
    for (int y = 0; y < height && !found; ++y) {
        const Ipp::Ipp8u* row = image.getRow(y);
        for (int x = 0; x < width; ++x) {
            if (row[x] != 0) {
                first = x;
                found = true;
                break;
            }
        }
    }
    for (int y = 0; y < height; ++y) {
        const Ipp::Ipp8u* row = image.getRow(y);
        int x = width - 1;
        while (x >= 0 && row[x] == 0) --x;
        if (x >= 0) {
            last = x;
            break;
        }
    }
    return found && first < last;
}

}  // namespace Velin
}  // namespace Orvan
