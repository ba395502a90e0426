// The synthetic retina: determinism, anatomy where the truth says it is, and intensities like a device cube.

#include <Velin/Io/Phantom.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>

using velin::io::makePhantom;
using velin::io::Phantom;
using velin::io::PhantomOptions;

namespace {

PhantomOptions smallOptions(const std::string& kind = "macula", const std::string& eye = "OD") {
    PhantomOptions o;
    o.numBScans = 12, o.numAScans = 96, o.depth = 512;
    o.scanKind = kind, o.eye = eye;
    return o;
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values.at(values.size() / 2);
}

double meanNflThickness(const Phantom& p, int firstAScan, int lastAScan) {
    double sum = 0.0, count = 0.0;
    for (std::size_t i = 0; i < p.top.size(); ++i) {
        const int a = static_cast<int>(i % p.volume.numAScans);
        if (p.top[i] >= 0 && a >= firstAScan && a <= lastAScan) sum += p.nflBottom[i] - p.top[i], count += 1.0;
    }
    return sum / count;
}

}  // namespace

TEST(IoPhantom, SameSeedSameVolumeOtherSeedOtherSpeckleSameTruth) {
    const Phantom a = makePhantom(smallOptions());
    EXPECT_EQ(a.volume.samples, makePhantom(smallOptions()).volume.samples);
    PhantomOptions other = smallOptions();
    other.seed = 2;
    const Phantom c = makePhantom(other);
    EXPECT_NE(a.volume.samples, c.volume.samples);
    EXPECT_EQ(std::make_pair(a.top, a.nflBottom), std::make_pair(c.top, c.nflBottom));
}

// On every 7th A-scan: the median sample of each layer the truth delimits and, below the nerve-fibre layer,
// the brightest 5-sample band (the pigment epithelium) with darker nuclear layers above it.
TEST(IoPhantom, LayersHaveDeviceLikeIntensitiesWhereTheTruthPutsThem) {
    const Phantom p = makePhantom(smallOptions());
    const velin::io::Volume& v = p.volume;
    ASSERT_EQ(v.samples.size(), 12u * 96u * 512u);
    EXPECT_EQ(v.scanKind, "macula");
    EXPECT_DOUBLE_EQ(v.spacingDepthUm, 2000.0 / 512);
    std::vector<double> vitreous, nfl, gcl, rpe;
    for (std::size_t i = 0; i < p.top.size(); i += 7) {
        const int top = p.top[i], bottom = p.nflBottom[i];
        ASSERT_TRUE(0 <= top && top < bottom && bottom < v.depth) << i;
        const std::uint8_t* s = v.samples.data() + i * v.depth;
        const auto mean = [s](int from, int to) { return std::accumulate(s + from, s + to, 0.0) / (to - from); };
        const auto take = [s](std::vector<double>& layer, int from, int to) {
            if (from < to) layer.insert(layer.end(), s + from, s + to);
        };
        take(vitreous, 2, top - 2);
        take(nfl, top + 1, bottom - 1);
        take(gcl, bottom + 1, bottom + 7);
        int best = bottom + 20;
        for (int d = best; d + 5 <= v.depth; ++d)
            if (mean(d, d + 5) > mean(best, best + 5)) best = d;
        rpe.push_back(mean(best, best + 5));
        EXPECT_GT((best - top) * v.spacingDepthUm, 150.0) << "A-scan " << i;  // a retina's depth below the top
        double darkest = 255.0;
        for (int d = bottom + 10; d + 4 < best; ++d) darkest = std::min(darkest, mean(d, d + 5));
        EXPECT_LT(darkest, 75) << "A-scan " << i;
    }
    EXPECT_NEAR(median(vitreous), 15, 10);
    EXPECT_NEAR(median(nfl), 200, 30);
    EXPECT_NEAR(median(gcl), 110, 20);  // the ganglion-cell layer just below is darker
    EXPECT_NEAR(median(rpe), 225, 25);
}

TEST(IoPhantom, MaculaHasAFovealPitAndNerveFibresThickenNasallyDiscHasNoRetinaInside) {
    const Phantom right = makePhantom(smallOptions()), disc = makePhantom(smallOptions("disc"));
    const Phantom left = makePhantom(smallOptions("macula", "OS"));
    const int na = 96;
    const std::size_t centre = 6 * na + na / 2;  // of the central B-scan
    // The pit: the surface is deeper at the centre than a millimetre to either side.
    EXPECT_GT(right.top[centre], std::max(right.top[centre - 16], right.top[centre + 16]) + 10);
    // Right eye: the disc side is at large A-scan indices.
    EXPECT_GT(meanNflThickness(right, na - 20, na - 1), 1.5 * meanNflThickness(right, 0, 19));
    EXPECT_GT(meanNflThickness(left, 0, 19), 1.5 * meanNflThickness(left, na - 20, na - 1));

    EXPECT_EQ(disc.nflBottom[centre], -1);
    EXPECT_EQ(disc.top[centre], -1);
    EXPECT_GE(disc.top[0], 0);
    const auto missing = std::count(disc.top.begin(), disc.top.end(), -1);
    EXPECT_TRUE(missing > 0 && missing < static_cast<std::ptrdiff_t>(disc.top.size() / 4)) << missing;
    // Next to the disc the nerve-fibre layer is far thicker than in the macula.
    EXPECT_GT(meanNflThickness(disc, 0, na - 1), meanNflThickness(right, 0, na - 1));
}

// Among them sizes the 16-bit depth planes or the segmentation call's int sizes cannot hold (too few A-scans: see the
// program's error table).
TEST(IoPhantom, RejectsUnusableOptions) {
    void (*const changes[])(PhantomOptions&) = {
        [](PhantomOptions& o) { o.depth = 40000; },
        [](PhantomOptions& o) { o.noise = std::nan(""); },
        [](PhantomOptions& o) { o.scanKind = "cornea"; },
        [](PhantomOptions& o) { o.eye = "OU"; },
        [](PhantomOptions& o) { o.numBScans = 4096, o.numAScans = 1024, o.depth = 1024; },
    };
    for (const auto change : changes) {
        PhantomOptions o = smallOptions();
        change(o);
        EXPECT_THROW(makePhantom(o), std::invalid_argument) << o.numBScans << "x" << o.numAScans << "x" << o.depth;
    }
}
