// The program's measurements: thickness, its summary, the grids and their centres; the boundaries' overlay.

#include "Grid.h"
#include "Pictures.h"
#include "ThicknessMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <map>
#include <sstream>
#include <tuple>

namespace {

using namespace velin::cli;

// A legacy result: the whole-sample planes, and the same depths as floats (NaN where -1).
velin::Result resultOf(int numBScans, int numAScans, std::vector<std::int16_t> upper, std::vector<std::int16_t> lower) {
    velin::Result r;
    r.numBScans = numBScans, r.numAScans = numAScans, r.outcome = velin::Outcome::Segmented;
    auto floats = [](const std::vector<std::int16_t>& plane) {
        std::vector<float> depths;
        for (std::int16_t d : plane) depths.push_back(d < 0 ? NAN : d);
        return depths;
    };
    r.upperBoundary = floats(upper), r.lowerBoundary = floats(lower);
    r.upperDepth = std::move(upper), r.lowerDepth = std::move(lower);
    return r;
}

// The sector means in name order, e.g. "central=100 inner_inferior=3 ...", to the given significant digits.
std::string sectorMeans(const GridResult& grid, int digits = 6) {
    std::map<std::string, double> means;
    for (const SectorThickness& sector : grid.sectors) means[sector.name] = sector.mean;
    std::ostringstream text;
    text << std::setprecision(digits);
    for (const auto& [name, mean] : means) text << name << "=" << mean << " ";
    return text.str();
}

TEST(CliThickness, MissingOrInvertedBoundariesGiveNaNAndTheSummaryCountsOnlyMeasuredPositions) {
    // Positions 1 and 2 lack a boundary, at 3 the lower one lies above the upper one.
    const velin::Result result = resultOf(1, 6, {10, -1, 10, 20, 10, 10}, {14, 30, -1, 15, 10, 30});
    const ThicknessMap samples = computeThickness(result, Spacing{});
    EXPECT_FALSE(samples.micrometres);
    for (int i : {1, 2, 3}) EXPECT_TRUE(std::isnan(samples.values[i])) << i;
    EXPECT_EQ(std::vector<float>({samples.values[0], samples.values[4], samples.values[5]}),
              std::vector<float>({4.0f, 0.0f, 20.0f}));
    const ThicknessMap um = computeThickness(result, Spacing{1.953125, 10.0, 10.0});
    EXPECT_TRUE(um.micrometres);
    EXPECT_FLOAT_EQ(um.values[0], 4 * 1.953125f);

    const ThicknessSummary s = summariseThickness(result, samples);
    EXPECT_EQ(std::vector<std::size_t>({s.positions, s.upperFound, s.lowerFound, s.measured}),
              std::vector<std::size_t>({6, 5, 5, 3}));
    EXPECT_EQ(std::vector<double>({s.coverage, s.mean, s.median, s.minimum, s.maximum}),
              std::vector<double>({0.5, 8.0, 4.0, 0.0, 20.0}));
}

// Refined boundaries are fractional: the thickness keeps their fractions, and a lower boundary equal to the
// upper one is a layer of thickness 0, not a missing one.
TEST(CliThickness, FractionalBoundariesGiveFractionalThickness) {
    velin::Result r = resultOf(1, 3, {-1, -1, -1}, {-1, -1, -1});
    r.upperBoundary = {10.25f, 20.5f, NAN}, r.lowerBoundary = {14.75f, 20.5f, 30.0f};
    const ThicknessMap map = computeThickness(r, Spacing{2.0, 10.0, 10.0});
    EXPECT_FLOAT_EQ(map.values[0], 9.0f);
    EXPECT_FLOAT_EQ(map.values[1], 0.0f);
    EXPECT_TRUE(std::isnan(map.values[2]));
    const ThicknessSummary s = summariseThickness(r, map);
    EXPECT_EQ(std::vector<std::size_t>({s.upperFound, s.lowerFound, s.measured}), std::vector<std::size_t>({2, 3, 2}));
}

// The overlay draws each boundary two pixels thick at its sub-sample depth: the top's line straddles it
// (depths z - 1 .. z + 1), the lower boundary's lies below it (z .. z + 2), and pixels covered in part are
// mixed in part; a missing point leaves its column alone.
TEST(CliOverlay, BoundariesAreDrawnAtTheirSubSampleDepths) {
    const std::vector<std::uint8_t> samples(3 * 20, 0);
    velin::Result r = resultOf(1, 3, {-1, -1, -1}, {-1, -1, -1});
    r.upperBoundary = {5.25f, 5.25f, NAN}, r.lowerBoundary = {12.5f, 12.5f, NAN};
    const RgbImage image = renderOverlay({samples.data(), 1, 3, 20}, r, 0);
    // Red at rows 4 (covered 0.75), 5 (fully) and 6 (0.25); green at 12 (0.5), 13 (fully), 14 (0.5).
    const std::pair<int, std::uint8_t> red[] = {{3, 0}, {4, 191}, {5, 255}, {6, 64}, {7, 0}};
    const std::pair<int, std::uint8_t> green[] = {{11, 0}, {12, 115}, {13, 230}, {14, 115}, {15, 0}};
    for (const auto& [row, value] : red) EXPECT_EQ(image.get(1, row).r, value) << row;
    for (const auto& [row, value] : green) EXPECT_EQ(image.get(1, row).g, value) << row;
    for (int row = 0; row < 20; ++row) EXPECT_EQ(image.get(2, row).r + image.get(2, row).g, 0) << row;
}

TEST(CliThickness, PercentilesInterpolateBetweenRanksLikeNumericalPackages) {
    const std::vector<float> sorted = {1, 2, 3, 4};
    for (const auto& [percent, expected] : std::map<double, double>{{25, 1.75}, {50, 2.5}, {95, 3.85}, {100, 4}})
        EXPECT_DOUBLE_EQ(percentileOfSorted(sorted, percent), expected) << percent;
    EXPECT_TRUE(std::isnan(percentileOfSorted({}, 50.0)));
}

// A 20 um grid of 320 x 320 positions whose value tells the direction from the centre as seen on the
// en-face view (1 up, 2 right, 3 down, 4 left), plus 10 in the outer ring and 100 in the central disc.
ThicknessMap directionMap(double centreB, double centreA) {
    ThicknessMap map;
    map.numBScans = map.numAScans = 320;
    map.micrometres = true;
    for (int b = 0; b < 320; ++b)
        for (int a = 0; a < 320; ++a) {
            const double right = (a - centreA) * 20.0, up = (centreB - b) * 20.0;
            float value = std::fabs(up) > std::fabs(right) ? (up > 0 ? 1.0f : 3.0f) : (right > 0 ? 2.0f : 4.0f);
            if (std::hypot(right, up) >= 1500.0) value += 10.0f;
            if (std::hypot(right, up) < 500.0) value = 100.0f;
            map.values.push_back(value);
        }
    return map;
}

TEST(CliGrid, EtdrsSectorsFollowTheEyeAndTheEnFaceOrientation) {
    const Spacing spacing{2.0, 20.0, 20.0};
    const ThicknessMap map = directionMap(150, 170);
    const GridCentre centre{150, 170, "test"};

    // Right eye: nasal is to the right on the en-face view.
    EXPECT_EQ(sectorMeans(evaluateGrid(GridKind::Etdrs, centre, map, spacing, "OD")),
              "central=100 inner_inferior=3 inner_nasal=2 inner_superior=1 inner_temporal=4 outer_inferior=13 "
              "outer_nasal=12 outer_superior=11 outer_temporal=14 ");
    const GridResult leftGrid = evaluateGrid(GridKind::Etdrs, centre, map, spacing, "OS");
    EXPECT_EQ(sectorMeans(leftGrid),
              "central=100 inner_inferior=3 inner_nasal=4 inner_superior=1 inner_temporal=2 outer_inferior=13 "
              "outer_nasal=14 outer_superior=11 outer_temporal=12 ");
    EXPECT_FALSE(leftGrid.eyeAssumed);

    const GridResult unknown = evaluateGrid(GridKind::Etdrs, centre, map, spacing, "");
    EXPECT_TRUE(unknown.eyeAssumed);
    EXPECT_EQ(unknown.eye, "OD");
}

TEST(CliGrid, CircleQuadrantsSampleTheRingAndSkipWhatLiesOutsideTheScan) {
    const Spacing spacing{2.0, 20.0, 20.0};
    const ThicknessMap map = directionMap(150, 170);

    const GridResult grid = evaluateGrid(GridKind::Circle, GridCentre{150, 170, "test"}, map, spacing, "OS");
    // The 3.46 mm circle lies between the 3 mm and the 6 mm circle of the map: the outer-ring values, blurred a
    // little by the interpolation next to the diagonals.
    EXPECT_EQ(sectorMeans(grid, 3), "all=12.5 inferior=13 nasal=14 superior=11 temporal=12 ");
    EXPECT_NEAR(grid.overallMean, 12.5, 0.05);
    for (const SectorThickness& sector : grid.sectors) EXPECT_EQ(sector.samples, sector.totalSamples);

    // Centred on the left edge, the left half of the circle falls outside the scan.
    const GridResult edge = evaluateGrid(GridKind::Circle, GridCentre{150, 0, "test"}, map, spacing, "OD");
    EXPECT_LT(edge.sectors[0].totalSamples, 400u);
    EXPECT_EQ(edge.sectors[0].samples, edge.sectors[0].totalSamples);
}

TEST(CliGrid, DiscCentreIsTheLargestCentralRegionWithoutRetina) {
    const int rows = 60, cols = 80;
    std::vector<std::int16_t> upper(rows * cols, 100), lower(rows * cols, 110);
    auto at = [cols](int b, int a) { return static_cast<std::size_t>(b) * cols + a; };
    // The disc: no nerve-fibre layer in an off-centre block of 8 x 10 positions.
    for (int b = 20; b < 28; ++b)
        for (int a = 40; a < 50; ++a) lower[at(b, a)] = upper[at(b, a)];
    // Larger, but at the border of the scan: failed A-scans at the edge, not the disc.
    for (int b = 0; b < 60; ++b)
        for (int a = 0; a < 3; ++a) upper[at(b, a)] = -1;
    upper[at(35, 30)] = -1;  // too small to count

    const GridCentre centre = findDiscCentre(resultOf(rows, cols, upper, lower));
    EXPECT_EQ(std::make_tuple(centre.bScan, centre.aScan, centre.rule),
              std::make_tuple(23.5, 44.5, std::string("disc (no retina found)")));
    const std::vector<std::int16_t> flat(rows * cols, 100), below(rows * cols, 110);
    const GridCentre fallback = findDiscCentre(resultOf(rows, cols, flat, below));
    EXPECT_EQ(std::make_tuple(fallback.bScan, fallback.aScan, fallback.rule),
              std::make_tuple(29.5, 39.5, std::string("scan centre")));
}

TEST(CliGrid, MacularCentreIsWhereTheRetinaIsThinnest) {
    // Flat top of the retina at depth 20 and a bright deep band at 80, lifted to 60 around a fovea placed
    // off the scan centre; the bright nerve-fibre layer just below the top must not be taken for the band.
    const int rows = 40, cols = 60, depth = 100;
    const int foveaB = 22, foveaA = 26;
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(rows) * cols * depth, 30);
    for (int b = 0; b < rows; ++b)
        for (int a = 0; a < cols; ++a) {
            std::uint8_t* aScan = &samples[(static_cast<std::size_t>(b) * cols + a) * depth];
            const int band = std::hypot(b - foveaB, a - foveaA) <= 3.0 ? 60 : 80;
            std::fill(aScan + 20, aScan + 24, 250);
            std::fill(aScan + band, aScan + band + 4, 200);
        }
    const velin::VolumeView view{samples.data(), rows, cols, depth};
    const velin::Result result =
        resultOf(rows, cols, std::vector<std::int16_t>(rows * cols, 20), std::vector<std::int16_t>(rows * cols, 24));

    const std::vector<float> retina = retinaThickness(view, result);
    EXPECT_FLOAT_EQ(retina[0], 61.0f);  // the band 80..83 seen through a 5-sample window
    EXPECT_FLOAT_EQ(retina[static_cast<std::size_t>(foveaB) * cols + foveaA], 41.0f);

    const GridCentre centre = findMacularCentre(view, result, Spacing{2.0, 100.0, 100.0});
    EXPECT_EQ(centre.rule, "thinnest retina");
    EXPECT_NEAR(centre.bScan, foveaB, 1.0);
    EXPECT_NEAR(centre.aScan, foveaA, 1.0);
    EXPECT_EQ(findMacularCentre(view, result, Spacing{}).rule, "scan centre");
}

// The centre search by its definition, position by position: every scan position within 500 um counts
// towards a disc, and a disc needs a quarter of all its positions (inside the scan or not) measured.
GridCentre thinnestDiscByDefinition(const ThicknessMap& map, const Spacing& spacing) {
    const double radius = 500.0;
    const int reachB = static_cast<int>(radius / spacing.bScanUm), reachA = static_cast<int>(radius / spacing.aScanUm);
    std::size_t discSize = 0;
    for (int db = -reachB; db <= reachB; ++db)
        for (int da = -reachA; da <= reachA; ++da) discSize += std::hypot(db * spacing.bScanUm, da * spacing.aScanUm) <= radius;
    std::vector<double> means(map.values.size(), INFINITY);
    double best = INFINITY;
    for (int b = 0; b < map.numBScans; ++b)
        for (int a = 0; a < map.numAScans; ++a) {
            if (b < map.numBScans * 0.25 || b > map.numBScans * 0.75 || a < map.numAScans * 0.25 ||
                a > map.numAScans * 0.75)
                continue;
            double sum = 0.0;
            std::size_t count = 0;
            for (int nb = 0; nb < map.numBScans; ++nb)
                for (int na = 0; na < map.numAScans; ++na)
                    if (std::hypot((nb - b) * spacing.bScanUm, (na - a) * spacing.aScanUm) <= radius &&
                        !std::isnan(map.at(nb, na)))
                        sum += map.at(nb, na), ++count;
            if (count == 0 || count < (discSize + 3) / 4) continue;
            means[static_cast<std::size_t>(b) * map.numAScans + a] = sum / count;
            best = std::min(best, sum / count);
        }
    if (!std::isfinite(best)) return {(map.numBScans - 1) / 2.0, (map.numAScans - 1) / 2.0, "scan centre"};
    double sumB = 0.0, sumA = 0.0, minima = 0.0;
    for (std::size_t i = 0; i < means.size(); ++i)
        if (means[i] <= best + 1e-9 * std::max(1.0, std::fabs(best)))
            sumB += static_cast<double>(i / map.numAScans), sumA += static_cast<double>(i % map.numAScans), ++minima;
    return {sumB / minima, sumA / minima, "thinnest retina"};
}

// The search adds each disc up row by row, so its cost follows the scan's size whatever the spacing (a table
// of the disc's offsets once grew to gigabytes at sub-micrometre spacings). It must find exactly the centre
// the definition gives, down to the spacing limits, over gaps in the measurements, on any number of threads.
TEST(CliGrid, MacularCentreEqualsTheDefinitionAtEverySpacing) {
    const int rows = 24, cols = 36, depth = 64;
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(rows) * cols * depth, 30);
    std::vector<std::int16_t> upper(rows * cols, 10), lower(rows * cols, 14);
    for (int b = 0; b < rows; ++b)
        for (int a = 0; a < cols; ++a) {
            const std::size_t i = static_cast<std::size_t>(b) * cols + a;
            // A bright band whose depth wanders, and a few positions without a top.
            const int band = 30 + (b * 7 + a * 3) % 11 + (std::abs(b - 13) + std::abs(a - 17)) / 3;
            std::fill(&samples[i * depth + band], &samples[i * depth + band + 3], 220);
            if ((b * 5 + a) % 13 == 0) upper[i] = -1;
        }
    const velin::VolumeView view{samples.data(), rows, cols, depth};
    const velin::Result result = resultOf(rows, cols, upper, lower);
    ThicknessMap retina;
    retina.numBScans = rows, retina.numAScans = cols, retina.values = retinaThickness(view, result);
    for (const Spacing& spacing : {Spacing{2, 100, 100}, Spacing{2, 11.72, 46.88}, Spacing{2, 46.88, 11.72},
                                   Spacing{2, 0.5, 0.5}, Spacing{2, 0.1, 10000}, Spacing{2, 10000, 0.1},
                                   Spacing{2, 1000, 1000}}) {
        SCOPED_TRACE(std::to_string(spacing.aScanUm) + " x " + std::to_string(spacing.bScanUm));
        const GridCentre expected = thinnestDiscByDefinition(retina, spacing);
        // The retina is measured on several threads, also more than there are B-scans.
        for (int threads : {1, 3, 64}) {
            const GridCentre found = findMacularCentre(view, result, spacing, threads);
            EXPECT_EQ(std::make_tuple(found.bScan, found.aScan, found.rule),
                      std::make_tuple(expected.bScan, expected.aScan, expected.rule))
                << threads << " threads";
        }
    }
}

}  // namespace
