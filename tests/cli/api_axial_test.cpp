// Axial resampling: the finer grid the engine runs on for coarsely sampled scans, the way back to the
// input's samples, and the program's choice of the factor.

#include <Velin/Api/AxialSampling.h>
#include <Velin/Api/Segment.h>

#include "AxialFactor.h"
#include "VolumeJob.h"
#include <Velin/Io/NpyFile.h>
#include <Velin/Io/Phantom.h>
#include "io_test_support.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

velin::Result segmentAt(const velin::VolumeView& view, int factor) {
    velin::Options options;
    options.axialFactor = factor;
    return velin::segment(view, options);
}

velin::io::Phantom coarsePhantom(int depth) {
    velin::io::PhantomOptions options;
    options.numBScans = 16;
    options.numAScans = 256;
    options.depth = depth;
    return velin::io::makePhantom(options);
}

TEST(ApiAxialResampling, InterpolatesAtFinerSampleCentresAndMapsDepthsBackToTheContainingSample) {
    // Two A-scans, so that the second must start at the padded depth. Centres at -0.25, 0.25, 0.75, ... input
    // samples, ends held; 0.25 of the way from 0 to 2 rounds up to 1.
    const std::vector<std::uint8_t> samples = {0, 100, 200, 255, 0, 2, 2, 2};
    std::vector<std::uint8_t> expected(64, 0);
    for (const auto& [from, values] : {std::make_pair(0, std::vector<int>{0, 25, 75, 125, 175, 214, 241, 255}),
                                       std::make_pair(32, std::vector<int>{0, 1, 2, 2, 2, 2, 2, 2})})
        std::copy(values.begin(), values.end(), expected.begin() + from);
    EXPECT_EQ(velin::engineVolume({samples.data(), 1, 2, 4}, 2, 32), expected);

    const int cases[][4] = {{5, 2, 4, 2}, {7, 2, 4, 3}, {8, 2, 4, -1}, {-1, 2, 4, -1}, {8, 3, 4, 2}, {11, 3, 4, 3}};
    for (const auto& c : cases)
        EXPECT_EQ(velin::inputDepth(static_cast<std::int16_t>(c[0]), c[1], c[2]), c[3]) << c[0] << " / " << c[1];
}

// The phantom covers 2 mm of depth, so 512 and 496 samples are 3.9 and 4.0 um, twice the engine's scale.
TEST(ApiAxialFactor, CoarsePhantomsFailAtOneAndSegmentAtTwo) {
    for (const int depth : {512, 496}) {
        const velin::io::Phantom phantom = coarsePhantom(depth);
        const velin::io::Volume& v = phantom.volume;
        EXPECT_FALSE(segmentAt({v.samples.data(), v.numBScans, v.numAScans, depth}, 1).segmented()) << depth;
        const velin::Result r = segmentAt({v.samples.data(), v.numBScans, v.numAScans, depth}, 2);
        ASSERT_TRUE(r.segmented()) << depth;
        const auto upper = io_test::errorAndFound(r.upperDepth, phantom.top);
        const auto lower = io_test::errorAndFound(r.lowerDepth, phantom.nflBottom);
        EXPECT_LT(upper.first, 3.0) << depth;
        EXPECT_LT(lower.first, 4.5) << depth;
        EXPECT_GT(std::min(upper.second, lower.second), 0.95) << depth;
    }
}

TEST(ApiAxialFactor, BadFactorsAndOversizedResamplingAreRejectedWithArgumentAndValue) {
    const std::uint8_t s = 0;
    for (const auto& [view, factor, expected] :
         {std::make_tuple(velin::VolumeView{&s, 12, 16, 32}, 0, "axialFactor = 0 is outside 1..8"),
          std::make_tuple(velin::VolumeView{&s, 12, 16, 32}, 9, "axialFactor = 9"),
          std::make_tuple(velin::VolumeView{&s, 1, 1, 5000}, 8, "gives 40000 samples"),  // above 32767
          std::make_tuple(velin::VolumeView{&s, 1, 1000, 300000}, 8, "1 x 1000 x 300000 (axialFactor = 8")}) {
        const auto call = [&view = view, factor = factor] { segmentAt(view, factor); };
        EXPECT_TRUE(io_test::contains(io_test::messageOf<std::invalid_argument>(call), expected));
    }
}

TEST(CliAxialFactor, AutoFollowsTheDepthSpacingElseTheDepth) {
    using Case = std::tuple<int, double, int, int, std::string>;  // asked, spacing, depth -> factor, source
    const int automatic = velin::cli::kAxialFactorAuto;
    for (const auto& [asked, spacingUm, depth, factor, source] :
         {Case{automatic, 3.87, 496, 2, "depth spacing"}, Case{automatic, 2000.0 / 1024, 1024, 1, "depth spacing"},
          Case{automatic, 2.9, 512, 1, "depth spacing"}, Case{automatic, 12.0, 128, 4, "depth spacing"},
          Case{automatic, 0.4, 4096, 1, "depth spacing"},
          Case{automatic, 7.8, 10000, 3, "depth spacing"}, Case{automatic, 0.0, 640, 2, "depth"},
          Case{automatic, 0.0, 641, 1, "depth"}, Case{3, 3.87, 496, 3, "command line"}}) {
        const velin::cli::AxialChoice choice = velin::cli::chooseAxialFactor(asked, spacingUm, depth);
        EXPECT_EQ(choice.factor, factor) << spacingUm << " um, depth " << depth;
        EXPECT_EQ(choice.source, source) << spacingUm << " um, depth " << depth;
    }
    EXPECT_EQ(velin::cli::parseAxialFactor("auto"), automatic);
    EXPECT_EQ(velin::cli::parseAxialFactor("8"), 8);
    for (const char* bad : {"0", "9", "-1", "2.5", "", "two", "100"})
        EXPECT_THROW(velin::cli::parseAxialFactor(bad), CLI::ValidationError) << bad;
}

// A .npy carries no spacing: the depth rule picks 2 for the coarse phantom, which then segments.
TEST(CliAxialFactor, SegmentReportsTheFactorItUsedAndWhatChoseIt) {
    io_test::ScratchDir scratch;
    velin::io::writeNpy(scratch.file("coarse.npy"), coarsePhantom(512).volume);
    velin::cli::segmentFile(scratch.file("coarse.npy"), scratch.file("out"), velin::cli::SegmentSettings(), nullptr);
    std::ifstream file(scratch.file("out/report.json"));
    const nlohmann::json parameters = nlohmann::json::parse(file)["parameters"];
    EXPECT_EQ(parameters["axial_factor"], 2);
    EXPECT_EQ(parameters["axial_factor_source"], "depth");
}

}  // namespace
