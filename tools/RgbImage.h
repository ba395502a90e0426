#pragma once

// A small RGB raster with the drawing the pictures of the program need: lines, rectangles, circles and
// labels in a built-in 5 x 7 pixel font.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velin {
namespace cli {

struct Rgb {
    std::uint8_t r = 0, g = 0, b = 0;
};

class RgbImage {
public:
    RgbImage(int width, int height, Rgb fill = Rgb{});

    int width() const { return width_; }
    int height() const { return height_; }
    /// Interleaved R, G, B bytes, row after row from the top.
    const std::vector<std::uint8_t>& pixels() const { return pixels_; }
    /// The pixels of row y (0 <= y < height), for filling whole rows faster than pixel by pixel.
    std::uint8_t* row(int y) { return pixels_.data() + static_cast<std::size_t>(y) * width_ * 3; }
    /// Hands the pixels over without a copy; the image is empty afterwards.
    std::vector<std::uint8_t> releasePixels() {
        width_ = height_ = 0;
        return std::move(pixels_);
    }

    /// Pixels outside the image are ignored by every drawing call.
    void set(int x, int y, Rgb colour);
    Rgb get(int x, int y) const;
    /// Mixes `colour` into the pixel by `share` (0 keeps the pixel, 1 replaces it), rounded to the nearest.
    void blend(int x, int y, Rgb colour, double share);
    void fillRect(int x, int y, int w, int h, Rgb colour);
    void line(int x0, int y0, int x1, int y1, Rgb colour);
    /// A line between points anywhere in the plane, even far outside the image: only the part near the
    /// image is drawn. Nothing is drawn for a non-finite end.
    void segment(double x0, double y0, double x1, double y1, Rgb colour);
    /// Outline of an axis-aligned ellipse (a circle in physical units on an anisotropic grid), of any size;
    /// only what crosses the image costs drawing.
    void ellipse(double cx, double cy, double rx, double ry, Rgb colour);
    /// Text with its top-left corner at (x, y), each font pixel drawn as scale x scale pixels. Characters
    /// the font lacks are drawn as blanks.
    void text(int x, int y, const std::string& text, Rgb colour, int scale = 1);

    static int textWidth(const std::string& text, int scale = 1);
    static int textHeight(int scale = 1);

private:
    int width_;
    int height_;
    std::vector<std::uint8_t> pixels_;
};

}  // namespace cli
}  // namespace velin
