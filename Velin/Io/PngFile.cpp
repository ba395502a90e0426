#include <Velin/Io/PngFile.h>

#include <Velin/Io/AtomicFile.h>

#include <png.h>

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

// libpng's simplified interface encodes to memory without setjmp/longjmp, which do not mix with C++ objects.
std::vector<std::uint8_t> encode(const std::string& path, const Picture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = picture.channels == 3 ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
    const png_int_32 stride = picture.width * picture.channels;
    png_alloc_size_t size = 0;
    if (!png_image_write_to_memory(&image, nullptr, &size, 0, picture.pixels.data(), stride, nullptr)) {
        const std::string reason = image.message;
        png_image_free(&image);
        throw FileWriteError(path + ": cannot encode PNG: " + reason);
    }
    std::vector<std::uint8_t> bytes(size);
    if (!png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.pixels.data(), stride, nullptr)) {
        const std::string reason = image.message;
        png_image_free(&image);
        throw FileWriteError(path + ": cannot encode PNG: " + reason);
    }
    bytes.resize(size);
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
