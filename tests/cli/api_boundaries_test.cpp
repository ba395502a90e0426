// The checked entry's boundaries: legacy and refined modes over the same unchanged planes, refinement on the
// input's own samples whatever the axial factor, and the spacings' checks.

#include <Velin/Api/Segment.h>
#include <Velin/Io/Phantom.h>

#include "io_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace {

velin::Result segmentWith(const velin::io::Volume& v, velin::Boundaries boundaries, int axialFactor) {
    velin::Options options;
    options.boundaries = boundaries;
    options.axialFactor = axialFactor;
    options.depthSpacingUm = v.spacingDepthUm;
    options.aScanSpacingUm = v.spacingAScanUm;
    options.bScanSpacingUm = v.spacingBScanUm;
    return velin::segment({v.samples.data(), v.numBScans, v.numAScans, v.depth}, options);
}

// Mean absolute and mean signed error against the phantom's unrounded boundaries.
std::pair<double, double> errors(const std::vector<float>& found, const std::vector<float>& truth) {
    double absolute = 0.0, signedSum = 0.0, count = 0.0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        if (std::isnan(truth[i]) || std::isnan(found[i])) continue;
        absolute += std::fabs(found[i] - truth[i]), signedSum += found[i] - truth[i], count += 1.0;
    }
    return {absolute / count, signedSum / count};
}

// A coarse scan (496 samples over 2 mm, 4 um) segmented on two different resampled grids: the planes are the
// engine's in both modes, the legacy depths are those planes, and the refined ones, found on the input's
// samples, are a few hundredths of a sample from the truth on either grid.
TEST(ApiBoundaries, RefinedDepthsComeFromTheInputSamplesBesideUnchangedPlanes) {
    velin::io::PhantomOptions options;
    options.numBScans = 16, options.numAScans = 256, options.depth = 496;
    const velin::io::Phantom phantom = velin::io::makePhantom(options);
    for (int factor : {2, 3}) {
        SCOPED_TRACE(factor);
        const velin::Result legacy = segmentWith(phantom.volume, velin::Boundaries::Legacy, factor);
        const velin::Result refined = segmentWith(phantom.volume, velin::Boundaries::Refined, factor);
        ASSERT_TRUE(legacy.segmented() && refined.segmented());
        EXPECT_TRUE(legacy.upperDepth == refined.upperDepth && legacy.lowerDepth == refined.lowerDepth &&
                    legacy.upperValue == refined.upperValue && legacy.lowerWeight == refined.lowerWeight);
        EXPECT_TRUE(legacy.upperConfidence.empty() && legacy.lowerConfidence.empty());
        for (std::size_t i = 0; i < legacy.upperDepth.size(); ++i) {
            const std::int16_t plane = legacy.upperDepth[i];
            EXPECT_TRUE(plane < 0 ? std::isnan(legacy.upperBoundary[i]) : legacy.upperBoundary[i] == plane) << i;
        }
        const auto upper = errors(refined.upperBoundary, phantom.topExact);
        const auto lower = errors(refined.lowerBoundary, phantom.nflBottomExact);
        EXPECT_LT(upper.first, 0.15);
        EXPECT_LT(lower.first, 0.3);
        EXPECT_LT(std::fabs(upper.second) + std::fabs(lower.second), 0.2);
        // The legacy boundaries carry the whole-sample rounding and more.
        EXPECT_GT(errors(legacy.lowerBoundary, phantom.nflBottomExact).first, 3 * lower.first);
        // Found wherever the legacy call found it, and where it bridges the legacy gaps.
        for (const auto& [mode, legacyMode, truth] :
             {std::make_tuple(&refined.upperBoundary, &legacy.upperBoundary, &phantom.topExact),
              std::make_tuple(&refined.lowerBoundary, &legacy.lowerBoundary, &phantom.nflBottomExact)})
            EXPECT_GE(io_test::errorAndFound(*mode, *truth).second, io_test::errorAndFound(*legacyMode, *truth).second);
    }
}

TEST(ApiBoundaries, BadSpacingsAreNamedAndNothingSegmentedHasNoBoundaries) {
    const std::uint8_t sample = 0;
    for (const auto& [which, value, expected] :
         {std::make_tuple(0, -2.0, "depthSpacingUm = -2"),
          std::make_tuple(1, std::numeric_limits<double>::quiet_NaN(), "aScanSpacingUm = nan"),
          std::make_tuple(2, std::numeric_limits<double>::infinity(), "bScanSpacingUm = inf")}) {
        velin::Options options;
        (which == 0 ? options.depthSpacingUm : which == 1 ? options.aScanSpacingUm : options.bScanSpacingUm) = value;
        const auto call = [&options, &sample] { velin::segment({&sample, 12, 16, 32}, options); };
        EXPECT_TRUE(io_test::contains(io_test::messageOf<std::invalid_argument>(call), expected)) << expected;
    }
    const std::vector<std::uint8_t> blank(9 * 16 * 32, 0);
    const velin::Result r = velin::segment({blank.data(), 9, 16, 32});
    EXPECT_EQ(r.outcome, velin::Outcome::TooFewBScans);
    EXPECT_EQ(r.boundaries, velin::Boundaries::Refined);
    for (const auto* plane : {&r.upperBoundary, &r.lowerBoundary})
        EXPECT_EQ(std::count_if(plane->begin(), plane->end(), [](float d) { return std::isnan(d); }), 9 * 16);
    EXPECT_EQ(r.upperConfidence, std::vector<float>(9 * 16, 0.0f));
}

}  // namespace
