// The velin program run as a user runs it: its outputs, its errors and its parallel mode.

#include "io/NpyFile.h"
#include "io/PngFile.h"
#include "io_test_support.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace {

namespace fs = std::filesystem;
using io_test::readBytes;
using io_test::writeBytes;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
}

std::set<std::string> namesIn(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.insert(entry.path().filename().string());
    return names;
}

// One small phantom for the whole suite: 12 B-scans are enough for the engine, 1024 samples of depth are
// what the phantom's intensities are made for.
class CliCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        scratch_ = new io_test::ScratchDir();
        const Outcome made = run({"phantom", "-o", file("phantom.npy"), "--shape", "12x128x1024", "--seed", "3"});
        ASSERT_EQ(made.status, 0) << made.err;
    }
    static void TearDownTestSuite() {
        delete scratch_;
        scratch_ = nullptr;
    }

    static std::string file(const std::string& name) { return scratch_->file(name); }

    static Outcome run(const std::vector<std::string>& args) {
        static int counter = 0;
        const std::string outPath = file("stdout" + std::to_string(counter));
        const std::string errPath = file("stderr" + std::to_string(counter++));
        std::string command = "\"" VELIN_CLI_PATH "\"";
        for (const std::string& arg : args) command += " \"" + arg + "\"";
        command += " >\"" + outPath + "\" 2>\"" + errPath + "\"";
        Outcome result;
        const int raw = std::system(command.c_str());
#ifdef _WIN32
        result.status = raw;
#else
        result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
#endif
        result.out = readText(outPath);
        result.err = readText(errPath);
        fs::remove(outPath);
        fs::remove(errPath);
        return result;
    }

    // The command fails with exactly one line on stderr in the program's error format, naming `mention`, and
    // leaves the input file as it was with nothing added beside it.
    static void expectOneLineError(const std::vector<std::string>& args, const std::string& input,
                                   const std::string& mention) {
        const std::vector<std::uint8_t> before = readBytes(input);
        const std::set<std::string> besideBefore = namesIn(fs::path(input).parent_path());
        const Outcome r = run(args);
        EXPECT_NE(r.status, 0);
        const auto errLines = lines(r.err);
        ASSERT_EQ(errLines.size(), 1u) << r.err;
        EXPECT_EQ(errLines[0].rfind("velin: error: ", 0), 0u) << errLines[0];
        EXPECT_NE(errLines[0].find(mention), std::string::npos) << errLines[0];
        EXPECT_EQ(readBytes(input), before);
        EXPECT_EQ(namesIn(fs::path(input).parent_path()), besideBefore);
    }

    static io_test::ScratchDir* scratch_;
};

io_test::ScratchDir* CliCommand::scratch_ = nullptr;

TEST_F(CliCommand, BadInputsAndOutputsGiveOneLineErrorsAndLeaveTheInputAlone) {
    const std::vector<std::uint8_t> volume = readBytes(file("phantom.npy"));
    fs::create_directories(file("inputs"));
    const std::string inputs = file("inputs");
    const std::string out = file("bad-out");

    const std::string truncated = inputs + "/truncated.npy";
    writeBytes(truncated, std::vector<std::uint8_t>(volume.begin(), volume.end() - 1000));
    expectOneLineError({"segment", truncated, "-o", out}, truncated, truncated);

    // The phantom's samples as a raw cube in the library's layout.
    const std::string raw = inputs + "/cube.raw";
    writeBytes(raw, std::vector<std::uint8_t>(volume.end() - 12 * 128 * 1024, volume.end()));
    expectOneLineError({"segment", raw, "-o", out, "--shape", "12x128x1000"}, raw, raw);
    expectOneLineError({"segment", raw, "-o", out, "--shape", "12x128"}, raw, "--shape");
    expectOneLineError({"segment", raw, "-o", out}, raw, raw);  // a raw cube needs its shape

    // A float array of shape (12, 16, 32) needs a rule to become 8 bits.
    const std::string floats = inputs + "/floats.npy";
    std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (12, 16, 32), }";
    header.append(64 - (10 + header.size() + 1) % 64, ' ').push_back('\n');
    std::vector<std::uint8_t> bytes = {0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0,
                                       static_cast<std::uint8_t>(header.size()), 0};
    bytes.insert(bytes.end(), header.begin(), header.end());
    bytes.resize(bytes.size() + 12 * 16 * 32 * 4, 0);
    writeBytes(floats, bytes);
    expectOneLineError({"segment", floats, "-o", out}, floats, floats);

    const std::string missing = inputs + "/missing.npy";
    const Outcome r = run({"segment", missing, "-o", out});
    EXPECT_EQ(r.status, 1);
    ASSERT_EQ(lines(r.err).size(), 1u) << r.err;
    EXPECT_NE(r.err.find(missing), std::string::npos);
    EXPECT_FALSE(fs::exists(missing));

    // An output folder below a plain file cannot be created.
    const std::string blocker = inputs + "/not-a-folder";
    writeBytes(blocker, {1, 2, 3});
    expectOneLineError({"segment", raw, "--shape", "12x128x1024", "-o", blocker + "/out"}, raw, blocker);
    EXPECT_EQ(readBytes(blocker), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(CliCommand, SegmentWritesEveryOutputReadableAsDocumented) {
    const std::string out = file("out-full");
    const Outcome r = run({"segment", file("phantom.npy"), "-o", out, "--spacing-um", "1.953125,46.875,500", "--grid",
                       "etdrs", "--eye", "OS"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;  // not a terminal: no progress line
    EXPECT_EQ(lines(r.out).size(), 1u) << r.out;

    const fs::path dir = fs::path(out) / "phantom";
    const std::set<std::string> expected = {"ilm.npy", "rnfl.npy", "ilm_value.npy", "rnfl_weight.npy",
                                            "thickness.npy", "thickness.png", "overlay_003.png",
                                            "overlay_006.png", "overlay_009.png", "report.json"};
    EXPECT_EQ(namesIn(dir), expected);

    for (const char* name : {"ilm.npy", "rnfl.npy", "ilm_value.npy", "rnfl_weight.npy", "thickness.npy"}) {
        const velin::io::NpyArray array = velin::io::readNpy((dir / name).string());
        EXPECT_EQ(array.shape, (std::vector<std::size_t>{12, 128})) << name;
        EXPECT_EQ(array.type, std::string(name) == "thickness.npy" ? velin::io::NpyType::Float32
                                                                    : velin::io::NpyType::Int16)
            << name;
    }

    // The boundaries are where the phantom's truth has them, give or take what 12 B-scans allow.
    const auto ilm = velin::io::readNpy((dir / "ilm.npy").string()).toInt16();
    const auto truth = velin::io::readNpy(file("phantom_truth_ilm.npy")).toInt16();
    double error = 0.0;
    std::size_t compared = 0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        if (ilm[i] < 0 || truth[i] < 0) continue;
        error += std::abs(ilm[i] - truth[i]);
        ++compared;
    }
    ASSERT_GT(compared, truth.size() * 9 / 10);
    EXPECT_LT(error / compared, 10.0);  // a flip or a transposition would be off by hundreds

    const velin::io::Picture overlay = velin::io::readPng((dir / "overlay_006.png").string());
    EXPECT_EQ(overlay.width, 128);
    EXPECT_EQ(overlay.height, 1024);
    const velin::io::Picture map = velin::io::readPng((dir / "thickness.png").string());
    EXPECT_GT(map.width, 384);

    const nlohmann::json report = nlohmann::json::parse(readText(dir / "report.json"));
    EXPECT_EQ(report["shape"]["b_scans"], 12);
    EXPECT_EQ(report["shape"]["depth"], 1024);
    EXPECT_EQ(report["outcome"], "segmented");
    EXPECT_EQ(report["spacing_um"]["source"], "command line");
    EXPECT_GT(report["coverage"].get<double>(), 0.9);
    EXPECT_EQ(report["thickness"]["unit"], "um");
    EXPECT_EQ(report["grid"]["type"], "etdrs");
    EXPECT_EQ(report["grid"]["eye"], "OS");
    EXPECT_EQ(report["grid"]["sectors"].size(), 9u);
    EXPECT_EQ(report["files"].size(), expected.size());
}

TEST_F(CliCommand, ParallelJobsGiveTheSameOutputsAsOneAtATimeAndAFailureDoesNotStopTheOthers) {
    const Outcome second = run({"phantom", "-o", file("second.npy"), "--shape", "12x128x1024", "--seed", "4",
                            "--kind", "disc"});
    ASSERT_EQ(second.status, 0) << second.err;
    const std::string missing = file("absent.npy");

    const Outcome serial = run({"segment", file("phantom.npy"), file("second.npy"), "-o", file("serial")});
    ASSERT_EQ(serial.status, 0) << serial.err;
    const Outcome parallel =
        run({"segment", file("phantom.npy"), missing, file("second.npy"), "-o", file("parallel"), "-j", "2"});
    EXPECT_EQ(parallel.status, 1);
    EXPECT_EQ(lines(parallel.err).size(), 1u) << parallel.err;
    EXPECT_EQ(lines(parallel.out).size(), 2u) << parallel.out;

    for (const char* stem : {"phantom", "second"}) {
        const fs::path a = fs::path(file("serial")) / stem, b = fs::path(file("parallel")) / stem;
        ASSERT_EQ(namesIn(a), namesIn(b)) << stem;
        for (const std::string& name : namesIn(a)) EXPECT_EQ(readBytes((a / name).string()), readBytes((b / name).string())) << stem << "/" << name;
    }
}

TEST_F(CliCommand, HelpVersionAndPhantomTruthFiles) {
    const Outcome help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* command : {"segment", "phantom", "demo"}) EXPECT_NE(help.out.find(command), std::string::npos);
    const Outcome segmentHelp = run({"segment", "--help"});
    EXPECT_EQ(segmentHelp.status, 0);
    EXPECT_NE(segmentHelp.out.find("--spacing-um"), std::string::npos);
    const Outcome version = run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("velin ", 0), 0u);

    const Outcome usage = run({"frobnicate"});
    EXPECT_EQ(usage.status, 2);
    EXPECT_EQ(lines(usage.err).size(), 1u) << usage.err;

    const auto volume = velin::io::readNpy(file("phantom.npy"));
    EXPECT_EQ(volume.shape, (std::vector<std::size_t>{12, 128, 1024}));
    for (const char* truth : {"phantom_truth_ilm.npy", "phantom_truth_rnfl.npy"})
        EXPECT_EQ(velin::io::readNpy(file(truth)).shape, (std::vector<std::size_t>{12, 128})) << truth;
}

}  // namespace
