#include "Grid.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace velin {
namespace cli {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The fovea or the disc sits near the middle of a cube centred on it; the outer quarters are not searched.
bool inCentralHalf(double position, int count) { return position >= count * 0.25 && position <= count * 0.75; }

GridCentre scanCentre(int numBScans, int numAScans) {
    return {(numBScans - 1) / 2.0, (numAScans - 1) / 2.0, "scan centre"};
}

// The positions within `radiusUm` of a position, row by row: for each B-scan offset db in -reach..reach
// the A-scan offsets -halfWidth[db + reach]..halfWidth[db + reach] (-1 when the row misses the disc). One
// number per row, so nothing grows with the number of positions in the disc.
struct DiscRows {
    int reach = 0;
    std::vector<int> halfWidth;
    std::size_t positions = 0;  ///< all positions of the disc, inside the scan or not
};

DiscRows discRows(double radiusUm, const Spacing& spacing) {
    DiscRows disc;
    disc.reach = static_cast<int>(radiusUm / spacing.bScanUm);
    const int widest = static_cast<int>(radiusUm / spacing.aScanUm);
    disc.halfWidth.resize(static_cast<std::size_t>(2 * disc.reach + 1));
    for (int db = -disc.reach; db <= disc.reach; ++db) {
        // The widest offset inside the circle, by the same distance test as every position gets.
        const double across = db * spacing.bScanUm;
        const double rest = radiusUm * radiusUm - across * across;
        int width = rest < 0 ? -1 : std::min(widest, static_cast<int>(std::sqrt(rest) / spacing.aScanUm));
        while (width >= 0 && std::hypot(across, width * spacing.aScanUm) > radiusUm) --width;
        while (width < widest && std::hypot(across, (width + 1) * spacing.aScanUm) <= radiusUm) ++width;
        disc.halfWidth[static_cast<std::size_t>(db + disc.reach)] = width;
        if (width >= 0) disc.positions += static_cast<std::size_t>(2 * width + 1);
    }
    return disc;
}

// Running sums of the measured values and of their count along each B-scan, so that the sum over any run
// of A-scans is one subtraction.
struct RowSums {
    int numAScans = 0;
    std::vector<double> sum;
    std::vector<std::size_t> count;

    explicit RowSums(const ThicknessMap& map) : numAScans(map.numAScans) {
        const std::size_t stride = static_cast<std::size_t>(numAScans) + 1;
        sum.assign(stride * static_cast<std::size_t>(map.numBScans), 0.0);
        count.assign(sum.size(), 0);
        for (int b = 0; b < map.numBScans; ++b) {
            for (int a = 0; a < numAScans; ++a) {
                const std::size_t at = b * stride + static_cast<std::size_t>(a);
                const float value = map.at(b, a);
                const bool measured = !std::isnan(value);
                sum[at + 1] = sum[at] + (measured ? value : 0.0);
                count[at + 1] = count[at] + (measured ? 1 : 0);
            }
        }
    }
    /// Adds the measured values of B-scan b between A-scans first and last (both included, within the scan).
    void add(int b, int first, int last, double& total, std::size_t& measured) const {
        const std::size_t row = static_cast<std::size_t>(b) * (static_cast<std::size_t>(numAScans) + 1);
        total += sum[row + static_cast<std::size_t>(last) + 1] - sum[row + static_cast<std::size_t>(first)];
        measured += count[row + static_cast<std::size_t>(last) + 1] - count[row + static_cast<std::size_t>(first)];
    }
};

struct Accumulator {
    double sum = 0.0;
    std::size_t count = 0;
    std::size_t total = 0;

    void add(double value) {
        ++total;
        if (std::isnan(value)) return;
        sum += value;
        ++count;
    }
    double mean() const { return count == 0 ? kNaN : sum / static_cast<double>(count); }
};

SectorThickness sector(const std::string& name, const Accumulator& acc) {
    return {name, acc.mean(), acc.count, acc.total};
}

// Quadrant of a direction given by its nasal and superior components; diagonals go to nasal and temporal.
int quadrantOf(double nasal, double superior) {
    if (std::fabs(superior) > std::fabs(nasal)) return superior > 0 ? 1 : 3;  // superior, inferior
    return nasal >= 0 ? 2 : 0;                                                // nasal, temporal
}

const char* const kQuadrantNames[4] = {"temporal", "superior", "nasal", "inferior"};

// Mean of the measured neighbours of a fractional position, weighted bilinearly; NaN when none is measured.
double sampleBilinear(const ThicknessMap& map, double bScan, double aScan) {
    const int b0 = static_cast<int>(std::floor(bScan));
    const int a0 = static_cast<int>(std::floor(aScan));
    const double fb = bScan - b0;
    const double fa = aScan - a0;
    double sum = 0.0, weights = 0.0;
    for (int db = 0; db <= 1; ++db) {
        for (int da = 0; da <= 1; ++da) {
            const int b = b0 + db, a = a0 + da;
            if (b < 0 || b >= map.numBScans || a < 0 || a >= map.numAScans) continue;
            const double value = map.at(b, a);
            const double weight = (db ? fb : 1.0 - fb) * (da ? fa : 1.0 - fa);
            if (std::isnan(value) || weight <= 0.0) continue;
            sum += weight * value;
            weights += weight;
        }
    }
    return weights > 0.0 ? sum / weights : kNaN;
}

void evaluateEtdrs(GridResult& grid, const ThicknessMap& map, const Spacing& spacing, bool rightEye) {
    const double innerRadius = kEtdrsDiametersMm[0] * 500.0;  // micrometres
    const double middleRadius = kEtdrsDiametersMm[1] * 500.0;
    const double outerRadius = kEtdrsDiametersMm[2] * 500.0;
    Accumulator centre, whole, inner[4], outer[4];
    for (int b = 0; b < map.numBScans; ++b) {
        for (int a = 0; a < map.numAScans; ++a) {
            const double right = (a - grid.centre.aScan) * spacing.aScanUm;
            const double superior = (grid.centre.bScan - b) * spacing.bScanUm;
            const double radius = std::hypot(right, superior);
            if (radius > outerRadius) continue;
            const double value = map.at(b, a);
            whole.add(value);
            const int quadrant = quadrantOf(rightEye ? right : -right, superior);
            if (radius < innerRadius)
                centre.add(value);
            else if (radius < middleRadius)
                inner[quadrant].add(value);
            else
                outer[quadrant].add(value);
        }
    }
    grid.overallMean = whole.mean();
    grid.sectors.push_back(sector("central", centre));
    for (int q = 0; q < 4; ++q) grid.sectors.push_back(sector(std::string("inner_") + kQuadrantNames[q], inner[q]));
    for (int q = 0; q < 4; ++q) grid.sectors.push_back(sector(std::string("outer_") + kQuadrantNames[q], outer[q]));
}

void evaluateCircle(GridResult& grid, const ThicknessMap& map, const Spacing& spacing, bool rightEye) {
    // As many samples as a device's circle scan has A-scans.
    constexpr int kSamples = 768;
    const double radius = kCircleDiameterMm * 500.0;
    Accumulator whole, quadrants[4];
    for (int k = 0; k < kSamples; ++k) {
        const double angle = 2.0 * kPi * k / kSamples;  // 0 = nasal, counter-clockwise towards superior
        const double nasal = radius * std::cos(angle);
        const double superior = radius * std::sin(angle);
        const double right = rightEye ? nasal : -nasal;
        const double aScan = grid.centre.aScan + right / spacing.aScanUm;
        const double bScan = grid.centre.bScan - superior / spacing.bScanUm;
        if (aScan < 0 || aScan > map.numAScans - 1 || bScan < 0 || bScan > map.numBScans - 1) continue;
        const double value = sampleBilinear(map, bScan, aScan);
        whole.add(value);
        quadrants[quadrantOf(nasal, superior)].add(value);
    }
    grid.overallMean = whole.mean();
    grid.sectors.push_back(sector("all", whole));
    for (int q = 0; q < 4; ++q) grid.sectors.push_back(sector(kQuadrantNames[q], quadrants[q]));
}

}  // namespace

const char* gridName(GridKind kind) {
    switch (kind) {
        case GridKind::Etdrs:
            return "etdrs";
        case GridKind::Circle:
            return "circle";
        case GridKind::None:
            break;
    }
    return "none";
}

namespace {

// Retina thickness of the A-scans of B-scans firstBScan..lastBScan into `thickness`.
void measureRetina(const VolumeView& volume, const Result& result, int firstBScan, int lastBScan,
                   std::vector<float>& thickness) {
    // Speckle makes single samples unreliable; the band is found on a running mean of this many samples.
    constexpr int kWindow = 5;
    // Below the upper boundary the first samples still belong to the bright nerve-fibre layer.
    constexpr int kSkip = 2;
    const int depth = volume.depth;
    // Five samples sum to at most 1275: 16 bits hold it, and twice as many sums fit in a vector register.
    std::vector<std::uint16_t> sums(static_cast<std::size_t>(std::max(depth, 1)));
    const std::size_t first = static_cast<std::size_t>(firstBScan) * volume.numAScans;
    const std::size_t end = static_cast<std::size_t>(lastBScan + 1) * volume.numAScans;
    for (std::size_t i = first; i < end; ++i) {
        const int top = result.upperDepth[i];
        if (top < 0) continue;
        const int start = std::max(top, static_cast<int>(result.lowerDepth[i])) + kSkip;
        if (start + kWindow > depth) continue;
        const std::uint8_t* aScan = volume.data + i * static_cast<std::size_t>(depth) + start;
        // Every window's sum and the greatest in one loop the compiler vectorises, then the first window with it.
        const int windows = depth - kWindow + 1 - start;
        std::uint16_t best = 0;
        for (int k = 0; k < windows; ++k) {
            sums[k] = static_cast<std::uint16_t>(aScan[k] + aScan[k + 1] + aScan[k + 2] + aScan[k + 3] + aScan[k + 4]);
            best = std::max(best, sums[k]);
        }
        const int bestDepth =
            start + static_cast<int>(std::find(sums.begin(), sums.begin() + windows, best) - sums.begin());
        thickness[i] = static_cast<float>(bestDepth + kWindow / 2 - top);
    }
}

// Retina thickness of the A-scans of B-scans firstBScan..lastBScan, NaN elsewhere, with the B-scans shared
// among up to `threads` threads: every A-scan is measured on its own, so the result is the same.
std::vector<float> retinaThicknessOf(const VolumeView& volume, const Result& result, int firstBScan, int lastBScan,
                                     int threads) {
    std::vector<float> thickness(result.upperDepth.size(), std::numeric_limits<float>::quiet_NaN());
    const int count = lastBScan - firstBScan + 1;
    const int parts = std::clamp(threads, 1, std::max(1, count));
    std::vector<std::thread> helpers;
    for (int part = 1; part < parts; ++part) {
        const auto measurePart = [&, part] {
            measureRetina(volume, result, firstBScan + count * part / parts, firstBScan + count * (part + 1) / parts - 1,
                          thickness);
        };
        try {
            helpers.emplace_back(measurePart);
        } catch (const std::system_error&) {
            measurePart();  // no thread to be had: this one measures that part too
        }
    }
    measureRetina(volume, result, firstBScan, firstBScan + count / parts - 1, thickness);
    for (std::thread& helper : helpers) helper.join();
    return thickness;
}

}  // namespace

std::vector<float> retinaThickness(const VolumeView& volume, const Result& result) {
    return retinaThicknessOf(volume, result, 0, result.numBScans - 1, 1);
}

GridCentre findMacularCentre(const VolumeView& volume, const Result& result, const Spacing& spacing, int threads) {
    const GridCentre fallback = scanCentre(result.numBScans, result.numAScans);
    if (!spacing.lateralKnown() || result.upperDepth.empty()) return fallback;
    const DiscRows disc = discRows(kEtdrsDiametersMm[0] * 500.0, spacing);
    // A disc counts only when a quarter of it is measured: a handful of points says nothing about a region.
    const std::size_t needed = (disc.positions + 3) / 4;
    const int numB = result.numBScans, numA = result.numAScans;

    // Only the discs around the central half are needed, and only the thickness they reach.
    int firstB = numB, lastB = -1;
    for (int b = 0; b < numB; ++b)
        if (inCentralHalf(b, numB)) firstB = std::min(firstB, b), lastB = b;
    if (lastB < 0) return fallback;
    ThicknessMap map;
    map.numBScans = numB;
    map.numAScans = numA;
    map.values = retinaThicknessOf(volume, result, std::max(0, firstB - disc.reach),
                                   std::min(numB - 1, lastB + std::min(disc.reach, numB)), threads);
    const RowSums rows(map);

    // Means of every disc first; a flat bottom holds several equal minima, and their centroid is the centre.
    std::vector<double> means(map.values.size(), std::numeric_limits<double>::infinity());
    double best = std::numeric_limits<double>::infinity();
    for (int b = firstB; b <= lastB; ++b) {
        // Only the rows of the disc that lie inside the scan cost time.
        const int firstRow = std::max(-disc.reach, -b), lastRow = std::min(disc.reach, numB - 1 - b);
        for (int a = 0; a < numA; ++a) {
            if (!inCentralHalf(a, numA)) continue;
            double sum = 0.0;
            std::size_t count = 0;
            for (int db = firstRow; db <= lastRow; ++db) {
                const int halfWidth = disc.halfWidth[static_cast<std::size_t>(db + disc.reach)];
                if (halfWidth < 0) continue;
                const int first = a - std::min(halfWidth, a);
                const int last = a + std::min(halfWidth, numA - 1 - a);
                rows.add(b + db, first, last, sum, count);
            }
            if (count < needed || count == 0) continue;
            const double mean = sum / static_cast<double>(count);
            means[static_cast<std::size_t>(b) * numA + a] = mean;
            best = std::min(best, mean);
        }
    }
    if (!std::isfinite(best)) return fallback;

    const double tolerance = 1e-9 * std::max(1.0, std::fabs(best));
    double sumB = 0.0, sumA = 0.0;
    std::size_t minima = 0;
    for (std::size_t i = 0; i < means.size(); ++i) {
        if (means[i] > best + tolerance) continue;
        sumB += static_cast<double>(i / map.numAScans);
        sumA += static_cast<double>(i % map.numAScans);
        ++minima;
    }
    return {sumB / minima, sumA / minima, "thinnest retina"};
}

GridCentre findDiscCentre(const Result& result) {
    const int rows = result.numBScans, cols = result.numAScans;
    const std::size_t positions = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    // Regions smaller than this are failed A-scans here and there, not the disc.
    const std::size_t minimumSize = std::max<std::size_t>(4, positions / 200);

    // No retina: no upper boundary, or a lower boundary that coincides with it (no nerve-fibre layer), which is
    // what the engine reports across the cup of a disc.
    std::vector<std::uint8_t> noRetina(positions);
    for (std::size_t i = 0; i < positions; ++i) {
        const int upper = result.upperDepth[i], lower = result.lowerDepth[i];
        noRetina[i] = upper < 0 || (lower >= 0 && lower <= upper);
    }
    std::vector<std::int32_t> label(positions, -1);
    std::vector<std::size_t> stack;
    std::size_t bestSize = 0;
    GridCentre best = scanCentre(rows, cols);
    std::int32_t next = 0;
    for (std::size_t start = 0; start < positions; ++start) {
        if (!noRetina[start] || label[start] >= 0) continue;
        // Flood fill of one region without retina, 4-connected.
        double sumB = 0.0, sumA = 0.0;
        std::size_t size = 0;
        label[start] = next;
        stack.assign(1, start);
        while (!stack.empty()) {
            const std::size_t i = stack.back();
            stack.pop_back();
            const int b = static_cast<int>(i / cols), a = static_cast<int>(i % cols);
            sumB += b;
            sumA += a;
            ++size;
            const std::pair<int, int> neighbours[4] = {{b - 1, a}, {b + 1, a}, {b, a - 1}, {b, a + 1}};
            for (const auto& n : neighbours) {
                if (n.first < 0 || n.first >= rows || n.second < 0 || n.second >= cols) continue;
                const std::size_t j = static_cast<std::size_t>(n.first) * cols + n.second;
                if (!noRetina[j] || label[j] >= 0) continue;
                label[j] = next;
                stack.push_back(j);
            }
        }
        ++next;
        const double centreB = sumB / size, centreA = sumA / size;
        if (size < minimumSize || size <= bestSize) continue;
        if (!inCentralHalf(centreB, rows) || !inCentralHalf(centreA, cols)) continue;
        bestSize = size;
        best = {centreB, centreA, "disc (no retina found)"};
    }
    return best;
}

GridResult evaluateGrid(GridKind kind, const GridCentre& centre, const ThicknessMap& map, const Spacing& spacing,
                        const std::string& eye) {
    GridResult grid;
    grid.kind = kind;
    grid.centre = centre;
    grid.eyeAssumed = eye != "OD" && eye != "OS";
    grid.eye = grid.eyeAssumed ? "OD" : eye;
    grid.overallMean = kNaN;
    const bool rightEye = grid.eye == "OD";
    if (kind == GridKind::Etdrs) evaluateEtdrs(grid, map, spacing, rightEye);
    if (kind == GridKind::Circle) evaluateCircle(grid, map, spacing, rightEye);
    return grid;
}

}  // namespace cli
}  // namespace velin
