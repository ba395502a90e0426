#include <Velin/Io/PngFile.h>

#include <Velin/Io/AtomicFile.h>

#include <png.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace velin {
namespace io {

Picture::Picture(int w, int h, int c)
    : width(w), height(h), channels(c),
      pixels(static_cast<std::size_t>(w > 0 ? w : 0) * static_cast<std::size_t>(h > 0 ? h : 0) *
             static_cast<std::size_t>(c > 0 ? c : 0)) {}

namespace {

// The pictures are written with zlib directly: one IDAT chunk of unfiltered rows deflated at the fastest
// level. The B-scans with speckle that make up most of them hardly compress better at any setting, and
// encoding was most of the program's own work with libpng's (slower) default or its "fast" setting.
void appendBigEndian(std::vector<std::uint8_t>& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(value >> shift));
}

void appendChunk(std::vector<std::uint8_t>& out, const char* type, const std::uint8_t* data, std::size_t size) {
    appendBigEndian(out, static_cast<std::uint32_t>(size));
    const std::size_t typeAt = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data, data + size);
    const uLong crc = crc32(0L, out.data() + typeAt, static_cast<uInt>(size + 4));
    appendBigEndian(out, static_cast<std::uint32_t>(crc));
}

std::vector<std::uint8_t> encode(const std::string& path, const Picture& picture) {
    const std::size_t rowBytes = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.channels);
    z_stream stream{};
    if (deflateInit(&stream, Z_BEST_SPEED) != Z_OK) throw FileWriteError(path + ": cannot encode PNG: out of memory");
    const uLong rawSize = static_cast<uLong>((rowBytes + 1) * static_cast<std::size_t>(picture.height));
    std::vector<std::uint8_t> compressed(deflateBound(&stream, rawSize));
    stream.next_out = compressed.data();
    stream.avail_out = static_cast<uInt>(compressed.size());
    // Each row is preceded by its filter type, 0 (none).
    std::uint8_t filter = 0;
    int status = Z_OK;
    for (int y = 0; y < picture.height && status == Z_OK; ++y) {
        stream.next_in = &filter;
        stream.avail_in = 1;
        status = deflate(&stream, Z_NO_FLUSH);
        stream.next_in = const_cast<std::uint8_t*>(picture.pixels.data() + rowBytes * static_cast<std::size_t>(y));
        stream.avail_in = static_cast<uInt>(rowBytes);
        if (status == Z_OK) status = deflate(&stream, Z_NO_FLUSH);
    }
    if (status == Z_OK) status = deflate(&stream, Z_FINISH);
    const std::size_t compressedSize = stream.total_out;
    deflateEnd(&stream);
    if (status != Z_STREAM_END)
        throw FileWriteError(path + ": cannot encode PNG: zlib status " + std::to_string(status));

    static const std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    std::vector<std::uint8_t> header;
    appendBigEndian(header, static_cast<std::uint32_t>(picture.width));
    appendBigEndian(header, static_cast<std::uint32_t>(picture.height));
    // 8 bits per sample; colour type 2 (RGB) or 0 (grey); compression, filter method and interlace all 0.
    const std::uint8_t rest[5] = {8, static_cast<std::uint8_t>(picture.channels == 3 ? 2 : 0), 0, 0, 0};
    header.insert(header.end(), rest, rest + 5);

    std::vector<std::uint8_t> bytes(kSignature, kSignature + 8);
    bytes.reserve(compressedSize + 64);
    appendChunk(bytes, "IHDR", header.data(), header.size());
    appendChunk(bytes, "IDAT", compressed.data(), compressedSize);
    appendChunk(bytes, "IEND", nullptr, 0);
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
