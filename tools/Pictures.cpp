#include "Pictures.h"

#include "io/ColourMap.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

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
// The map is drawn at least this wide, so that small scans still give a readable picture.
constexpr int kMinimumMapWidth = 384;

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
    std::sort(values.begin(), values.end());
    const double high = std::max(1.0, percentileOfSorted(values, 99.0));
    const double step = niceStep(high);
    return std::ceil(high / step) * step;
}

void drawGrid(RgbImage& image, const GridResult& grid, const Spacing& spacing, int left, int top, double pxPerA,
              double pxPerB) {
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
            image.line(static_cast<int>(std::lround(cx + ux * inner * pxPerUmX)),
                       static_cast<int>(std::lround(cy + uy * inner * pxPerUmY)),
                       static_cast<int>(std::lround(cx + ux * outer * pxPerUmX)),
                       static_cast<int>(std::lround(cy + uy * outer * pxPerUmY)), kWhite);
        }
    } else {
        image.ellipse(cx, cy, kCircleDiameterMm * 500.0 * pxPerUmX, kCircleDiameterMm * 500.0 * pxPerUmY, kWhite);
    }
    const int x = static_cast<int>(std::lround(cx)), y = static_cast<int>(std::lround(cy));
    image.line(x - 5, y, x + 5, y, kWhite);
    image.line(x, y - 5, x, y + 5, kWhite);
}

}  // namespace

RgbImage renderThicknessMap(const ThicknessMap& map, const Spacing& spacing, const GridResult& grid) {
    const int cols = std::max(1, map.numAScans), rows = std::max(1, map.numBScans);
    const double pxPerA = std::max(1.0, std::ceil(static_cast<double>(kMinimumMapWidth) / cols));
    const double aspect = spacing.lateralKnown() ? spacing.bScanUm / spacing.aScanUm : 1.0;
    const double pxPerB = pxPerA * aspect;
    const int mapWidth = static_cast<int>(std::lround(cols * pxPerA));
    const int mapHeight = std::max(1, static_cast<int>(std::lround(rows * pxPerB)));

    const double top = scaleTop(map);
    const double step = niceStep(top);
    const std::string title = std::string("RNFL thickness ") + map.unit();
    const int textHeight = RgbImage::textHeight(kTextScale);
    const int labelWidth = RgbImage::textWidth(numberText(top), kTextScale);
    const int barHeight = std::max(mapHeight, 160);

    const int mapLeft = kMargin, mapTop = kMargin + textHeight + kMargin;
    const int barLeft = mapLeft + mapWidth + 2 * kMargin;
    const int width = std::max(barLeft + kBarWidth + 6 + labelWidth + kMargin,
                               mapLeft + RgbImage::textWidth(title, kTextScale) + kMargin);
    const int height = mapTop + std::max(mapHeight, barHeight) + 2 * kMargin + 2 * textHeight + kMargin;
    RgbImage image(width, height, kWhite);
    image.text(mapLeft, kMargin, title, kBlack, kTextScale);

    for (int y = 0; y < mapHeight; ++y) {
        const int b = std::min(rows - 1, static_cast<int>(y / pxPerB));
        for (int x = 0; x < mapWidth; ++x) {
            const int a = std::min(cols - 1, static_cast<int>(x / pxPerA));
            const float value = map.values.empty() ? NAN : map.at(b, a);
            image.set(mapLeft + x, mapTop + y, std::isnan(value) ? kNoData : rampColour(value / top));
        }
    }
    drawGrid(image, grid, spacing, mapLeft, mapTop, pxPerA, pxPerB);

    // Colour bar: thick at the top, with a tick and a label at every step.
    for (int y = 0; y < barHeight; ++y) {
        const Rgb colour = rampColour(1.0 - static_cast<double>(y) / std::max(1, barHeight - 1));
        image.fillRect(barLeft, mapTop + y, kBarWidth, 1, colour);
    }
    for (double value = 0.0; value <= top + step * 1e-6; value += step) {
        const int y = mapTop + static_cast<int>(std::lround((1.0 - value / top) * (barHeight - 1)));
        image.line(barLeft + kBarWidth, y, barLeft + kBarWidth + 4, y, kBlack);
        const int labelTop = std::clamp(y - textHeight / 2, mapTop - textHeight / 2, mapTop + barHeight - textHeight / 2);
        image.text(barLeft + kBarWidth + 6, labelTop, numberText(value), kBlack, kTextScale);
    }

    // Under the map: a 1 mm scale bar (when the lateral spacing is known) and the key for missing values.
    int legendTop = mapTop + std::max(mapHeight, barHeight) + kMargin;
    int legendLeft = mapLeft;
    if (spacing.lateralKnown()) {
        const int barLength = static_cast<int>(std::lround(1000.0 / spacing.aScanUm * pxPerA));
        image.fillRect(legendLeft, legendTop + textHeight / 2 - 2, barLength, 4, kBlack);
        image.text(legendLeft + barLength + 6, legendTop, "1 mm", kBlack, kTextScale);
        legendLeft += barLength + 6 + RgbImage::textWidth("1 mm", kTextScale) + 3 * kMargin;
    }
    image.fillRect(legendLeft, legendTop, textHeight, textHeight, kNoData);
    image.text(legendLeft + textHeight + 6, legendTop, "no data", kBlack, kTextScale);
    return image;
}

RgbImage renderOverlay(const VolumeView& volume, const Result& result, int bScan) {
    const int cols = volume.numAScans, rows = volume.depth;
    RgbImage image(cols, rows);
    const std::size_t bScanStart = static_cast<std::size_t>(bScan) * cols * rows;
    for (int a = 0; a < cols; ++a) {
        const std::uint8_t* aScan = volume.data + bScanStart + static_cast<std::size_t>(a) * rows;
        for (int d = 0; d < rows; ++d) image.set(a, d, Rgb{aScan[d], aScan[d], aScan[d]});
    }

    // Neighbouring points are joined so that the boundaries read as lines; a gap stays a gap.
    const std::size_t planeStart = static_cast<std::size_t>(bScan) * cols;
    auto drawBoundary = [&](const std::vector<std::int16_t>& plane, Rgb colour) {
        for (int a = 0; a < cols; ++a) {
            const int depth = plane[planeStart + a];
            if (depth < 0) continue;
            const int next = a + 1 < cols ? plane[planeStart + a + 1] : -1;
            if (next >= 0)
                image.line(a, depth, a + 1, next, colour);
            else
                image.set(a, depth, colour);
        }
    };
    drawBoundary(result.upperDepth, kUpperColour);
    drawBoundary(result.lowerDepth, kLowerColour);

    const int scale = cols >= 256 ? 2 : 1;
    const int line = RgbImage::textHeight(scale) + 4;
    image.text(4, 4, "B-scan " + std::to_string(bScan), kWhite, scale);
    image.text(4, 4 + line, "ILM", kUpperColour, scale);
    image.text(4, 4 + 2 * line, "RNFL", kLowerColour, scale);
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
