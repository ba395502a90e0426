#include <Velin/Refine/BandImage.h>

#include <algorithm>

namespace Orvan {
namespace Velin {
namespace Refine {

void BandImage::layout(const std::vector<int>& first, const std::vector<int>& count) {
    first_ = first;
    count_ = count;
    offset_.resize(first.size());
    std::size_t total = 0;
    for (std::size_t a = 0; a < first.size(); ++a) {
        count_[a] = std::max(0, count_[a]);
        offset_[a] = total;
        total += static_cast<std::size_t>(count_[a]);
    }
    values_.assign(total, 0.0f);
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
