#pragma once

// PNG pictures (8-bit grey or RGB), written atomically.

#include <cstdint>
#include <string>
#include <vector>

namespace velin {
namespace io {

/// An 8-bit picture, rows top to bottom; `channels` is 1 (grey) or 3 (RGB, interleaved).
struct Picture {
    int width = 0;
    int height = 0;
    int channels = 1;
    std::vector<std::uint8_t> pixels;  ///< (y * width + x) * channels + c

    Picture() = default;
    Picture(int width, int height, int channels);
    std::uint8_t* at(int x, int y) { return pixels.data() + (static_cast<std::size_t>(y) * width + x) * channels; }
    const std::uint8_t* at(int x, int y) const {
        return pixels.data() + (static_cast<std::size_t>(y) * width + x) * channels;
    }
};

/// Writes the picture as a PNG file (through a temporary name and a rename). A picture whose size does not
/// match its pixels, or a file that cannot be written, gives FileWriteError naming the file.
void writePng(const std::string& path, const Picture& picture);

/// Reads any PNG file as 8-bit grey (1 channel) or RGB (3 channels), whichever is closer to its own format;
/// used to check the program's pictures. A missing or undecodable file gives std::runtime_error naming it.
Picture readPng(const std::string& path);

}  // namespace io
}  // namespace velin
