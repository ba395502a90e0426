// The thickness picture's size and scale bar at every spacing, and drawing far outside the picture.

#include "Grid.h"
#include "Pictures.h"
#include "RgbImage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <utility>

namespace {

using namespace velin::cli;

ThicknessMap uniformMap(int rows, int cols, float value) {
    ThicknessMap map;
    map.numBScans = rows, map.numAScans = cols, map.micrometres = true;
    map.values.assign(static_cast<std::size_t>(rows) * cols, value);
    return map;
}

std::set<std::pair<int, int>> pixelsOfColour(const RgbImage& image, Rgb colour) {
    std::set<std::pair<int, int>> found;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const Rgb p = image.get(x, y);
            if (p.r == colour.r && p.g == colour.g && p.b == colour.b) found.insert({x, y});
        }
    return found;
}

// The map is at least 384 pixels wide, at most 4096 on either side, and to scale: a B-scan distance of
// 10 mm once asked for a picture tens of gigabytes large. The grid drawn on it reaches far outside at the
// smallest spacings.
TEST(CliPictures, ThicknessMapStaysWithinItsSizeLimitsAndToScaleAtEverySpacing) {
    const ThicknessMap map = uniformMap(12, 16, 100.0f);
    struct Case {
        Spacing spacing;
        int width, height;  ///< of the map within the picture, worked out by hand
    } const cases[] = {
        {{2, 11.72, 46.88}, 384, 1152},  // 24 px per A-scan, 4 times that per B-scan
        {{2, 10, 10}, 384, 288},
        {{2, 11.72, 10000}, 6, 4096},  // 12 x 20478 px shrunk to 4096 rows; A-scans 0.40 px apart
        {{2, 1000, 0.1}, 384, 1},      // the other way round: the B-scans collapse to one row
        {{2, 0.1, 0.1}, 384, 288},
        {{2, 0, 0}, 384, 288},  // unknown: square cells, not to scale
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.spacing.aScanUm) + " x " + std::to_string(c.spacing.bScanUm));
        const MapGeometry geometry = thicknessMapGeometry(map, c.spacing);
        EXPECT_EQ(std::make_pair(geometry.width, geometry.height), std::make_pair(c.width, c.height));
        if (c.spacing.lateralKnown()) {
            EXPECT_NEAR(geometry.pxPerB / geometry.pxPerA, c.spacing.bScanUm / c.spacing.aScanUm,
                        1e-9 * c.spacing.bScanUm / c.spacing.aScanUm);
        }

        GridResult grid;
        if (c.spacing.lateralKnown())
            grid = evaluateGrid(GridKind::Etdrs, GridCentre{5.5, 7.5, "scan centre"}, map, c.spacing, "OS");
        const RgbImage picture = renderThicknessMap(map, c.spacing, grid);
        EXPECT_LE(picture.width(), c.width + 600);
        EXPECT_LE(picture.height(), std::max(c.height, 160) + 200);
    }
}

TEST(CliPictures, ScaleBarIsOneMillimetreUnlessThatDoesNotFitTheMap) {
    struct Case {
        double pxPerUm;
        int mapWidth;
        int pixels;
        const char* label;
    } const cases[] = {
        {24 / 11.72, 384, 205, "100 um"},                             // 1 mm would need 2048 px of a map 384 px wide
        {1 / 11.72, 512, 85, "1 mm"},     {120.0, 384, 240, "2 um"},  // 0.1 um spacing at 12 px per A-scan
        {0.001, 384, 20, "20 mm"},                                    // 1 mm spacing: 1 mm would be one pixel
        {0.5, 384, 250, "500 um"},
    };
    for (const Case& c : cases) {
        const ScaleBar bar = scaleBar(c.pxPerUm, c.mapWidth);
        EXPECT_EQ(bar.label, c.label) << c.pxPerUm;
        EXPECT_EQ(bar.pixels, c.pixels) << c.pxPerUm;
    }
}

// Circles and lines of any size are drawn where they cross the image, with the pixels the curve passes
// through, and at a cost that does not grow with their size; ends at infinity draw nothing.
TEST(CliPictures, ShapesFarOutsideTheImageDrawOnlyWhereTheyCrossIt) {
    const Rgb white{255, 255, 255};
    // A circle of radius 10^9 pixels whose rightmost point is the image's column 50: near it the circle is
    // a vertical line (it strays 1.25e-6 px from the column over the image's height).
    RgbImage image(100, 100);
    image.ellipse(50.0 - 1e9, 50.0, 1e9, 1e9, white);
    std::set<std::pair<int, int>> column;
    for (int y = 0; y < 100; ++y) column.insert({50, y});
    EXPECT_EQ(pixelsOfColour(image, white), column);

    // A circle around the whole image, and one beside it, leave it untouched.
    RgbImage untouched(100, 100);
    untouched.ellipse(50, 50, 1e7, 3e6, white);
    untouched.ellipse(-5000, 50, 100, 100, white);
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    untouched.ellipse(50, 50, inf, 10, white);
    untouched.segment(nan, 0, 50, 50, white);
    untouched.segment(-1e12, -1e12, -1e12, 1e12, white);
    EXPECT_TRUE(pixelsOfColour(untouched, white).empty());

    // A line from far away to far away through the image's diagonal.
    RgbImage diagonal(100, 100);
    diagonal.segment(-1e12, -1e12, 1e12, 1e12, white);
    std::set<std::pair<int, int>> expected;
    for (int i = 0; i < 100; ++i) expected.insert({i, i});
    EXPECT_EQ(pixelsOfColour(diagonal, white), expected);
}

}  // namespace
