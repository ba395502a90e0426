// Axial resampling: the finer grid the engine runs on for coarsely sampled scans, the way back to the
// input's samples, and the program's choice of the factor.

#include <Velin/Api/AxialSampling.h>
#include <Velin/Api/Segment.h>
#include <Velin/VelinLayerSegment.h>

#include "AxialFactor.h"
#include "VolumeJob.h"
#include "io/NpyFile.h"
#include "io/Phantom.h"
#include "io_test_support.h"
#include "support/SyntheticVolume.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace {

using velin::Options;
using velin::Result;
using velin::VolumeView;

struct BoundaryError {
    double meanAbsolute = 0.0;
    double found = 0.0;  ///< share of the truth's positions where the result has the boundary
};

BoundaryError compare(const std::vector<std::int16_t>& found, const std::vector<std::int16_t>& truth) {
    double sum = 0.0;
    std::size_t truthCount = 0, both = 0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        if (truth[i] < 0) continue;
        ++truthCount;
        if (found[i] < 0) continue;
        sum += std::fabs(static_cast<double>(found[i]) - truth[i]);
        ++both;
    }
    return {both ? sum / both : INFINITY, truthCount ? static_cast<double>(both) / truthCount : 0.0};
}

velin::io::Phantom coarsePhantom(int depth) {
    velin::io::PhantomOptions options;
    options.numBScans = 16;
    options.numAScans = 256;
    options.depth = depth;
    return velin::io::makePhantom(options);
}

Result segmentAt(const velin::io::Volume& v, int factor) {
    Options options;
    options.axialFactor = factor;
    return velin::segment({v.samples.data(), v.numBScans, v.numAScans, v.depth}, options);
}

TEST(ApiAxialResampling, InterpolatesAtFinerSampleCentresHoldsTheEndsAndPads) {
    // Two A-scans, so that the second must start at the padded depth.
    const std::vector<std::uint8_t> samples = {0, 100, 200, 255, 0, 2, 2, 2};
    const VolumeView view{samples.data(), 1, 2, 4};
    const std::vector<std::uint8_t> out = velin::engineVolume(view, 2, 32);
    ASSERT_EQ(out.size(), 64u);
    // Centres at -0.25, 0.25, 0.75, ... input samples; 0.25 between 0 and 2 is 0.5 and rounds up to 1.
    const std::vector<std::uint8_t> first = {0, 25, 75, 125, 175, 214, 241, 255};
    const std::vector<std::uint8_t> second = {0, 1, 2, 2, 2, 2, 2, 2};
    EXPECT_EQ(std::vector<std::uint8_t>(out.begin(), out.begin() + 8), first);
    EXPECT_EQ(std::vector<std::uint8_t>(out.begin() + 32, out.begin() + 40), second);
    for (int i = 8; i < 32; ++i) {
        ASSERT_EQ(out[i], 0) << i;
        ASSERT_EQ(out[32 + i], 0) << i;
    }
    EXPECT_EQ(velin::engineVolume(view, 1, 32)[33], 2);  // factor 1 copies
}

TEST(ApiAxialResampling, AStepFoundOnTheFinerGridMapsBackToTheSampleWhereItStarts) {
    constexpr int depth = 40, edge = 10;
    std::vector<std::uint8_t> samples(depth, 20);
    for (int d = edge; d < depth; ++d) samples[d] = 220;
    for (int factor = 1; factor <= velin::kMaxAxialFactor; ++factor) {
        const int fine = depth * factor;
        const std::vector<std::uint8_t> out = velin::engineVolume({samples.data(), 1, 1, depth}, factor, fine);
        int halfway = 0;
        while (out[halfway] < 120) ++halfway;
        EXPECT_EQ(velin::inputDepth(static_cast<std::int16_t>(halfway), factor, depth), edge) << "factor " << factor;
        EXPECT_EQ(velin::inputDepth(static_cast<std::int16_t>(fine - 1), factor, depth), depth - 1);
        EXPECT_EQ(velin::inputDepth(static_cast<std::int16_t>(fine), factor, depth), -1) << "padding";
        EXPECT_EQ(velin::inputDepth(-1, factor, depth), -1);
    }
}

TEST(ApiAxialFactor, OneKeepsTheExportedClassPlanesBitForBit) {
    for (const int depth : {512, 496}) {
        velin_test::SyntheticVolumeOptions synth;
        synth.numBScans = 12;
        synth.numAScans = 128;
        synth.depth = depth;
        const auto volume = velin_test::makeLayeredVolume(synth);
        Options options;
        options.axialFactor = 1;
        const Result checked = velin::segment({volume.samples.data(), 12, 128, depth}, options);
        ASSERT_TRUE(checked.segmented());
        EXPECT_EQ(checked.engineDepth, 512);

        // The exported class on the volume zero-padded by hand to 512 samples per A-scan.
        std::vector<std::uint8_t> padded(static_cast<std::size_t>(12) * 128 * 512, 0);
        for (std::size_t a = 0; a < 12u * 128u; ++a)
            std::copy_n(volume.samples.begin() + static_cast<std::ptrdiff_t>(a * depth), depth,
                        padded.begin() + static_cast<std::ptrdiff_t>(a * 512));
        const std::size_t n = 12u * 128u;
        std::vector<short> p1(n, -1), p2(n, -1), p3(n, 0), p4(n, 0);
        CVelinLayerSegment legacy;
        legacy.VelinLayerSegment(padded.data(), 12, 128, 512, p1.data(), p2.data(), p3.data(), p4.data(), 100.0f,
                                 20.0f, 0.0f, 0);
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_EQ(checked.upperDepth[i], p1[i] >= depth ? -1 : p1[i]) << "depth " << depth << ", position " << i;
            ASSERT_EQ(checked.lowerDepth[i], p2[i] >= depth ? -1 : p2[i]) << "depth " << depth << ", position " << i;
            ASSERT_EQ(checked.upperValue[i], p3[i]);
            ASSERT_EQ(checked.lowerWeight[i], p4[i]);
        }
    }
}

// The engine's depth rules are tuned to about 2 um per sample; the phantom covers 2 mm of depth, so 512 and
// 496 samples are 3.9 and 4.0 um. At factor 2 the errors are, in input samples, near those at depth 1024.
TEST(ApiAxialFactor, CoarsePhantomsFailAtOneAndSegmentAtTwo) {
    for (const int depth : {512, 496}) {
        const velin::io::Phantom phantom = coarsePhantom(depth);
        EXPECT_EQ(segmentAt(phantom.volume, 1).outcome, velin::Outcome::NoBScanSegmented) << depth;

        const Result r = segmentAt(phantom.volume, 2);
        ASSERT_TRUE(r.segmented()) << depth;
        EXPECT_EQ(r.axialFactor, 2);
        EXPECT_EQ(r.engineDepth, depth == 512 ? 1024 : 992);
        const BoundaryError upper = compare(r.upperDepth, phantom.top);
        const BoundaryError lower = compare(r.lowerDepth, phantom.nflBottom);
        RecordProperty("upper_mae_" + std::to_string(depth), std::to_string(upper.meanAbsolute));
        RecordProperty("lower_mae_" + std::to_string(depth), std::to_string(lower.meanAbsolute));
        EXPECT_GT(upper.found, 0.95) << depth;
        EXPECT_GT(lower.found, 0.95) << depth;
        EXPECT_LT(upper.meanAbsolute, 3.0) << depth;
        EXPECT_LT(lower.meanAbsolute, 4.5) << depth;
    }
}

TEST(ApiAxialFactor, BadFactorsAndOversizedResamplingAreRejectedWithArgumentAndValue) {
    const std::uint8_t sample = 0;
    struct Case {
        VolumeView view;
        int factor;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {{&sample, 12, 16, 32}, 0, {"axialFactor = 0", "1..8"}},
        {{&sample, 12, 16, 32}, -2, {"axialFactor = -2"}},
        {{&sample, 12, 16, 32}, 9, {"axialFactor = 9"}},
        {{&sample, 1, 1, 5000}, 8, {"depth = 5000", "axialFactor = 8", "40000"}},
        // 1000 x 300000 fits in 32 bits, eight times that does not.
        {{&sample, 1, 1000, 300000}, 8, {"1 x 1000 x 300000", "axialFactor = 8", "32 bits"}},
    };
    for (const Case& c : cases) {
        Options options;
        options.axialFactor = c.factor;
        std::string message = "(no std::invalid_argument)";
        try {
            velin::segment(c.view, options);
        } catch (const std::invalid_argument& e) {
            message = e.what();
        }
        for (const std::string& part : c.expected)
            EXPECT_NE(message.find(part), std::string::npos) << "message: " << message << ", expected: " << part;
    }
}

TEST(CliAxialFactor, AutoFollowsTheDepthSpacingElseTheDepth) {
    using velin::cli::chooseAxialFactor;
    using velin::cli::kAxialFactorAuto;
    struct Case {
        int requested;
        double spacingUm;
        int depth;
        int factor;
        const char* source;
    };
    const Case cases[] = {
        {kAxialFactorAuto, 3.87, 496, 2, "depth spacing"},   {kAxialFactorAuto, 2000.0 / 1024, 1024, 1, "depth spacing"},
        {kAxialFactorAuto, 2.9, 1024, 1, "depth spacing"},   {kAxialFactorAuto, 2.95, 512, 2, "depth spacing"},
        {kAxialFactorAuto, 12.0, 128, 4, "depth spacing"},   {kAxialFactorAuto, 0.4, 4096, 1, "depth spacing"},
        {kAxialFactorAuto, 0.0, 640, 2, "depth"},            {kAxialFactorAuto, 0.0, 641, 1, "depth"},
        {3, 3.87, 496, 3, "command line"},
    };
    for (const Case& c : cases) {
        const velin::cli::AxialChoice choice = chooseAxialFactor(c.requested, c.spacingUm, c.depth);
        EXPECT_EQ(choice.factor, c.factor) << c.spacingUm << " um, depth " << c.depth;
        EXPECT_EQ(choice.source, c.source) << c.spacingUm << " um, depth " << c.depth;
    }

    EXPECT_EQ(velin::cli::parseAxialFactor("auto"), kAxialFactorAuto);
    EXPECT_EQ(velin::cli::parseAxialFactor("8"), 8);
    for (const char* bad : {"0", "9", "-1", "2.5", "", "two", "100"})
        EXPECT_THROW(velin::cli::parseAxialFactor(bad), CLI::ValidationError) << bad;
}

// A .npy carries no spacing: the program falls back to the depth rule, segments the coarse phantom and says
// so in its report; forced to factor 1 the same volume fails.
TEST(CliAxialFactor, SegmentRecordsTheFactorItChoseAndHonoursAGivenOne) {
    io_test::ScratchDir scratch;
    const velin::io::Phantom phantom = coarsePhantom(512);
    const std::string input = scratch.file("coarse.npy");
    velin::io::writeNpy(input, phantom.volume);

    velin::cli::SegmentSettings settings;
    const velin::cli::VolumeSummary summary = velin::cli::segmentFile(input, scratch.file("auto"), settings, nullptr);
    EXPECT_EQ(summary.result.axialFactor, 2);
    std::ifstream reportFile(scratch.file("auto/report.json"));
    const nlohmann::json report = nlohmann::json::parse(reportFile);
    EXPECT_EQ(report["parameters"]["axial_factor"], 2);
    EXPECT_EQ(report["parameters"]["axial_factor_source"], "depth");
    EXPECT_EQ(report["shape"]["engine_depth"], 1024);

    const std::string command = "\"" VELIN_CLI_PATH "\" segment \"" + input + "\" -o \"" + scratch.file("forced") +
                                "\" --axial-factor 1 >\"" + scratch.file("log") + "\" 2>&1";
    const int raw = std::system(command.c_str());
#ifdef _WIN32
    const int status = raw;
#else
    const int status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
#endif
    EXPECT_EQ(status, 1);
    std::ifstream forcedFile(scratch.file("forced/coarse/report.json"));
    ASSERT_TRUE(forcedFile) << "no report for the failed volume";
    const nlohmann::json forced = nlohmann::json::parse(forcedFile);
    EXPECT_EQ(forced["parameters"]["axial_factor"], 1);
    EXPECT_EQ(forced["parameters"]["axial_factor_source"], "command line");
    EXPECT_EQ(forced["outcome"], "no B-scan could be segmented");
}

}  // namespace
