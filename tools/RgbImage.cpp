#include "RgbImage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

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

void RgbImage::ellipse(double cx, double cy, double rx, double ry, Rgb colour) {
    const int steps = std::max(16, static_cast<int>(8.0 * (rx + ry)));
    int lastX = static_cast<int>(std::lround(cx + rx)), lastY = static_cast<int>(std::lround(cy));
    for (int k = 1; k <= steps; ++k) {
        const double angle = 6.283185307179586 * k / steps;
        const int x = static_cast<int>(std::lround(cx + rx * std::cos(angle)));
        const int y = static_cast<int>(std::lround(cy + ry * std::sin(angle)));
        line(lastX, lastY, x, y, colour);
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
