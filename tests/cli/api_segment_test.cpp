// The checked C++ entry: argument checks, depth padding, outcomes without boundaries, progress.

#include <Velin/Api/Segment.h>
#include <Velin/VelinLayerSegment.h>

#include "io_test_support.h"
#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using velin::Options;
using velin::Result;
using velin::VolumeView;

velin_test::SyntheticVolume layered(int numBScans, int numAScans, int depth) {
    return velin_test::makeLayeredVolume({numBScans, numAScans, depth});
}

VolumeView viewOf(const velin_test::SyntheticVolume& v) {
    return {v.samples.data(), v.numBScans, v.numAScans, v.depth};
}

using Planes = std::vector<std::vector<std::int16_t>>;

Planes planesOf(const Result& r) { return {r.upperDepth, r.lowerDepth, r.upperValue, r.lowerWeight}; }

// The four planes of the exported class on the volume as it is.
Planes legacyPlanes(const velin_test::SyntheticVolume& v, const Options& o) {
    Planes p(2, std::vector<std::int16_t>(v.samples.size() / v.depth, -1));
    p.resize(4, std::vector<std::int16_t>(p[0].size(), 0));
    CVelinLayerSegment().VelinLayerSegment(v.samples.data(), v.numBScans, v.numAScans, v.depth, p[0].data(),
                                           p[1].data(), p[2].data(), p[3].data(), o.gapScale, o.widthSelector,
                                           o.auxParameter, o.smoothing);
    return p;
}

TEST(ApiSegmentArguments, EachBadArgumentIsNamedWithItsValue) {
    const std::uint8_t sample = 0;
    const VolumeView good{&sample, 12, 16, 32};
    struct Case {
        VolumeView view;
        void (*change)(Options&);
        std::vector<std::string> expected;
    } const cases[] = {
        {{nullptr, 12, 16, 32}, [](Options&) {}, {"data", "null"}},
        {{&sample, 0, 16, 32}, [](Options&) {}, {"numBScans = 0"}},
        {{&sample, 12, -3, 32}, [](Options&) {}, {"numAScans = -3"}},
        {{&sample, 12, 16, 0}, [](Options&) {}, {"depth = 0"}},
        {{&sample, 1000, 1000, 4096}, [](Options&) {}, {"1000 x 1000 x 4096", "32 bits"}},
        // 2147483647 fits, but padded to a multiple of 32 it does not.
        {{&sample, 1, 1, 2147483647}, [](Options&) {}, {"depth padded to 2147483648"}},
        {good, [](Options& o) { o.gapScale = 0.0f; }, {"gapScale = 0"}},
        {good, [](Options& o) { o.gapScale = std::numeric_limits<float>::quiet_NaN(); }, {"gapScale = nan"}},
        {good, [](Options& o) { o.gapScale = std::numeric_limits<float>::infinity(); }, {"gapScale = inf"}},
        {good, [](Options& o) { o.gapScale = -std::numeric_limits<float>::infinity(); }, {"gapScale = -inf"}},
        {good, [](Options& o) { o.gapScale = 1e-30f; }, {"gapScale = 1e-30"}},
        // The final surface pass's step count 10 * (smoothing + 1) overflows at the largest int, and a
        // million already takes minutes: the limit is 1000.
        {good, [](Options& o) { o.smoothing = std::numeric_limits<int>::max(); }, {"smoothing = 2147483647 is above 1000"}},
        {good, [](Options& o) { o.smoothing = 1001; }, {"smoothing = 1001"}},
        {good, [](Options& o) { o.widthSelector = std::numeric_limits<float>::quiet_NaN(); }, {"widthSelector = nan"}},
        {good, [](Options& o) { o.auxParameter = -std::numeric_limits<float>::infinity(); }, {"auxParameter = -inf"}},
        {good, [](Options& o) { o.axialFactor = 9; }, {"axialFactor = 9 is outside 1..8"}},
        {good, [](Options& o) { o.threads = -2; }, {"threads = -2 is outside 0..1024"}},
        {good, [](Options& o) { o.threads = 1025; }, {"threads = 1025"}},
        // The refined boundaries size their rules in samples from the spacings: 60 um over 1e-300 um per
        // sample once made an integer of infinity.
        {good, [](Options& o) { o.depthSpacingUm = 1e-300; }, {"depthSpacingUm = 1e-300 um is outside 0.1 to 1000"}},
        {good, [](Options& o) { o.aScanSpacingUm = -5.0; }, {"aScanSpacingUm = -5"}},
        {good, [](Options& o) { o.bScanSpacingUm = std::numeric_limits<double>::infinity(); }, {"bScanSpacingUm = inf"}},
        {good, [](Options& o) { o.bScanSpacingUm = 10000.5; }, {"outside 0.1 to 10000 um"}},
    };
    for (const Case& c : cases) {
        Options options;
        c.change(options);
        const std::string message = io_test::messageOf<std::invalid_argument>([&] { velin::segment(c.view, options); });
        for (const std::string& part : c.expected) EXPECT_TRUE(io_test::contains(message, part));
        // The rules are those any caller can apply first, with the same words.
        const velin::ArgumentProblem problem = velin::checkArguments(velin::callArguments(c.view, options));
        EXPECT_EQ(message, "velin::segment: " + problem.message());
    }
    // The edges of what is accepted: nothing is thrown (fewer than 10 B-scans: the engine does nothing).
    const std::vector<std::uint8_t> samples(9 * 16 * 32, 0);
    for (const int smoothing : {1000, -1, std::numeric_limits<int>::min()}) {
        Options options;
        options.smoothing = smoothing;
        options.gapScale = -1e-7f, options.widthSelector = -3e38f, options.auxParameter = 3e38f;
        options.threads = 1024, options.depthSpacingUm = 0.1, options.aScanSpacingUm = 1000.0;
        options.bScanSpacingUm = 10000.0;
        EXPECT_EQ(velin::segment({samples.data(), 9, 16, 32}, options).outcome, velin::Outcome::TooFewBScans);
    }
}

TEST(ApiSegmentOutcome, TooFewBScansAndBlankVolumesSayNothingWasSegmented) {
    const std::vector<std::uint8_t> samples(10 * 64 * 64, 0);
    const Result few = velin::segment({samples.data(), 9, 64, 64});
    EXPECT_EQ(few.outcome, velin::Outcome::TooFewBScans);
    EXPECT_FALSE(few.segmented());
    const Result blank = velin::segment({samples.data(), 10, 64, 64});
    EXPECT_EQ(blank.outcome, velin::Outcome::NoBScanSegmented);
    EXPECT_EQ(blank.bscansSegmented, 0);
    for (const Result* r : {&few, &blank}) {
        const std::vector<std::int16_t> none(static_cast<std::size_t>(r->numBScans) * 64, -1), zero(none.size(), 0);
        EXPECT_EQ(planesOf(*r), Planes({none, none, zero, zero}));
    }
}

TEST(ApiSegmentPadding, DepthMultipleOf32GivesTheExportedClassPlanesBitForBit) {
    EXPECT_EQ(std::vector<int>(
                  {velin::paddedDepth(1), velin::paddedDepth(496), velin::paddedDepth(512), velin::paddedDepth(513)}),
              std::vector<int>({32, 512, 512, 544}));
    const auto volume = layered(12, 128, 512);
    Options options;
    options.smoothing = 1;
    options.gapScale = 40.0f;
    const Result checked = velin::segment(viewOf(volume), options);
    ASSERT_TRUE(checked.segmented());
    EXPECT_EQ(checked.engineDepth, 512);
    EXPECT_EQ(legacyPlanes(volume, options), planesOf(checked));
}

TEST(ApiSegmentPadding, Depth496IsTheEngineOnTheZeroPaddedVolumeWhereTheRawCallShearsIt) {
    const auto volume = layered(12, 128, 496);
    const Result checked = velin::segment(viewOf(volume));
    ASSERT_TRUE(checked.segmented());
    EXPECT_EQ(checked.engineDepth, 512);
    // An aligned volume reaches the engine untouched, so this is the engine's own answer.
    std::vector<std::uint8_t> padded(12u * 128u * 512u, 0);
    for (std::size_t a = 0; a < 12u * 128u; ++a)
        std::copy_n(volume.samples.begin() + static_cast<std::ptrdiff_t>(a * 496), 496, padded.begin() + a * 512);
    Result reference = velin::segment({padded.data(), 12, 128, 512});
    for (auto* plane : {&reference.upperDepth, &reference.lowerDepth})
        std::replace_if(plane->begin(), plane->end(), [](int d) { return d >= 496; }, -1);
    EXPECT_EQ(planesOf(checked), planesOf(reference));
    const auto upper = io_test::errorAndFound(checked.upperDepth, volume.top);
    EXPECT_GT(upper.second, 0.8);
    EXPECT_LT(upper.first, 4.0);  // as good as at depth 512 (about 2.7 samples)

    // The same volume handed to the exported class as it is: each A-scan is read 16 samples further off
    // than the one before, so the boundaries drift away from the truth across the B-scan.
    const auto sheared = io_test::errorAndFound(legacyPlanes(volume, Options())[0], volume.top);
    EXPECT_TRUE(sheared.second < 0.5 || sheared.first > 4 * upper.first + 5.0)
        << "found " << sheared.second << ", error " << sheared.first;
}

// A 496-sample scan is padded to 512 samples and has 200 A-scans for 256 transform rows: the engine's
// transform is larger than its B-scans both ways. The planes do not depend on the thread count, and the
// progress reports come on the caller's thread, once per B-scan, in order.
TEST(ApiSegmentThreads, PlanesAndProgressAreTheSameForOneTwoAndThreeThreads) {
    const auto volume = layered(12, 200, 496);
    const std::thread::id caller = std::this_thread::get_id();
    Planes reference;
    for (int threads : {1, 2, 3}) {
        SCOPED_TRACE(std::to_string(threads) + " threads");
        std::vector<int> done;
        bool onCaller = true;
        Options options;
        options.threads = threads;
        options.progress = [&](int d, int) {
            done.push_back(d);
            onCaller = onCaller && std::this_thread::get_id() == caller;
        };
        const Result result = velin::segment(viewOf(volume), options);
        ASSERT_TRUE(result.segmented());
        if (threads == 1) reference = planesOf(result);
        EXPECT_EQ(planesOf(result), reference);
        EXPECT_EQ(done, (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
        EXPECT_TRUE(onCaller);
    }
}

// The callback's exception ends the run at once and reaches the caller as it is.
TEST(ApiSegmentProgress, ReportsEachBScanInOrderAndRethrowsTheCallbacksException) {
    const auto volume = layered(10, 64, 128);
    std::vector<int> done;
    Options options;
    options.progress = [&done](int d, int total) {
        EXPECT_EQ(total, 10);
        done.push_back(d);
        if (d == 4) throw std::runtime_error("stop");
    };
    EXPECT_THROW(velin::segment(viewOf(volume), options), std::runtime_error);
    EXPECT_EQ(done, (std::vector<int>{1, 2, 3, 4}));
}

}  // namespace
