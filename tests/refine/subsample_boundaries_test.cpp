// The refined boundaries of hand-drawn B-scans: steps at known sub-sample depths are found within a tenth of a
// sample, vessel shadows and gaps of the starting boundary are bridged where the neighbours allow and reported
// as not found where they do not, and the lower boundary never lies above the upper one.

#include "HandMadeBScan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using refine_test::Layers;

namespace {

constexpr int kAScans = 128;
constexpr int kDepth = 256;

double worstError(const std::vector<float>& found, const std::function<double(int)>& truth, int from, int to) {
    double worst = 0.0;
    for (int a = from; a < to; ++a) worst = std::max(worst, std::fabs(static_cast<double>(found[a]) - truth(a)));
    return worst;  // NaN propagates: std::max keeps the first argument when the comparison fails
}

}  // namespace

// Steps at fractional depths, sharp and blurred, flat and sloping (a slope puts every fraction of a sample
// under test), at fine and coarse sampling; the starts are legacy-like, a few whole samples off.
TEST(RefinedBoundaries, BlurredStepsAtSubSampleDepthsAreFoundWithinATenthOfASample) {
    struct Case {
        const char* what;
        double top, slope, thickness, blur, depthUm;
    } const cases[] = {
        {"sharp steps, fine sampling", 100.3, 0.0, 30.4, 0.0, 1.95},
        {"blurred steps", 100.3, 0.0, 30.4, 1.5, 1.95},
        {"sloping, blurred", 90.15, 0.137, 22.7, 1.0, 1.95},
        {"sloping, coarse sampling, thin layer", 95.6, -0.091, 7.35, 0.8, 3.87},
        {"strong blur, coarse sampling", 99.9, 0.05, 18.25, 2.5, 3.87},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Layers layers;
        layers.blur = c.blur;
        layers.top = [&c](int a) { return c.top + c.slope * a; };
        layers.bottom = [&c](int a) { return c.top + c.slope * a + c.thickness; };
        const auto samples = refine_test::drawBScan(layers, kAScans, kDepth);
        const auto refined =
            refine_test::refineOne(samples, kAScans, kDepth, refine_test::startLine(layers.top, kAScans, 2),
                                   refine_test::startLine(layers.bottom, kAScans, -3), c.depthUm, 11.7);
        EXPECT_LE(worstError(refined.upper, layers.top, 0, kAScans), 0.1);
        EXPECT_LE(worstError(refined.lower, layers.bottom, 0, kAScans), 0.1);
        EXPECT_GT(*std::min_element(refined.upperConfidence.begin(), refined.upperConfidence.end()), 0.9f);
        EXPECT_GT(*std::min_element(refined.lowerConfidence.begin(), refined.lowerConfidence.end()), 0.9f);
    }
}

// A vessel in the nerve-fibre layer: bright itself, it darkens everything below it, so the layer's lower
// edge fades under it while the vessel's own lower edge is a strong decoy. The shadow is bridged from the
// A-scans beside it, with a lower confidence, and the top above it is untouched.
TEST(RefinedBoundaries, AVesselShadowIsBridgedFromItsNeighbours) {
    Layers layers;
    layers.blur = 1.0;
    layers.top = [](int a) { return 80.4 + 0.05 * a; };
    layers.bottom = [](int a) { return 112.7 + 0.08 * a; };
    auto samples = refine_test::drawBScan(layers, kAScans, kDepth);
    constexpr int kFirst = 60, kLast = 67;
    for (int a = kFirst; a <= kLast; ++a) {
        std::uint8_t* aScan = samples.data() + static_cast<std::size_t>(a) * kDepth;
        const int vesselTop = static_cast<int>(layers.top(a)) + 6, vesselBottom = vesselTop + 10;
        std::fill(aScan + vesselTop, aScan + vesselBottom, std::uint8_t{250});
        for (int d = vesselBottom; d < kDepth; ++d) aScan[d] = static_cast<std::uint8_t>(aScan[d] * 2 / 5);
    }
    const auto refined =
        refine_test::refineOne(samples, kAScans, kDepth, refine_test::startLine(layers.top, kAScans, 0),
                               refine_test::startLine(layers.bottom, kAScans, -2), 1.95, 11.7);
    EXPECT_LE(worstError(refined.upper, layers.top, 0, kAScans), 0.1);
    EXPECT_LE(worstError(refined.lower, layers.bottom, 0, kFirst - 8), 0.1);
    EXPECT_LE(worstError(refined.lower, layers.bottom, kLast + 9, kAScans), 0.1);
    const float lit = refined.lowerConfidence[kFirst - 10];
    for (int a = kFirst; a <= kLast; ++a) {
        // The layer's thickness changes linearly here, so interpolation recovers it.
        EXPECT_NEAR(refined.lower[a], layers.bottom(a), 0.3) << a;
        EXPECT_TRUE(refined.lowerConfidence[a] > 0.0f && refined.lowerConfidence[a] < 0.8f * lit) << a;
    }
}

// Where the signal is lost (a floater, a blink) neither boundary can be seen: a short loss is bridged from
// both sides, a loss wider than the bridging reach (400 um) leaves both boundaries not found.
TEST(RefinedBoundaries, LostSignalIsBridgedWhenShortAndNotFoundWhenLong) {
    Layers layers;
    layers.top = [](int a) { return 90.6 + 0.06 * a; };
    layers.bottom = [](int a) { return 118.2 + 0.03 * a; };
    struct Case {
        int first, last;
        bool bridged;
    } const cases[] = {{50, 57, true}, {20, 100, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.last - c.first + 1);
        auto samples = refine_test::drawBScan(layers, kAScans, kDepth);
        std::fill(samples.begin() + c.first * kDepth, samples.begin() + (c.last + 1) * kDepth,
                  static_cast<std::uint8_t>(layers.vitreous));
        const auto refined =
            refine_test::refineOne(samples, kAScans, kDepth, refine_test::startLine(layers.top, kAScans, 1),
                                   refine_test::startLine(layers.bottom, kAScans, -1), 1.95, 11.7);
        for (int a = c.first; a <= c.last; ++a) {
            if (c.bridged) {
                EXPECT_NEAR(refined.upper[a], layers.top(a), 0.2) << a;
                EXPECT_NEAR(refined.lower[a], layers.bottom(a), 0.2) << a;
            } else if (a > c.first + 8 && a < c.last - 8) {
                EXPECT_TRUE(std::isnan(refined.upper[a]) && std::isnan(refined.lower[a])) << a;
                EXPECT_EQ(refined.upperConfidence[a] + refined.lowerConfidence[a], 0.0f) << a;
            }
        }
        EXPECT_LE(worstError(refined.upper, layers.top, 0, c.first - 8), 0.1);
        EXPECT_LE(worstError(refined.lower, layers.bottom, c.last + 9, kAScans), 0.1);
    }
}

// Where the legacy call found nothing (-1), a short gap is bridged and the boundaries found there from the
// image; a B-scan without any start has no refined boundary at all.
TEST(RefinedBoundaries, GapsOfTheStartAreBridgedAndABScanWithoutStartReportsNothing) {
    Layers layers;
    layers.top = [](int a) { return 100.25 + 0.1 * a; };
    layers.bottom = [](int a) { return 125.5 + 0.07 * a; };
    const auto samples = refine_test::drawBScan(layers, kAScans, kDepth);
    auto upper = refine_test::startLine(layers.top, kAScans, 1),
         lower = refine_test::startLine(layers.bottom, kAScans, -2);
    // Legacy results lack the first A-scans and a stretch in the middle.
    for (int a : {0, 1, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59}) upper[a] = lower[a] = -1;
    const auto refined = refine_test::refineOne(samples, kAScans, kDepth, upper, lower, 1.95, 11.7);
    EXPECT_LE(worstError(refined.upper, layers.top, 0, kAScans), 0.1);
    EXPECT_LE(worstError(refined.lower, layers.bottom, 0, kAScans), 0.1);

    const std::vector<std::int16_t> none(kAScans, -1);
    const auto nothing = refine_test::refineOne(samples, kAScans, kDepth, none, none, 1.95, 11.7);
    for (int a = 0; a < kAScans; ++a) {
        EXPECT_TRUE(std::isnan(nothing.upper[a]) && std::isnan(nothing.lower[a])) << a;
        EXPECT_EQ(nothing.upperConfidence[a] + nothing.lowerConfidence[a], 0.0f) << a;
    }
}

// Whatever the image holds - a layer that vanishes, speckle without any layer, starts that cross - the lower
// boundary is never above the upper one and every confidence lies in 0..1, 0 exactly where nothing was found.
TEST(RefinedBoundaries, LowerNeverAboveUpperAndConfidencesStayInRange) {
    Layers vanishing;
    vanishing.top = [](int a) { return 100.4 + 0.02 * a; };
    vanishing.bottom = [](int a) { return 100.4 + 0.02 * a + std::max(0.0, 12.0 - 0.25 * a); };
    std::mt19937 random(7);
    std::vector<std::uint8_t> speckle(static_cast<std::size_t>(kAScans) * kDepth);
    for (auto& s : speckle) s = static_cast<std::uint8_t>(random() % 256);
    std::vector<std::int16_t> crossingUpper(kAScans), crossingLower(kAScans);
    for (int a = 0; a < kAScans; ++a) crossingUpper[a] = static_cast<std::int16_t>(90 + a / 4), crossingLower[a] = 110;

    const std::vector<std::vector<std::uint8_t>> images = {refine_test::drawBScan(vanishing, kAScans, kDepth), speckle,
                                                           speckle};
    const std::vector<std::int16_t> upperStarts[] = {refine_test::startLine(vanishing.top, kAScans, 0),
                                                     std::vector<std::int16_t>(kAScans, 60), crossingUpper};
    const std::vector<std::int16_t> lowerStarts[] = {refine_test::startLine(vanishing.bottom, kAScans, 0),
                                                     std::vector<std::int16_t>(kAScans, 90), crossingLower};
    for (std::size_t i = 0; i < images.size(); ++i) {
        SCOPED_TRACE(i);
        const auto r = refine_test::refineOne(images[i], kAScans, kDepth, upperStarts[i], lowerStarts[i], 3.87, 11.7);
        for (int a = 0; a < kAScans; ++a) {
            if (!std::isnan(r.upper[a]) && !std::isnan(r.lower[a])) {
                EXPECT_GE(r.lower[a], r.upper[a]) << a;
            }
            for (auto [depth, confidence] :
                 {std::pair{r.upper[a], r.upperConfidence[a]}, {r.lower[a], r.lowerConfidence[a]}}) {
                EXPECT_TRUE(confidence >= 0.0f && confidence <= 1.0f) << a << ": " << confidence;
                EXPECT_EQ(std::isnan(depth), confidence == 0.0f) << a;
            }
        }
    }
}
