// The synthetic retina: determinism, anatomy where the truth says it is, and intensities like a device cube.

#include "io/Phantom.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>

using velin::io::Phantom;
using velin::io::PhantomOptions;
using velin::io::makePhantom;

namespace {

PhantomOptions smallOptions() {
    PhantomOptions o;
    o.numBScans = 12;
    o.numAScans = 96;
    o.depth = 512;
    return o;
}

// Median of the samples of every A-scan in [from(position) + inset, to(position) - inset).
template <typename From, typename To>
double layerMedian(const Phantom& p, From from, To to, int inset = 1) {
    const velin::io::Volume& v = p.volume;
    std::vector<std::uint8_t> values;
    for (int b = 0; b < v.numBScans; ++b)
        for (int a = 0; a < v.numAScans; ++a) {
            const std::size_t position = static_cast<std::size_t>(b) * v.numAScans + a;
            if (p.top[position] < 0) continue;
            const int lo = std::max(0, from(position) + inset), hi = std::min(v.depth, to(position) - inset);
            for (int d = lo; d < hi; ++d) values.push_back(v.samples[position * v.depth + d]);
        }
    if (values.empty()) return -1.0;
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

double meanNflThickness(const Phantom& p, int firstAScan, int lastAScan) {
    double sum = 0.0;
    int count = 0;
    for (int b = 0; b < p.volume.numBScans; ++b)
        for (int a = firstAScan; a <= lastAScan; ++a) {
            const std::size_t i = static_cast<std::size_t>(b) * p.volume.numAScans + a;
            if (p.top[i] < 0) continue;
            sum += p.nflBottom[i] - p.top[i];
            ++count;
        }
    return sum / count;
}

}  // namespace

TEST(IoPhantom, SameSeedSameVolumeOtherSeedOtherSpeckleSameTruth) {
    const Phantom a = makePhantom(smallOptions());
    const Phantom b = makePhantom(smallOptions());
    EXPECT_EQ(a.volume.samples, b.volume.samples);
    PhantomOptions other = smallOptions();
    other.seed = 2;
    const Phantom c = makePhantom(other);
    EXPECT_NE(a.volume.samples, c.volume.samples);
    EXPECT_EQ(a.top, c.top);
    EXPECT_EQ(a.nflBottom, c.nflBottom);

    other.noise = 0.0;
    const Phantom clean = makePhantom(other);
    other.seed = 99;
    EXPECT_EQ(makePhantom(other).volume.samples, clean.volume.samples);
}

TEST(IoPhantom, LayersHaveDeviceLikeIntensitiesWhereTheTruthPutsThem) {
    const Phantom p = makePhantom(smallOptions());
    const velin::io::Volume& v = p.volume;
    ASSERT_EQ(v.samples.size(), 12u * 96u * 512u);
    EXPECT_EQ(v.scanKind, "macula");
    EXPECT_DOUBLE_EQ(v.spacingDepthUm, 2000.0 / 512);
    for (std::size_t i = 0; i < p.top.size(); ++i) {
        ASSERT_GE(p.top[i], 0);
        ASSERT_LT(p.top[i], p.nflBottom[i]);
        ASSERT_LT(p.nflBottom[i], v.depth);
    }
    const auto top = [&](std::size_t i) { return static_cast<int>(p.top[i]); };
    const auto bottom = [&](std::size_t i) { return static_cast<int>(p.nflBottom[i]); };
    const auto zero = [](std::size_t) { return 0; };
    const auto plus = [&](auto f, int k) { return [=](std::size_t i) { return f(i) + k; }; };

    const double vitreous = layerMedian(p, zero, top, 2);
    EXPECT_GE(vitreous, 5);
    EXPECT_LE(vitreous, 25);
    const double nfl = layerMedian(p, top, bottom);
    EXPECT_GE(nfl, 170);
    EXPECT_LE(nfl, 230);
    // Just below the nerve-fibre layer lies the darker ganglion-cell layer.
    const double gcl = layerMedian(p, bottom, plus(bottom, 8));
    EXPECT_GE(gcl, 90);
    EXPECT_LE(gcl, 130);

    // Deeper: the brightest band of each A-scan below the nerve-fibre layer is the pigment epithelium, with
    // darker nuclear layers between.
    std::vector<double> rpe;
    for (std::size_t i = 0; i < p.top.size(); i += 7) {
        const std::uint8_t* s = v.samples.data() + i * v.depth;
        int best = bottom(i) + 20;
        double bestValue = 0.0;
        for (int d = bottom(i) + 20; d + 4 < v.depth; ++d) {
            const double m = (s[d] + s[d + 1] + s[d + 2] + s[d + 3] + s[d + 4]) / 5.0;
            if (m > bestValue) bestValue = m, best = d;
        }
        rpe.push_back(bestValue);
        EXPECT_GT((best - top(i)) * v.spacingDepthUm, 150.0) << "A-scan " << i;  // a retina's depth below the surface
        double darkest = 255.0;
        for (int d = bottom(i) + 10; d + 4 < best; ++d)
            darkest = std::min(darkest, (s[d] + s[d + 1] + s[d + 2] + s[d + 3] + s[d + 4]) / 5.0);
        EXPECT_LT(darkest, 75) << "A-scan " << i;
    }
    const double meanRpe = std::accumulate(rpe.begin(), rpe.end(), 0.0) / rpe.size();
    EXPECT_GE(meanRpe, 200);
    EXPECT_LE(meanRpe, 250);
}

TEST(IoPhantom, MaculaHasAFovealPitAndNerveFibresThickenNasally) {
    PhantomOptions o = smallOptions();
    const Phantom right = makePhantom(o);
    const int na = o.numAScans, centreB = o.numBScans / 2;
    const auto at = [&](int a) { return static_cast<std::size_t>(centreB) * na + a; };
    // The pit: the surface is deeper at the centre than a millimetre to either side.
    EXPECT_GT(right.top[at(na / 2)], right.top[at(na / 2 - 16)] + 10);
    EXPECT_GT(right.top[at(na / 2)], right.top[at(na / 2 + 16)] + 10);
    // Right eye: the disc side is at large A-scan indices.
    EXPECT_GT(meanNflThickness(right, na - 20, na - 1), 1.5 * meanNflThickness(right, 0, 19));
    o.eye = "OS";
    const Phantom left = makePhantom(o);
    EXPECT_GT(meanNflThickness(left, 0, 19), 1.5 * meanNflThickness(left, na - 20, na - 1));
}

TEST(IoPhantom, DiscScanHasNoRetinaInsideTheDisc) {
    PhantomOptions o = smallOptions();
    o.scanKind = "disc";
    const Phantom p = makePhantom(o);
    const std::size_t centre = static_cast<std::size_t>(o.numBScans / 2) * o.numAScans + o.numAScans / 2;
    EXPECT_EQ(p.top[centre], -1);
    EXPECT_EQ(p.nflBottom[centre], -1);
    EXPECT_GE(p.top[0], 0);
    const auto missing = std::count(p.top.begin(), p.top.end(), -1);
    EXPECT_GT(missing, 0);
    EXPECT_LT(missing, static_cast<std::ptrdiff_t>(p.top.size() / 4));
    // Next to the disc the nerve-fibre layer is far thicker than in the macula.
    EXPECT_GT(meanNflThickness(p, 0, o.numAScans - 1), meanNflThickness(makePhantom(smallOptions()), 0, o.numAScans - 1));
}

TEST(IoPhantom, RejectsUnusableOptions) {
    const auto rejects = [](auto change) {
        PhantomOptions o = smallOptions();
        change(o);
        EXPECT_THROW(makePhantom(o), std::invalid_argument);
    };
    rejects([](PhantomOptions& o) { o.numBScans = 0; });
    rejects([](PhantomOptions& o) { o.numAScans = 4; });
    rejects([](PhantomOptions& o) { o.depth = 40000; });
    rejects([](PhantomOptions& o) { o.noise = -0.5; });
    rejects([](PhantomOptions& o) { o.noise = std::nan(""); });
    rejects([](PhantomOptions& o) { o.scanKind = "cornea"; });
    rejects([](PhantomOptions& o) { o.eye = "OU"; });
    rejects([](PhantomOptions& o) { o.numBScans = 4096, o.numAScans = 1024, o.depth = 1024; });
}
