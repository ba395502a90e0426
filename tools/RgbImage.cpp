#include "RgbImage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace velin {
namespace cli {
namespace {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
constexpr int kGlyphAdvance = kGlyphWidth + 1;

struct Glyph {
    char c;
    const char* rows[kGlyphHeight];
};

// Enough characters for numbers, units and the labels of the pictures.
const Glyph kGlyphs[] = {
    {'0', {".###.", "#...#", "#..##", "#.#.#", "##..#", "#...#", ".###."}},
    {'1', {"..#..", ".##..", "..#..", "..#..", "..#..", "..#..", ".###."}},
    {'2', {".###.", "#...#", "....#", "...#.", "..#..", ".#...", "#####"}},
    {'3', {"####.", "....#", "....#", ".###.", "....#", "....#", "####."}},
    {'4', {"...#.", "..##.", ".#.#.", "#..#.", "#####", "...#.", "...#."}},
    {'5', {"#####", "#....", "####.", "....#", "....#", "#...#", ".###."}},
    {'6', {"..##.", ".#...", "#....", "####.", "#...#", "#...#", ".###."}},
    {'7', {"#####", "....#", "...#.", "..#..", ".#...", ".#...", ".#..."}},
    {'8', {".###.", "#...#", "#...#", ".###.", "#...#", "#...#", ".###."}},
    {'9', {".###.", "#...#", "#...#", ".####", "....#", "...#.", ".##.."}},
    {'.', {".....", ".....", ".....", ".....", ".....", ".##..", ".##.."}},
    {'-', {".....", ".....", ".....", "#####", ".....", ".....", "....."}},
    {'/', {"....#", "....#", "...#.", "..#..", ".#...", "#....", "#...."}},
    {'=', {".....", ".....", "#####", ".....", "#####", ".....", "....."}},
    {'(', {"...#.", "..#..", ".#...", ".#...", ".#...", "..#..", "...#."}},
    {')', {".#...", "..#..", "...#.", "...#.", "...#.", "..#..", ".#..."}},
    {':', {".....", ".##..", ".##..", ".....", ".##..", ".##..", "....."}},
    {',', {".....", ".....", ".....", ".....", ".##..", "..#..", ".#..."}},
    {'a', {".....", ".....", ".###.", "....#", ".####", "#...#", ".####"}},
    {'b', {"#....", "#....", "####.", "#...#", "#...#", "#...#", "####."}},
    {'c', {".....", ".....", ".###.", "#....", "#....", "#...#", ".###."}},
    {'d', {"....#", "....#", ".####", "#...#", "#...#", "#...#", ".####"}},
    {'e', {".....", ".....", ".###.", "#...#", "#####", "#....", ".###."}},
    {'f', {"..##.", ".#..#", ".#...", "###..", ".#...", ".#...", ".#..."}},
    {'g', {".....", ".####", "#...#", "#...#", ".####", "....#", ".###."}},
    {'h', {"#....", "#....", "#.##.", "##..#", "#...#", "#...#", "#...#"}},
    {'i', {"..#..", ".....", ".##..", "..#..", "..#..", "..#..", ".###."}},
    {'k', {"#....", "#....", "#..#.", "#.#..", "##...", "#.#..", "#..#."}},
    {'l', {".##..", "..#..", "..#..", "..#..", "..#..", "..#..", ".###."}},
    {'m', {".....", ".....", "##.#.", "#.#.#", "#.#.#", "#...#", "#...#"}},
    {'n', {".....", ".....", "#.##.", "##..#", "#...#", "#...#", "#...#"}},
    {'o', {".....", ".....", ".###.", "#...#", "#...#", "#...#", ".###."}},
    {'p', {".....", ".....", "####.", "#...#", "####.", "#....", "#...."}},
    {'r', {".....", ".....", "#.##.", "##..#", "#....", "#....", "#...."}},
    {'s', {".....", ".....", ".####", "#....", ".###.", "....#", "####."}},
    {'t', {".#...", ".#...", "###..", ".#...", ".#...", ".#..#", "..##."}},
    {'u', {".....", ".....", "#...#", "#...#", "#...#", "#..##", ".##.#"}},
    {'v', {".....", ".....", "#...#", "#...#", "#...#", ".#.#.", "..#.."}},
    {'w', {".....", ".....", "#...#", "#...#", "#.#.#", "#.#.#", ".#.#."}},
    {'x', {".....", ".....", "#...#", ".#.#.", "..#..", ".#.#.", "#...#"}},
    {'y', {".....", ".....", "#...#", "#...#", ".####", "....#", ".###."}},
    {'D', {"###..", "#..#.", "#...#", "#...#", "#...#", "#..#.", "###.."}},
    {'O', {".###.", "#...#", "#...#", "#...#", "#...#", "#...#", ".###."}},
    {'B', {"####.", "#...#", "#...#", "####.", "#...#", "#...#", "####."}},
    {'I', {".###.", "..#..", "..#..", "..#..", "..#..", "..#..", ".###."}},
    {'L', {"#....", "#....", "#....", "#....", "#....", "#....", "#####"}},
    {'M', {"#...#", "##.##", "#.#.#", "#.#.#", "#...#", "#...#", "#...#"}},
    {'N', {"#...#", "##..#", "#.#.#", "#..##", "#...#", "#...#", "#...#"}},
    {'R', {"####.", "#...#", "#...#", "####.", "#.#..", "#..#.", "#...#"}},
    {'F', {"#####", "#....", "#....", "####.", "#....", "#....", "#...."}},
    {'S', {".####", "#....", "#....", ".###.", "....#", "....#", "####."}},
    {'T', {"#####", "..#..", "..#..", "..#..", "..#..", "..#..", "..#.."}},
};

const Glyph* findGlyph(char c) {
    for (const Glyph& glyph : kGlyphs)
        if (glyph.c == c) return &glyph;
    return nullptr;
}

}  // namespace

RgbImage::RgbImage(int width, int height, Rgb fill)
    : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * height * 3) {
    for (std::size_t i = 0; i < pixels_.size(); i += 3) {
        pixels_[i] = fill.r;
        pixels_[i + 1] = fill.g;
        pixels_[i + 2] = fill.b;
    }
}

void RgbImage::set(int x, int y, Rgb colour) {
    if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
    const std::size_t i = (static_cast<std::size_t>(y) * width_ + x) * 3;
    pixels_[i] = colour.r;
    pixels_[i + 1] = colour.g;
    pixels_[i + 2] = colour.b;
}

void RgbImage::blend(int x, int y, Rgb colour, double share) {
    if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
    const double t = std::clamp(share, 0.0, 1.0);
    const std::size_t i = (static_cast<std::size_t>(y) * width_ + x) * 3;
    const std::uint8_t mix[3] = {colour.r, colour.g, colour.b};
    for (int c = 0; c < 3; ++c)
        pixels_[i + c] = static_cast<std::uint8_t>(std::lround(pixels_[i + c] + t * (mix[c] - pixels_[i + c])));
}

Rgb RgbImage::get(int x, int y) const {
    const std::size_t i = (static_cast<std::size_t>(y) * width_ + x) * 3;
    return {pixels_[i], pixels_[i + 1], pixels_[i + 2]};
}

void RgbImage::fillRect(int x, int y, int w, int h, Rgb colour) {
    for (int yy = y; yy < y + h; ++yy)
        for (int xx = x; xx < x + w; ++xx) set(xx, yy, colour);
}

void RgbImage::line(int x0, int y0, int x1, int y1, Rgb colour) {
    // Bresenham, all octants.
    const int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
    const int sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
    int error = dx + dy;
    while (true) {
        set(x0, y0, colour);
        if (x0 == x1 && y0 == y1) break;
        const int twice = 2 * error;
        if (twice >= dy) {
            error += dy;
            x0 += sx;
        }
        if (twice <= dx) {
            error += dx;
            y0 += sy;
        }
    }
}

void RgbImage::segment(double x0, double y0, double x1, double y1, Rgb colour) {
    if (!std::isfinite(x0) || !std::isfinite(y0) || !std::isfinite(x1) || !std::isfinite(y1)) return;
    // Liang-Barsky clipping to the image grown by a margin: inside it nothing changes, so lines that end near
    // the image keep their exact pixels, and the integer line never walks far outside.
    const double margin = 2.0;
    const double low[2] = {-margin, -margin}, high[2] = {width_ - 1 + margin, height_ - 1 + margin};
    const double start[2] = {x0, y0}, delta[2] = {x1 - x0, y1 - y0};
    double enter = 0.0, leave = 1.0;
    for (int axis = 0; axis < 2; ++axis) {
        if (delta[axis] == 0.0) {
            if (start[axis] < low[axis] || start[axis] > high[axis]) return;
            continue;
        }
        double t0 = (low[axis] - start[axis]) / delta[axis], t1 = (high[axis] - start[axis]) / delta[axis];
        if (t0 > t1) std::swap(t0, t1);
        enter = std::max(enter, t0);
        leave = std::min(leave, t1);
        if (enter > leave) return;
    }
    line(static_cast<int>(std::lround(x0 + enter * delta[0])), static_cast<int>(std::lround(y0 + enter * delta[1])),
         static_cast<int>(std::lround(x0 + leave * delta[0])), static_cast<int>(std::lround(y0 + leave * delta[1])),
         colour);
}

void RgbImage::ellipse(double cx, double cy, double rx, double ry, Rgb colour) {
    if (!std::isfinite(cx) || !std::isfinite(cy) || !std::isfinite(rx) || !std::isfinite(ry)) return;
    rx = std::fabs(rx), ry = std::fabs(ry);
    // Nothing to draw when the ellipse lies beside the image or encloses all of it.
    if (cx + rx < 0 || cx - rx > width_ || cy + ry < 0 || cy - ry > height_) return;
    auto inside = [&](double x, double y) {
        const double u = (x - cx) / rx, v = (y - cy) / ry;
        return u * u + v * v < 1.0;
    };
    if (rx > 0 && ry > 0 && inside(-1, -1) && inside(width_, -1) && inside(-1, height_) && inside(width_, height_))
        return;
    // About one chord per 8 pixels of circumference; the cap keeps a huge ellipse's chords within a hundredth
    // of a pixel of the curve for any radius a picture here can show (up to about 10^7 pixels).
    constexpr double kMaxSteps = 1 << 16;
    const int steps = static_cast<int>(std::clamp(8.0 * (rx + ry), 16.0, kMaxSteps));
    double lastX = cx + rx, lastY = cy;
    for (int k = 1; k <= steps; ++k) {
        const double angle = 6.283185307179586 * k / steps;
        const double x = cx + rx * std::cos(angle), y = cy + ry * std::sin(angle);
        segment(lastX, lastY, x, y, colour);
        lastX = x;
        lastY = y;
    }
}

void RgbImage::text(int x, int y, const std::string& text, Rgb colour, int scale) {
    for (std::size_t k = 0; k < text.size(); ++k) {
        const Glyph* glyph = findGlyph(text[k]);
        if (glyph == nullptr) continue;
        const int left = x + static_cast<int>(k) * kGlyphAdvance * scale;
        for (int row = 0; row < kGlyphHeight; ++row)
            for (int col = 0; col < kGlyphWidth; ++col)
                if (glyph->rows[row][col] == '#') fillRect(left + col * scale, y + row * scale, scale, scale, colour);
    }
}

int RgbImage::textWidth(const std::string& text, int scale) {
    if (text.empty()) return 0;
    return (static_cast<int>(text.size()) * kGlyphAdvance - 1) * scale;
}

int RgbImage::textHeight(int scale) {
    return kGlyphHeight * scale;
}

}  // namespace cli
}  // namespace velin
