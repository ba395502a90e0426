#include <Velin/Io/FloatScaling.h>
#include <Velin/Io/NpyFile.h>
#include <Velin/Io/ReaderSupport.h>

#include <cstring>

namespace velin {
namespace io {
namespace detail {

namespace {

std::string shapeList(const std::vector<std::size_t>& shape) {
    std::string text;
    for (std::size_t i = 0; i < shape.size(); ++i) text += (i ? ", " : "") + std::to_string(shape[i]);
    return "(" + text + ")";
}

}  // namespace

Volume readNpyVolume(const std::string& path, const ReadOptions& options) {
    NpyArray array = readNpy(path, kMaxSamples);
    if (array.shape.size() != 3) {
        fail(path, "expected a 3-D array of shape (B-scans, A-scans, depth), found shape " + shapeList(array.shape));
    }
    checkShape(path, array.shape[0], array.shape[1], array.shape[2]);
    const bool isFloat = array.type == NpyType::Float32 || array.type == NpyType::Float64;
    if (array.type == NpyType::Int16) {
        fail(path, "expected uint8 samples (or float32/float64 with a scale rule), found int16");
    }
    if (isFloat && options.scale == ScaleRule::None) {
        fail(path, std::string("found ") + (array.type == NpyType::Float32 ? "float32" : "float64") +
                       " samples: expected uint8, or a scale rule to 8 bits (--scale minmax|clip255|fourthroot)");
    }

    Volume volume;
    volume.numBScans = static_cast<int>(array.shape[0]);
    volume.numAScans = static_cast<int>(array.shape[1]);
    volume.depth = static_cast<int>(array.shape[2]);
    const std::size_t n = array.count();
    std::vector<std::uint8_t> bytes;
    if (!isFloat) {
        bytes = std::move(array.data);
    } else {
        bytes.resize(n);
        if (array.type == NpyType::Float32) {
            std::vector<float> values(n);
            std::memcpy(values.data(), array.data.data(), n * sizeof(float));
            array.data = {};
            scaleToBytes(values.data(), n, options.scale, bytes.data());
        } else {
            std::vector<double> values(n);
            std::memcpy(values.data(), array.data.data(), n * sizeof(double));
            array.data = {};
            scaleToBytes(values.data(), n, options.scale, bytes.data());
        }
    }
    if (!array.fortranOrder) {
        volume.samples = std::move(bytes);
        return volume;
    }
    // Fortran order: element (b, a, d) sits at b + B*a + B*A*d.
    const std::size_t nb = array.shape[0], na = array.shape[1], nd = array.shape[2];
    volume.samples.resize(n);
    std::size_t source = 0;
    for (std::size_t d = 0; d < nd; ++d) {
        for (std::size_t a = 0; a < na; ++a) {
            for (std::size_t b = 0; b < nb; ++b) volume.samples[(b * na + a) * nd + d] = bytes[source++];
        }
    }
    return volume;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
