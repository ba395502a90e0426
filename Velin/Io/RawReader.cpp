#include <Velin/Io/ReaderSupport.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace velin {
namespace io {
namespace detail {

namespace {

// Position of each library axis (B, A, D) in the layout string, slowest first.
std::array<int, 3> axisPositions(const std::string& path, const std::string& layout) {
    std::array<int, 3> position{-1, -1, -1};
    const std::string letters = "BAD";
    bool valid = layout.size() == 3;
    for (std::size_t i = 0; valid && i < layout.size(); ++i) {
        const std::size_t axis = letters.find(static_cast<char>(std::toupper(static_cast<unsigned char>(layout[i]))));
        if (axis == std::string::npos || position[axis] >= 0) {
            valid = false;
        } else {
            position[axis] = static_cast<int>(i);
        }
    }
    if (!valid) {
        fail(path, "invalid layout '" + layout + "': expected the letters B, A and D once each, slowest axis first");
    }
    return position;
}

}  // namespace

Volume readRaw(const std::string& path, const ReadOptions& options) {
    if (options.numBScans <= 0 || options.numAScans <= 0 || options.depth <= 0) {
        fail(path, "a .raw file has no header: give its shape with --shape BxAxD (B-scans x A-scans x depth)");
    }
    const std::array<int, 3> position = axisPositions(path, options.layout);
    const std::uint64_t nb = static_cast<std::uint64_t>(options.numBScans);
    const std::uint64_t na = static_cast<std::uint64_t>(options.numAScans);
    const std::uint64_t nd = static_cast<std::uint64_t>(options.depth);
    checkShape(path, nb, na, nd);

    const std::uint64_t expected = nb * na * nd;
    const std::uint64_t found = fileSize(path);
    if (found != expected) {
        fail(path, std::string(found < expected ? "file too short" : "file too long") + " for shape " +
                       shapeText(nb, na, nd) + ": expected " + std::to_string(expected) + " bytes, found " +
                       std::to_string(found));
    }
    std::vector<std::uint8_t> bytes = readAll(path, expected);

    Volume volume;
    volume.numBScans = options.numBScans;
    volume.numAScans = options.numAScans;
    volume.depth = options.depth;
    if (position == std::array<int, 3>{0, 1, 2}) {
        volume.samples = std::move(bytes);
        return volume;
    }

    // Library strides of B, A and D, listed in the file's axis order; the file is walked sequentially.
    const std::array<std::size_t, 3> libraryStride{static_cast<std::size_t>(na * nd), static_cast<std::size_t>(nd), 1};
    const std::array<std::size_t, 3> librarySize{static_cast<std::size_t>(nb), static_cast<std::size_t>(na),
                                                 static_cast<std::size_t>(nd)};
    std::array<std::size_t, 3> size{}, stride{};
    for (int axis = 0; axis < 3; ++axis) {
        size[static_cast<std::size_t>(position[axis])] = librarySize[static_cast<std::size_t>(axis)];
        stride[static_cast<std::size_t>(position[axis])] = libraryStride[static_cast<std::size_t>(axis)];
    }
    volume.samples.resize(bytes.size());
    std::size_t source = 0;
    for (std::size_t i = 0; i < size[0]; ++i) {
        for (std::size_t j = 0; j < size[1]; ++j) {
            std::size_t target = i * stride[0] + j * stride[1];
            for (std::size_t k = 0; k < size[2]; ++k, target += stride[2]) volume.samples[target] = bytes[source++];
        }
    }
    return volume;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
