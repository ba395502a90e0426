#include <Velin/VelinDetectorIpp.h>

namespace Orvan {
namespace Velin {

// Explicit heat-equation steps on the interior; every update of a pass is computed from the image as it was
// before the pass, and the one-pixel frame never changes.
void VelinDetectorIpp::diffuse(ippImage32f& image, int iterations, double rate) {
    const int width = image.getWidth();
    const int height = image.getHeight();
    ippImage32f update;
    update.allocate(width, height);
    for (int pass = 0; pass < iterations; ++pass) {
        for (int y = 1; y < height - 1; ++y) {
            const float* above = image.getRow(y - 1);
            const float* row = image.getRow(y);
            const float* below = image.getRow(y + 1);
            float* out = update.getRow(y);
            for (int x = 1; x < width - 1; ++x) {
                const float laplacian = ((row[x + 1] + row[x - 1]) + below[x]) + above[x] - 4.0f * row[x];
                out[x] = static_cast<float>(static_cast<double>(laplacian) * rate);
            }
        }
        for (int y = 1; y < height - 1; ++y) {
            float* row = image.getRow(y);
            const float* change = update.getRow(y);
            for (int x = 1; x < width - 1; ++x) row[x] = change[x] + row[x];
        }
    }
}

}  // namespace Velin
}  // namespace Orvan
