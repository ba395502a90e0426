#include <support/VolumeFiles.h>

#include <tiffio.h>

#include <algorithm>

#include <cstring>

namespace velin_test {
namespace {

template <typename T>
void put(std::vector<std::uint8_t>& bytes, std::size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

constexpr std::size_t kFileHeaderSize = 2048;

}  // namespace

bool writeTiffStack(const std::string& path, const velin::io::Volume& volume, const TiffLayout& layout) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    if (tiff == nullptr) return false;
    const int na = volume.numAScans, nd = volume.depth;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(na));
    bool written = true;
    for (int b = 0; b < volume.numBScans; ++b) {
        const int rows = (b == volume.numBScans - 1 && layout.lastPageDepth > 0) ? layout.lastPageDepth : nd;
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, na);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, rows);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, layout.minIsWhite ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, layout.compression);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, layout.rowsPerStrip);
        for (int d = 0; d < rows; ++d) {
            for (int a = 0; a < na; ++a) {
                const std::uint8_t s = volume.samples[(static_cast<std::size_t>(b) * na + a) * nd + d % nd];
                row[static_cast<std::size_t>(a)] = layout.minIsWhite ? static_cast<std::uint8_t>(255 - s) : s;
            }
            written = written && TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(d), 0) == 1;
        }
        written = written && TIFFWriteDirectory(tiff) == 1;
    }
    TIFFClose(tiff);
    return written;
}

std::vector<std::uint8_t> volBytes(const velin::io::Volume& volume, const VolHeader& header) {
    const std::size_t nb = static_cast<std::size_t>(volume.numBScans), na = static_cast<std::size_t>(volume.numAScans),
                      nd = static_cast<std::size_t>(volume.depth);
    const std::size_t firstBlock = kFileHeaderSize + std::size_t{header.sloWidth} * header.sloHeight;
    const std::size_t block = header.bScanHeaderBytes + na * nd * 4;
    std::vector<std::uint8_t> bytes(firstBlock + nb * block, 0);
    std::memcpy(bytes.data(), "HSF-OCT-103", 12);
    put(bytes, 12, static_cast<std::uint32_t>(na)), put(bytes, 16, static_cast<std::uint32_t>(nb));
    put(bytes, 20, static_cast<std::uint32_t>(nd));
    put(bytes, 24, header.scaleXMm), put(bytes, 32, header.distanceMm), put(bytes, 40, header.scaleZMm);
    put(bytes, 48, header.sloWidth), put(bytes, 52, header.sloHeight);
    std::memcpy(bytes.data() + 84, header.eye.data(), std::min<std::size_t>(header.eye.size(), 4));
    put(bytes, 96, header.scanPattern), put(bytes, 100, header.bScanHeaderBytes);
    for (std::size_t stored = 0; stored < nb; ++stored) {
        // Stored inferior first: the file's first block is the volume's last B-scan.
        const std::size_t b = nb - 1 - stored;
        const std::size_t at = firstBlock + stored * block;
        std::memcpy(bytes.data() + at, "HSF-BS-103", 11);
        put(bytes, at + 12, header.bScanHeaderBytes), put(bytes, at + 24, static_cast<double>(b));
        for (std::size_t z = 0; z < nd; ++z)
            for (std::size_t x = 0; x < na; ++x) {
                const double root = volume.samples[(b * na + x) * nd + z] / 255.0;
                put(bytes, at + header.bScanHeaderBytes + (z * na + x) * 4,
                    static_cast<float>(root * root * root * root));
            }
    }
    return bytes;
}

}  // namespace velin_test
