#include "Pictures.h"

#include <Velin/Io/ColourMap.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace velin {
namespace cli {
namespace {

const Rgb kWhite{255, 255, 255};
const Rgb kBlack{0, 0, 0};
const Rgb kNoData{60, 60, 60};
const Rgb kUpperColour{255, 48, 48};
const Rgb kLowerColour{48, 230, 48};

constexpr int kMargin = 12;
constexpr int kBarWidth = 18;
constexpr int kTextScale = 2;
// The map is drawn at least this wide, so that small scans still give a readable picture, and at most this
// long on either side, so that no spacing or scan size can make the picture grow without bound.
constexpr int kMinimumMapWidth = 384;
constexpr int kMaximumMapSide = 4096;
constexpr const char* kNotToScale = "not to scale: lateral spacing unknown";

Rgb rampColour(double t) {
    const io::Rgb c = io::viridis(t);
    return {c[0], c[1], c[2]};
}

// A round step (1, 2 or 5 times a power of ten) that splits `range` into about five parts.
double niceStep(double range) {
    if (!(range > 0.0)) return 1.0;
    const double raw = range / 5.0;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0})
        if (raw <= factor * power) return factor * power;
    return 10.0 * power;
}

std::string numberText(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return buffer;
}

// Top of the colour scale: the 99th percentile, rounded up to a step, so that a few outliers do not wash out
// the map.
double scaleTop(const ThicknessMap& map) {
    std::vector<float> values;
    for (float v : map.values)
        if (!std::isnan(v)) values.push_back(v);
    if (values.empty()) return 1.0;
    // Only the two values around the 99th percentile's rank are needed, in their sorted places: selected
    // rather than sorting them all, which gives the same value as percentileOfSorted on the sorted list.
    const double rank = 0.99 * static_cast<double>(values.size() - 1);
    const std::size_t below = static_cast<std::size_t>(std::floor(rank));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(below), values.end());
    const float lower = values[below];
    const float upper = below + 1 < values.size()
                            ? *std::min_element(values.begin() + static_cast<std::ptrdiff_t>(below) + 1, values.end())
                            : lower;
    const double fraction = rank - static_cast<double>(below);
    const double high = std::max(1.0, lower + fraction * (static_cast<double>(upper) - lower));
    const double step = niceStep(high);
    return std::ceil(high / step) * step;
}

// Text readable on every colour of the map: white with a dark rim.
void outlinedText(RgbImage& image, int x, int y, const std::string& text, int scale) {
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
            if (dx != 0 || dy != 0) image.text(x + dx, y + dy, text, kBlack, scale);
    image.text(x, y, text, kWhite, scale);
}

std::string meanText(double mean, const std::string& unit) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, unit == "um" ? "%.0f" : "%.1f", mean);
    return buffer;
}

// Unit vector of a sector's direction on the picture: superior up, nasal to the right for a right eye and to
// the left for a left eye. Zero for the central disc and the whole circle.
void sectorDirection(const std::string& name, const std::string& eye, double& ux, double& uy) {
    const double nasalX = eye == "OS" ? -1.0 : 1.0;
    ux = uy = 0.0;
    auto endsWith = [&name](const char* tail) {
        const std::string t(tail);
        return name.size() >= t.size() && name.compare(name.size() - t.size(), t.size(), t) == 0;
    };
    if (endsWith("superior")) uy = -1.0;
    if (endsWith("inferior")) uy = 1.0;
    if (endsWith("nasal")) ux = nasalX;
    if (endsWith("temporal")) ux = -nasalX;
}

// Each sector's mean thickness written in it (ETDRS: at the middle of its ring; circle: just outside the
// circle in the quadrant's direction), as clinical printouts show them.
void drawSectorMeans(RgbImage& image, const GridResult& grid, const std::string& unit, double cx, double cy,
                     double pxPerUmX, double pxPerUmY) {
    const int scale = std::min(pxPerUmX, pxPerUmY) * 1000.0 >= 40.0 ? 2 : 1;
    for (const SectorThickness& sector : grid.sectors) {
        if (!std::isfinite(sector.mean) || sector.name == "all") continue;
        double ux = 0.0, uy = 0.0;
        sectorDirection(sector.name, grid.eye, ux, uy);
        double radiusUm = 0.0;
        if (grid.kind == GridKind::Circle)
            radiusUm = kCircleDiameterMm * 500.0 + 250.0;
        else if (sector.name.compare(0, 6, "inner_") == 0)
            radiusUm = (kEtdrsDiametersMm[0] + kEtdrsDiametersMm[1]) * 250.0;
        else if (sector.name.compare(0, 6, "outer_") == 0)
            radiusUm = (kEtdrsDiametersMm[1] + kEtdrsDiametersMm[2]) * 250.0;
        const std::string text = meanText(sector.mean, unit);
        const double x = cx + ux * radiusUm * pxPerUmX, y = cy + uy * radiusUm * pxPerUmY;
        // On a scan much smaller than the grid the label would land far outside the picture.
        if (!(std::fabs(x) < image.width() + 100.0 && std::fabs(y) < image.height() + 100.0)) continue;
        // The central value sits below the centre mark, which would otherwise hide it.
        const double shiftY = radiusUm == 0.0 ? 8.0 + RgbImage::textHeight(scale) / 2.0 : 0.0;
        outlinedText(image, static_cast<int>(std::lround(x - RgbImage::textWidth(text, scale) / 2.0)),
                     static_cast<int>(std::lround(y + shiftY - RgbImage::textHeight(scale) / 2.0)), text, scale);
    }
}

}  // namespace

void drawGrid(RgbImage& image, const GridResult& grid, const Spacing& spacing, const std::string& unit, int left,
              int top, double pxPerA, double pxPerB) {
    if (grid.kind == GridKind::None || !spacing.lateralKnown()) return;
    const double cx = left + (grid.centre.aScan + 0.5) * pxPerA;
    const double cy = top + (grid.centre.bScan + 0.5) * pxPerB;
    const double pxPerUmX = pxPerA / spacing.aScanUm;
    const double pxPerUmY = pxPerB / spacing.bScanUm;
    if (grid.kind == GridKind::Etdrs) {
        for (double diameter : kEtdrsDiametersMm)
            image.ellipse(cx, cy, diameter * 500.0 * pxPerUmX, diameter * 500.0 * pxPerUmY, kWhite);
        // Sector borders run along the diagonals between the inner and the outer circle.
        const double inner = kEtdrsDiametersMm[0] * 500.0, outer = kEtdrsDiametersMm[2] * 500.0;
        for (int k = 0; k < 4; ++k) {
            const double angle = 3.14159265358979323846 * (0.25 + 0.5 * k);
            const double ux = std::cos(angle), uy = std::sin(angle);
            image.segment(cx + ux * inner * pxPerUmX, cy + uy * inner * pxPerUmY, cx + ux * outer * pxPerUmX,
                          cy + uy * outer * pxPerUmY, kWhite);
        }
    } else {
        image.ellipse(cx, cy, kCircleDiameterMm * 500.0 * pxPerUmX, kCircleDiameterMm * 500.0 * pxPerUmY, kWhite);
    }
    const int x = static_cast<int>(std::lround(cx)), y = static_cast<int>(std::lround(cy));
    image.line(x - 5, y, x + 5, y, kWhite);
    image.line(x, y - 5, x, y + 5, kWhite);
    drawSectorMeans(image, grid, unit, cx, cy, pxPerUmX, pxPerUmY);
}

ScaleBar scaleBar(double pxPerUm, int mapWidth) {
    // Lengths 1, 2 and 5 times a power of ten: mantissa index and exponent, starting at 1 mm.
    constexpr double kMantissas[3] = {1.0, 2.0, 5.0};
    constexpr double kShortest = 20.0;
    int mantissa = 0, exponent = 3;
    const auto length = [&] { return kMantissas[mantissa] * std::pow(10.0, exponent); };
    const double widest = std::max(kShortest, static_cast<double>(mapWidth));
    if (!(pxPerUm > 0.0 && std::isfinite(pxPerUm))) return {static_cast<int>(kShortest), "1 mm"};
    // The loops are bounded: any spacing a picture is drawn for lies within a few powers of ten of 1 mm.
    for (int k = 0; k < 60 && length() * pxPerUm > widest; ++k)
        if (--mantissa < 0) mantissa = 2, --exponent;
    for (int k = 0; k < 60 && length() * pxPerUm < kShortest; ++k)
        if (++mantissa > 2) mantissa = 0, ++exponent;
    const double um = length();
    char label[32];
    if (um >= 1000.0)
        std::snprintf(label, sizeof label, "%g mm", um / 1000.0);
    else
        std::snprintf(label, sizeof label, "%g um", um);
    const double pixels = std::clamp(um * pxPerUm, 1.0, widest);
    return {static_cast<int>(std::lround(pixels)), label};
}

MapGeometry thicknessMapGeometry(const ThicknessMap& map, const Spacing& spacing) {
    const int cols = std::max(1, map.numAScans), rows = std::max(1, map.numBScans);
    MapGeometry g;
    g.pxPerA = std::max(1.0, std::ceil(static_cast<double>(kMinimumMapWidth) / cols));
    const double aspect = spacing.lateralKnown() ? spacing.bScanUm / spacing.aScanUm : 1.0;
    g.pxPerB = g.pxPerA * aspect;
    // A long side beyond the limit shrinks both sides alike, so the map stays to scale.
    const double longest = std::max(cols * g.pxPerA, rows * g.pxPerB);
    if (longest > kMaximumMapSide) {
        g.pxPerA *= kMaximumMapSide / longest;
        g.pxPerB *= kMaximumMapSide / longest;
    }
    g.width = std::clamp(static_cast<int>(std::lround(cols * g.pxPerA)), 1, kMaximumMapSide);
    g.height = std::clamp(static_cast<int>(std::lround(rows * g.pxPerB)), 1, kMaximumMapSide);
    return g;
}

namespace {

// One boundary of a B-scan, two pixels thick, at its sub-sample depth: in column a the line covers depths
// z + offset to z + offset + 2 (offset -1 for the top, whose line straddles it; 0 for the lower boundary,
// whose line lies below it, so that the nerve-fibre layer between them stays visible), and pixels it covers
// in part are mixed in part. A column also covers the way to half-way to each neighbour, so that steep
// stretches read as lines; a gap (NaN) stays a gap.
void drawBoundary(RgbImage& image, const float* depths, Rgb colour, double offset) {
    const int cols = image.width();
    for (int a = 0; a < cols; ++a) {
        const double z = depths[a];
        if (std::isnan(z)) continue;
        double top = z, bottom = z;
        for (int n : {a - 1, a + 1}) {
            if (n < 0 || n >= cols || std::isnan(depths[n])) continue;
            const double halfWay = 0.5 * (z + depths[n]);
            top = std::min(top, halfWay);
            bottom = std::max(bottom, halfWay);
        }
        top += offset;
        bottom += offset + 2.0;
        for (int y = static_cast<int>(std::floor(top)); y < bottom; ++y)
            image.blend(a, y, colour, std::min(y + 1.0, bottom) - std::max(static_cast<double>(y), top));
    }
}

}  // namespace

RgbImage renderThicknessMap(const ThicknessMap& map, const Spacing& spacing, const GridResult& grid) {
    const int cols = std::max(1, map.numAScans), rows = std::max(1, map.numBScans);
    const MapGeometry geometry = thicknessMapGeometry(map, spacing);
    const double pxPerA = geometry.pxPerA, pxPerB = geometry.pxPerB;
    const int mapWidth = geometry.width, mapHeight = geometry.height;

    const double top = scaleTop(map);
    const double step = niceStep(top);
    // The unit in brackets and, when a grid fixed the orientation, the eye the sides are named for.
    std::string title = std::string("RNFL thickness (") + map.unit() + ")";
    const bool oriented = grid.kind != GridKind::None && !grid.eye.empty();
    if (oriented) title += ", " + grid.eye + (grid.eyeAssumed ? " assumed" : "");
    const int textHeight = RgbImage::textHeight(kTextScale);
    const int letterWidth = RgbImage::textWidth("S", kTextScale);
    const int labelWidth = RgbImage::textWidth(numberText(top), kTextScale);
    const int barHeight = std::max(mapHeight, 160);
    // Room around the map for the letters of the four sides.
    const int sideRoom = oriented ? letterWidth + 6 : 0;
    const int topRoom = oriented ? textHeight + 4 : 0;

    const int mapLeft = kMargin + sideRoom, mapTop = kMargin + textHeight + kMargin + topRoom;
    const int barLeft = mapLeft + mapWidth + sideRoom + 2 * kMargin;
    const int width = std::max({barLeft + kBarWidth + 8 + labelWidth + kMargin,
                                kMargin + RgbImage::textWidth(title, kTextScale) + kMargin,
                                mapLeft + RgbImage::textWidth(kNotToScale, kTextScale) + kMargin});
    const int belowMap = std::max(mapHeight + topRoom, barHeight);
    const int height = mapTop + belowMap + 2 * kMargin + 2 * textHeight + kMargin;
    RgbImage image(width, height, kWhite);
    image.text(kMargin, kMargin, title, kBlack, kTextScale);

    // Each position's colour once, then copied to every pixel it covers: a map row spans several picture
    // rows, and the colour ramp costs more than the copies.
    std::vector<int> columnOf(static_cast<std::size_t>(mapWidth));
    for (int x = 0; x < mapWidth; ++x) columnOf[x] = std::min(cols - 1, static_cast<int>(x / pxPerA));
    std::vector<Rgb> rowColours(static_cast<std::size_t>(cols));
    int colouredRow = -1;
    for (int y = 0; y < mapHeight; ++y) {
        const int b = std::min(rows - 1, static_cast<int>(y / pxPerB));
        if (b != colouredRow) {
            for (int a = 0; a < cols; ++a) {
                const float value = map.values.empty() ? NAN : map.at(b, a);
                rowColours[a] = std::isnan(value) ? kNoData : rampColour(value / top);
            }
            colouredRow = b;
        }
        for (int x = 0; x < mapWidth; ++x) image.set(mapLeft + x, mapTop + y, rowColours[columnOf[x]]);
    }
    drawGrid(image, grid, spacing, map.unit(), mapLeft, mapTop, pxPerA, pxPerB);
    if (oriented) {
        const bool nasalRight = grid.eye != "OS";
        const int middleX = mapLeft + mapWidth / 2 - letterWidth / 2, middleY = mapTop + mapHeight / 2 - textHeight / 2;
        image.text(middleX, mapTop - textHeight - 4, "S", kBlack, kTextScale);
        image.text(middleX, mapTop + mapHeight + 4, "I", kBlack, kTextScale);
        image.text(mapLeft - sideRoom, middleY, nasalRight ? "T" : "N", kBlack, kTextScale);
        image.text(mapLeft + mapWidth + 6, middleY, nasalRight ? "N" : "T", kBlack, kTextScale);
    }

    // Colour bar, thick at the top and framed. The graduation lines cross the bar, so that they cannot be
    // read as minus signs in front of the labels.
    for (int y = 0; y < barHeight; ++y) {
        const Rgb colour = rampColour(1.0 - static_cast<double>(y) / std::max(1, barHeight - 1));
        image.fillRect(barLeft, mapTop + y, kBarWidth, 1, colour);
    }
    for (double value = 0.0; value <= top + step * 1e-6; value += step) {
        const int y = mapTop + static_cast<int>(std::lround((1.0 - value / top) * (barHeight - 1)));
        image.line(barLeft, y, barLeft + kBarWidth + 2, y, kBlack);
        const int labelTop =
            std::clamp(y - textHeight / 2, mapTop - textHeight / 2, mapTop + barHeight - textHeight / 2);
        image.text(barLeft + kBarWidth + 8, labelTop, numberText(value), kBlack, kTextScale);
    }
    image.line(barLeft - 1, mapTop - 1, barLeft + kBarWidth, mapTop - 1, kBlack);
    image.line(barLeft - 1, mapTop + barHeight, barLeft + kBarWidth, mapTop + barHeight, kBlack);
    image.line(barLeft - 1, mapTop - 1, barLeft - 1, mapTop + barHeight, kBlack);
    image.line(barLeft + kBarWidth, mapTop - 1, barLeft + kBarWidth, mapTop + barHeight, kBlack);

    // Under the map: a 1 mm scale bar (when the lateral spacing is known) and the key for missing values.
    const int legendTop = mapTop + belowMap + kMargin;
    int legendLeft = mapLeft;
    if (spacing.lateralKnown()) {
        const ScaleBar bar = scaleBar(pxPerA / spacing.aScanUm, mapWidth);
        image.fillRect(legendLeft, legendTop + textHeight / 2 - 2, bar.pixels, 4, kBlack);
        image.text(legendLeft + bar.pixels + 6, legendTop, bar.label, kBlack, kTextScale);
        legendLeft += bar.pixels + 6 + RgbImage::textWidth(bar.label, kTextScale) + 3 * kMargin;
    }
    image.fillRect(legendLeft, legendTop, textHeight, textHeight, kNoData);
    image.text(legendLeft + textHeight + 6, legendTop, "no data", kBlack, kTextScale);
    // Without the lateral spacing every position is a square, which distorts most scans: say so.
    if (!spacing.lateralKnown()) image.text(mapLeft, legendTop + textHeight + kMargin, kNotToScale, kBlack, kTextScale);
    return image;
}

RgbImage renderOverlay(const VolumeView& volume, const Result& result, int bScan) {
    const int cols = volume.numAScans, rows = volume.depth;
    RgbImage image(cols, rows);
    // The B-scan is stored A-scan after A-scan and drawn row (depth) after row: turned in strips of A-scans,
    // so that both the A-scans read and the rows written stay in the cache.
    constexpr int kStrip = 32;
    const std::uint8_t* samples = volume.data + static_cast<std::size_t>(bScan) * cols * rows;
    for (int first = 0; first < cols; first += kStrip) {
        const int last = std::min(cols, first + kStrip);
        for (int d = 0; d < rows; ++d) {
            std::uint8_t* pixel = image.row(d) + static_cast<std::size_t>(first) * 3;
            for (int a = first; a < last; ++a, pixel += 3)
                pixel[0] = pixel[1] = pixel[2] = samples[static_cast<std::size_t>(a) * rows + d];
        }
    }

    const std::size_t planeStart = static_cast<std::size_t>(bScan) * cols;
    drawBoundary(image, result.upperBoundary.data() + planeStart, kUpperColour, -1.0);
    drawBoundary(image, result.lowerBoundary.data() + planeStart, kLowerColour, 0.0);

    const int scale = cols >= 256 ? 2 : 1;
    const int line = RgbImage::textHeight(scale) + 4;
    image.text(4, 4, "B-scan " + std::to_string(bScan) + " of " + std::to_string(volume.numBScans), kWhite, scale);
    image.text(4, 4 + line, "ILM, top of retina", kUpperColour, scale);
    image.text(4, 4 + 2 * line, "RNFL lower boundary", kLowerColour, scale);
    return image;
}

std::vector<int> overlayBScans(int numBScans) {
    std::vector<int> picks;
    for (int quarter : {1, 2, 3}) {
        const int b = std::clamp(numBScans * quarter / 4, 0, std::max(0, numBScans - 1));
        if (numBScans > 0 && (picks.empty() || picks.back() != b)) picks.push_back(b);
    }
    return picks;
}

}  // namespace cli
}  // namespace velin
