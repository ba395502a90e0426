#include <Velin/Io/FloatScaling.h>
#include <Velin/Io/ReaderSupport.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <cmath>
#include <fstream>
#include <limits>
#include <numeric>

namespace velin {
namespace io {
namespace detail {

namespace {

// Fixed offsets of the export's little-endian, packed file header and B-scan header.
constexpr std::size_t kFileHeaderSize = 2048;
constexpr std::size_t kOffSizeX = 12, kOffNumBScans = 16, kOffSizeZ = 20;
constexpr std::size_t kOffScaleX = 24, kOffDistance = 32, kOffScaleZ = 40;
constexpr std::size_t kOffSizeXSlo = 48, kOffSizeYSlo = 52;
constexpr std::size_t kOffScanPosition = 84, kOffScanPattern = 96, kOffBScanHdrSize = 100;
constexpr std::size_t kBScanHeaderFields = 256;
constexpr std::size_t kOffStartY = 24;
constexpr std::size_t kOffNumSeg = 48, kOffOffSeg = 52;
// Lines of the device's segmentation, in the order the export stores them.
constexpr std::uint32_t kIlmLine = 0, kRnflLine = 2;
// Points the device did not segment hold the largest float; anything this large is no depth.
constexpr float kInvalidLine = 1e30f;
constexpr std::uint32_t kPatternVolume = 3, kPatternFastVolume = 4;
constexpr double kUmPerMm = 1000.0;

std::string printable(const std::uint8_t* p, std::size_t n) {
    std::string text;
    for (std::size_t i = 0; i < n && p[i] != 0; ++i) text.push_back(std::isprint(p[i]) ? static_cast<char>(p[i]) : '?');
    return text;
}

void readRange(const std::string& path, std::ifstream& in, std::uint64_t offset, std::uint8_t* out, std::size_t n) {
    in.seekg(static_cast<std::streamoff>(offset));
    in.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(n));
    if (!in || static_cast<std::size_t>(in.gcount()) != n) {
        fail(path, "read error: expected " + std::to_string(n) + " bytes at offset " + std::to_string(offset));
    }
}

}  // namespace

Volume readVol(const std::string& path) {
    const std::uint64_t size = fileSize(path);
    if (size < kFileHeaderSize) {
        fail(path, "truncated .vol file: expected a " + std::to_string(kFileHeaderSize) + "-byte header, found " +
                       std::to_string(size) + " bytes");
    }
    std::ifstream in(std::filesystem::u8path(path), std::ios::binary);
    if (!in) fail(path, "cannot open for reading");
    std::vector<std::uint8_t> header(kFileHeaderSize);
    readRange(path, in, 0, header.data(), header.size());
    if (std::string(reinterpret_cast<const char*>(header.data()), 8) != "HSF-OCT-") {
        fail(path, "not a .vol export: expected 'HSF-OCT-' at the start, found '" + printable(header.data(), 8) + "'");
    }

    const std::uint32_t sizeX = loadU32(&header[kOffSizeX]);
    const std::uint32_t numBScans = loadU32(&header[kOffNumBScans]);
    const std::uint32_t sizeZ = loadU32(&header[kOffSizeZ]);
    checkShape(path, numBScans, sizeX, sizeZ);
    const std::uint64_t sloBytes = static_cast<std::uint64_t>(loadU32(&header[kOffSizeXSlo])) * loadU32(&header[kOffSizeYSlo]);
    const std::uint64_t headerBytes = loadU32(&header[kOffBScanHdrSize]);
    if (headerBytes < kBScanHeaderFields) {
        fail(path, "malformed .vol header: expected a B-scan header size of at least " +
                       std::to_string(kBScanHeaderFields) + " bytes, found " + std::to_string(headerBytes));
    }
    const std::uint64_t imageBytes = static_cast<std::uint64_t>(sizeX) * sizeZ * 4;
    const std::uint64_t blockBytes = headerBytes + imageBytes;
    const std::uint64_t firstBlock = kFileHeaderSize + sloBytes;
    // Trailing bytes (thickness grids) are allowed; missing ones are not.
    const std::uint64_t needed = sloBytes > size ? firstBlock : firstBlock + numBScans * blockBytes;
    if (sloBytes > size || needed > size) {
        fail(path, "truncated .vol file: expected at least " + std::to_string(needed) + " bytes for " +
                       std::to_string(numBScans) + " B-scans of " + std::to_string(sizeX) + "x" +
                       std::to_string(sizeZ) + ", found " + std::to_string(size));
    }

    Volume volume;
    volume.numBScans = static_cast<int>(numBScans);
    volume.numAScans = static_cast<int>(sizeX);
    volume.depth = static_cast<int>(sizeZ);
    volume.spacingAScanUm = loadF64(&header[kOffScaleX]) * kUmPerMm;
    volume.spacingBScanUm = loadF64(&header[kOffDistance]) * kUmPerMm;
    volume.spacingDepthUm = loadF64(&header[kOffScaleZ]) * kUmPerMm;
    const std::string eye = printable(&header[kOffScanPosition], 4);
    if (eye == "OD" || eye == "OS") volume.eye = eye;

    const std::size_t na = sizeX, nd = sizeZ;
    std::vector<double> startY(numBScans);
    std::vector<std::uint8_t> block(static_cast<std::size_t>(imageBytes));
    std::vector<std::uint8_t> scanHeader(kBScanHeaderFields);
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(numBScans) * na * nd);
    std::vector<float> ilm(static_cast<std::size_t>(numBScans) * na, std::numeric_limits<float>::quiet_NaN());
    std::vector<float> rnfl(ilm);
    bool anyLine = false;
    for (std::uint32_t b = 0; b < numBScans; ++b) {
        const std::uint64_t offset = firstBlock + b * blockBytes;
        readRange(path, in, offset, scanHeader.data(), scanHeader.size());
        if (std::string(reinterpret_cast<const char*>(scanHeader.data()), 7) != "HSF-BS-") {
            fail(path, "malformed B-scan " + std::to_string(b) + " at offset " + std::to_string(offset) +
                           ": expected 'HSF-BS-', found '" + printable(scanHeader.data(), 7) + "'");
        }
        startY[b] = loadF64(&scanHeader[kOffStartY]);
        // The device's lines lie between the B-scan header's fields and its pixels. Lines that would reach
        // beyond that space are not read: the pixels stay readable whatever the segmentation holds.
        const std::uint64_t numLines = loadU32(&scanHeader[kOffNumSeg]), linesAt = loadU32(&scanHeader[kOffOffSeg]);
        if (numLines > kIlmLine && linesAt >= kBScanHeaderFields && linesAt <= headerBytes &&
            numLines <= (headerBytes - linesAt) / (std::uint64_t{4} * sizeX)) {
            std::vector<std::uint8_t> lines(static_cast<std::size_t>(numLines * sizeX * 4));
            readRange(path, in, offset + linesAt, lines.data(), lines.size());
            const auto take = [&](std::uint32_t line, std::vector<float>& plane) {
                if (line >= numLines) return;
                for (std::size_t x = 0; x < na; ++x) {
                    const float z = loadF32(&lines[(line * na + x) * 4]);
                    if (std::isfinite(z) && z < kInvalidLine) plane[b * na + x] = z;
                }
                anyLine = true;
            };
            take(kIlmLine, ilm);
            take(kRnflLine, rnfl);
        }
        readRange(path, in, offset + headerBytes, block.data(), block.size());
        // Rows are depth, columns A-scans: sample (z, x) is float number z * sizeX + x.
        std::uint8_t* out = samples.data() + static_cast<std::size_t>(b) * na * nd;
        for (std::size_t z = 0; z < nd; ++z) {
            for (std::size_t x = 0; x < na; ++x) out[x * nd + z] = fourthRootToByte(loadF32(&block[(z * na + x) * 4]));
        }
    }

    // Volume scans are stored inferior first; placing them by their start point on the fundus image
    // (smaller y = superior) gives the superior-first order of the other device cubes.
    const std::uint32_t pattern = loadU32(&header[kOffScanPattern]);
    std::vector<std::size_t> order(numBScans);
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (pattern == kPatternVolume || pattern == kPatternFastVolume) {
        std::stable_sort(order.begin(), order.end(), [&](std::size_t l, std::size_t r) { return startY[l] < startY[r]; });
    }
    volume.samples.resize(samples.size());
    if (anyLine) volume.deviceIlm.resize(ilm.size()), volume.deviceRnfl.resize(rnfl.size());
    const std::size_t scanSize = na * nd;
    for (std::size_t i = 0; i < order.size(); ++i) {
        std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(order[i] * scanSize), scanSize,
                    volume.samples.begin() + static_cast<std::ptrdiff_t>(i * scanSize));
        if (!anyLine) continue;
        std::copy_n(ilm.begin() + static_cast<std::ptrdiff_t>(order[i] * na), na,
                    volume.deviceIlm.begin() + static_cast<std::ptrdiff_t>(i * na));
        std::copy_n(rnfl.begin() + static_cast<std::ptrdiff_t>(order[i] * na), na,
                    volume.deviceRnfl.begin() + static_cast<std::ptrdiff_t>(i * na));
    }
    return volume;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
