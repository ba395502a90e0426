#include <Velin/Io/ReaderSupport.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace velin {
namespace io {
namespace detail {

namespace fs = std::filesystem;

void fail(const std::string& path, const std::string& what) { throw VolumeFileError(path + ": " + what); }

std::uint64_t fileSize(const std::string& path) {
    std::error_code ec;
    const fs::file_status status = fs::status(fs::u8path(path), ec);
    if (ec || !fs::exists(status)) fail(path, "cannot open: no such file");
    if (fs::is_directory(status)) fail(path, "cannot open: expected a file, found a directory");
    const std::uintmax_t size = fs::file_size(fs::u8path(path), ec);
    if (ec) fail(path, "cannot read its size: " + ec.message());
    return static_cast<std::uint64_t>(size);
}

std::vector<std::uint8_t> readAll(const std::string& path, std::uint64_t maxBytes) {
    const std::uint64_t size = fileSize(path);
    if (size > maxBytes) {
        fail(path, "file too large: expected at most " + std::to_string(maxBytes) + " bytes, found " +
                       std::to_string(size));
    }
    std::ifstream in(fs::u8path(path), std::ios::binary);
    if (!in) fail(path, "cannot open for reading");
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    if (size > 0) in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    if (static_cast<std::uint64_t>(in.gcount()) != size && size > 0) {
        fail(path, "read error: expected " + std::to_string(size) + " bytes, got " + std::to_string(in.gcount()));
    }
    return bytes;
}

std::string shapeText(std::uint64_t numBScans, std::uint64_t numAScans, std::uint64_t depth) {
    return std::to_string(numBScans) + "x" + std::to_string(numAScans) + "x" + std::to_string(depth);
}

void checkShape(const std::string& path, std::uint64_t numBScans, std::uint64_t numAScans, std::uint64_t depth) {
    if (numBScans == 0 || numAScans == 0 || depth == 0) {
        fail(path, "expected a non-empty volume, found shape " + shapeText(numBScans, numAScans, depth));
    }
    // Divide instead of multiplying so that absurd header values cannot overflow the check itself.
    if (numAScans > kMaxSamples / depth || numBScans > kMaxSamples / (numAScans * depth)) {
        fail(path, "volume too large: shape " + shapeText(numBScans, numAScans, depth) + " exceeds " +
                       std::to_string(kMaxSamples) + " samples");
    }
}

std::string lowerExtension(const std::string& path) {
    std::string ext = fs::u8path(path).extension().u8string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

std::uint32_t loadU32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

std::uint64_t loadU64(const std::uint8_t* p) {
    return static_cast<std::uint64_t>(loadU32(p)) | (static_cast<std::uint64_t>(loadU32(p + 4)) << 32);
}

float loadF32(const std::uint8_t* p) {
    const std::uint32_t bits = loadU32(p);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double loadF64(const std::uint8_t* p) {
    const std::uint64_t bits = loadU64(p);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
