#include <Velin/Io/PngFile.h>

#include <Velin/Io/AtomicFile.h>

#include <libdeflate.h>
#include <png.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace velin {
namespace io {

Picture::Picture(int w, int h, int c)
    : width(w), height(h), channels(c),
      pixels(static_cast<std::size_t>(w > 0 ? w : 0) * static_cast<std::size_t>(h > 0 ? h : 0) *
             static_cast<std::size_t>(c > 0 ? c : 0)) {}

namespace {

// The pictures are encoded here rather than with libpng: one IDAT chunk of unfiltered rows, compressed in one
// call with libdeflate at its fastest level. The B-scans with speckle that make up most of them hardly
// compress better at any setting; libdeflate's fastest level takes less than half of zlib's time for files
// a few per cent smaller, and encoding was most of the program's own work with libpng's settings.
void putBigEndian(std::uint8_t* out, std::uint32_t value) {
    for (int k = 0; k < 4; ++k) out[k] = static_cast<std::uint8_t>(value >> (24 - 8 * k));
}

// Appends a chunk whose `size` data bytes are already in place after room for its length and type, which
// start at `at`.
void finishChunk(std::vector<std::uint8_t>& out, std::size_t at, const char* type, std::size_t size) {
    putBigEndian(out.data() + at, static_cast<std::uint32_t>(size));
    std::copy(type, type + 4, out.begin() + static_cast<std::ptrdiff_t>(at + 4));
    const std::uint32_t crc = libdeflate_crc32(0, out.data() + at + 4, size + 4);
    std::uint8_t tail[4];
    putBigEndian(tail, crc);
    out.insert(out.begin() + static_cast<std::ptrdiff_t>(at + 8 + size), tail, tail + 4);
}

struct CompressorDeleter {
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

std::vector<std::uint8_t> encode(const std::string& path, const Picture& picture) {
    const std::size_t rowBytes = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.channels);
    const std::size_t height = static_cast<std::size_t>(picture.height);
    // Each row is preceded by its filter type, 0 (none).
    std::vector<std::uint8_t> raw((rowBytes + 1) * height);
    for (std::size_t y = 0; y < height; ++y) {
        std::uint8_t* row = raw.data() + y * (rowBytes + 1);
        row[0] = 0;
        std::copy_n(picture.pixels.data() + y * rowBytes, rowBytes, row + 1);
    }
    const std::unique_ptr<libdeflate_compressor, CompressorDeleter> compressor(libdeflate_alloc_compressor(1));
    if (!compressor) throw FileWriteError(path + ": cannot encode PNG: out of memory");

    static const std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    constexpr std::size_t kHeaderSize = 13, kChunkFrame = 12;
    const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), raw.size());
    std::vector<std::uint8_t> bytes;
    bytes.reserve(8 + 3 * kChunkFrame + kHeaderSize + bound);
    bytes.assign(kSignature, kSignature + 8);

    const std::size_t headerAt = bytes.size();
    bytes.resize(headerAt + 8 + kHeaderSize);
    std::uint8_t* header = bytes.data() + headerAt + 8;
    putBigEndian(header, static_cast<std::uint32_t>(picture.width));
    putBigEndian(header + 4, static_cast<std::uint32_t>(picture.height));
    // 8 bits per sample; colour type 2 (RGB) or 0 (grey); compression, filter method and interlace all 0.
    const std::uint8_t rest[5] = {8, static_cast<std::uint8_t>(picture.channels == 3 ? 2 : 0), 0, 0, 0};
    std::copy(rest, rest + 5, header + 8);
    finishChunk(bytes, headerAt, "IHDR", kHeaderSize);

    // The data is compressed straight into its chunk; the bytes past what it used are dropped again.
    const std::size_t dataAt = bytes.size();
    bytes.resize(dataAt + 8 + bound);
    const std::size_t compressedSize =
        libdeflate_zlib_compress(compressor.get(), raw.data(), raw.size(), bytes.data() + dataAt + 8, bound);
    if (compressedSize == 0) throw FileWriteError(path + ": cannot encode PNG: the compressed data did not fit");
    bytes.resize(dataAt + 8 + compressedSize);
    finishChunk(bytes, dataAt, "IDAT", compressedSize);

    const std::size_t endAt = bytes.size();
    bytes.resize(endAt + 8);
    finishChunk(bytes, endAt, "IEND", 0);
    return bytes;
}

}  // namespace

void writePng(const std::string& path, const Picture& picture) {
    if (picture.width <= 0 || picture.height <= 0 || (picture.channels != 1 && picture.channels != 3)) {
        throw FileWriteError(path + ": cannot write a picture of " + std::to_string(picture.width) + "x" +
                             std::to_string(picture.height) + " pixels with " + std::to_string(picture.channels) +
                             " channels (expected a positive size and 1 or 3 channels)");
    }
    const std::size_t expected = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) *
                                 static_cast<std::size_t>(picture.channels);
    if (picture.pixels.size() != expected) {
        throw FileWriteError(path + ": cannot write: the picture holds " + std::to_string(picture.pixels.size()) +
                             " bytes, its size needs " + std::to_string(expected));
    }
    const std::vector<std::uint8_t> bytes = encode(path, picture);
    writeFileAtomically(path, {{bytes.data(), bytes.size()}});
}

Picture readPng(const std::string& path) {
    std::ifstream in(std::filesystem::u8path(path), std::ios::binary);
    if (!in) throw std::runtime_error(path + ": cannot open for reading");
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, bytes.data(), bytes.size())) {
        throw std::runtime_error(path + ": not a readable PNG: " + image.message);
    }
    const bool colour = (image.format & PNG_FORMAT_FLAG_COLOR) != 0;
    image.format = colour ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
    Picture picture(static_cast<int>(image.width), static_cast<int>(image.height), colour ? 3 : 1);
    if (!png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr)) {
        const std::string reason = image.message;
        png_image_free(&image);
        throw std::runtime_error(path + ": corrupt PNG: " + reason);
    }
    return picture;
}

}  // namespace io
}  // namespace velin
