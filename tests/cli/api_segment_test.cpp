// The checked C++ entry: argument checks, depth padding, outcomes without boundaries, progress.

#include <Velin/Api/Segment.h>
#include <Velin/VelinLayerSegment.h>

#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace {

using velin::Options;
using velin::Outcome;
using velin::Result;
using velin::VolumeView;

std::string invalidArgumentMessage(const VolumeView& view, const Options& options) {
    try {
        velin::segment(view, options);
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "(no std::invalid_argument)";
}

struct MeanError {
    double meanAbsolute = 0.0;
    double found = 0.0;  ///< share of positions with a boundary
};

MeanError compare(const std::vector<std::int16_t>& plane, const std::vector<int>& truth) {
    double sum = 0.0;
    std::size_t found = 0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        if (plane[i] < 0) continue;
        sum += std::fabs(static_cast<double>(plane[i]) - truth[i]);
        ++found;
    }
    return {found ? sum / found : std::numeric_limits<double>::infinity(),
            static_cast<double>(found) / truth.size()};
}

TEST(ApiSegmentArguments, EachBadArgumentIsNamedWithItsValue) {
    const std::uint8_t sample = 0;
    const VolumeView good{&sample, 12, 16, 32};
    struct Case {
        VolumeView view;
        float gapScale;
        std::vector<std::string> expected;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const Case cases[] = {
        {{nullptr, 12, 16, 32}, 100.0f, {"data", "null"}},
        {{&sample, 0, 16, 32}, 100.0f, {"numBScans = 0"}},
        {{&sample, 12, -3, 32}, 100.0f, {"numAScans = -3"}},
        {{&sample, 12, 16, 0}, 100.0f, {"depth = 0"}},
        {{&sample, 1000, 1000, 4096}, 100.0f, {"1000 x 1000 x 4096", "32 bits"}},
        // 2147483647 fits, but padded to a multiple of 32 it does not.
        {{&sample, 1, 1, 2147483647}, 100.0f, {"depth padded to 2147483648"}},
        {good, 0.0f, {"gapScale = 0"}},
        {good, nan, {"gapScale = nan"}},
        {good, inf, {"gapScale = inf"}},
        {good, -inf, {"gapScale = -inf"}},
        {good, 1e-30f, {"gapScale = 1e-30"}},
    };
    for (const Case& c : cases) {
        Options options;
        options.gapScale = c.gapScale;
        const std::string message = invalidArgumentMessage(c.view, options);
        for (const std::string& part : c.expected)
            EXPECT_NE(message.find(part), std::string::npos) << "message: " << message << ", expected: " << part;
    }
}

TEST(ApiSegmentOutcome, TooFewBScansAndBlankVolumesSayNothingWasSegmented) {
    const std::vector<std::uint8_t> samples(10 * 64 * 64, 0);
    const Result few = velin::segment({samples.data(), 9, 64, 64});
    EXPECT_EQ(few.outcome, Outcome::TooFewBScans);
    EXPECT_FALSE(few.segmented());

    const Result blank = velin::segment({samples.data(), 10, 64, 64});
    EXPECT_EQ(blank.outcome, Outcome::NoBScanSegmented);
    EXPECT_EQ(blank.bscansSegmented, 0);

    for (const Result* r : {&few, &blank}) {
        ASSERT_EQ(r->upperDepth.size(), static_cast<std::size_t>(r->numBScans) * 64);
        for (std::size_t i = 0; i < r->upperDepth.size(); ++i) {
            ASSERT_EQ(r->upperDepth[i], -1);
            ASSERT_EQ(r->lowerDepth[i], -1);
            ASSERT_EQ(r->upperValue[i], 0);
            ASSERT_EQ(r->lowerWeight[i], 0);
        }
    }
}

TEST(ApiSegmentPadding, DepthMultipleOf32GivesTheExportedClassPlanesBitForBit) {
    velin_test::SyntheticVolumeOptions synth;
    synth.numBScans = 12;
    synth.numAScans = 128;
    synth.depth = 512;
    const auto volume = velin_test::makeLayeredVolume(synth);

    Options options;
    options.smoothing = 1;
    options.gapScale = 40.0f;
    const Result checked = velin::segment({volume.samples.data(), synth.numBScans, synth.numAScans, synth.depth}, options);
    ASSERT_TRUE(checked.segmented());
    EXPECT_EQ(checked.engineDepth, synth.depth);

    const std::size_t n = static_cast<std::size_t>(synth.numBScans) * synth.numAScans;
    std::vector<short> p1(n, -1), p2(n, -1), p3(n, 0), p4(n, 0);
    CVelinLayerSegment legacy;
    legacy.VelinLayerSegment(volume.samples.data(), synth.numBScans, synth.numAScans, synth.depth, p1.data(),
                             p2.data(), p3.data(), p4.data(), options.gapScale, options.widthSelector,
                             options.auxParameter, options.smoothing);
    EXPECT_EQ(std::vector<std::int16_t>(p1.begin(), p1.end()), checked.upperDepth);
    EXPECT_EQ(std::vector<std::int16_t>(p2.begin(), p2.end()), checked.lowerDepth);
    EXPECT_EQ(std::vector<std::int16_t>(p3.begin(), p3.end()), checked.upperValue);
    EXPECT_EQ(std::vector<std::int16_t>(p4.begin(), p4.end()), checked.lowerWeight);
}

TEST(ApiSegmentPadding, Depth496GivesTheTrueBoundariesWhereTheRawCallShearsThem) {
    velin_test::SyntheticVolumeOptions synth;
    synth.numBScans = 12;
    synth.numAScans = 128;
    synth.depth = 496;
    const auto volume = velin_test::makeLayeredVolume(synth);

    const Result checked = velin::segment({volume.samples.data(), synth.numBScans, synth.numAScans, synth.depth});
    ASSERT_TRUE(checked.segmented());
    EXPECT_EQ(checked.engineDepth, 512);
    const MeanError upper = compare(checked.upperDepth, volume.top);
    const MeanError lower = compare(checked.lowerDepth, volume.nflBottom);
    EXPECT_GT(upper.found, 0.8);
    EXPECT_LT(upper.meanAbsolute, 4.0);  // as good as at depth 512 (about 2.7 samples)
    EXPECT_GT(lower.found, 0.5);
    EXPECT_LT(lower.meanAbsolute, 6.0);

    // The same volume handed to the exported class as it is: each A-scan is read 16 samples further off
    // than the one before, so the boundaries drift away from the truth across the B-scan.
    const std::size_t n = static_cast<std::size_t>(synth.numBScans) * synth.numAScans;
    std::vector<short> p1(n, -1), p2(n, -1), p3(n, 0), p4(n, 0);
    CVelinLayerSegment legacy;
    legacy.VelinLayerSegment(volume.samples.data(), synth.numBScans, synth.numAScans, synth.depth, p1.data(),
                             p2.data(), p3.data(), p4.data(), 100.0f, 20.0f, 0.0f, 0);
    const MeanError sheared = compare(std::vector<std::int16_t>(p1.begin(), p1.end()), volume.top);
    EXPECT_TRUE(sheared.found < 0.5 || sheared.meanAbsolute > 4 * upper.meanAbsolute + 5.0)
        << "found " << sheared.found << ", error " << sheared.meanAbsolute;
}

TEST(ApiSegmentProgress, ReportsEveryBScanAndRethrowsTheCallbacksException) {
    velin_test::SyntheticVolumeOptions synth;
    synth.numBScans = 10;
    synth.numAScans = 64;
    synth.depth = 128;
    const auto volume = velin_test::makeLayeredVolume(synth);
    const VolumeView view{volume.samples.data(), synth.numBScans, synth.numAScans, synth.depth};

    std::vector<int> done;
    Options options;
    options.progress = [&done](int d, int total) {
        EXPECT_EQ(total, 10);
        done.push_back(d);
    };
    velin::segment(view, options);
    ASSERT_EQ(done.size(), 10u);
    EXPECT_EQ(done.front(), 1);
    EXPECT_EQ(done.back(), 10);

    int calls = 0;
    options.progress = [&calls](int, int) {
        ++calls;
        throw std::runtime_error("stop");
    };
    EXPECT_THROW(velin::segment(view, options), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST(ApiSegmentPadding, PaddedDepthRoundsUpToMultiplesOf32) {
    EXPECT_EQ(velin::paddedDepth(1), 32);
    EXPECT_EQ(velin::paddedDepth(496), 512);
    EXPECT_EQ(velin::paddedDepth(512), 512);
    EXPECT_EQ(velin::paddedDepth(513), 544);
}

}  // namespace
