// The velin program run as a user runs it: its outputs, its errors and its parallel mode.

#include <Velin/Io/NpyFile.h>
#include <Velin/Io/PngFile.h>
#include "Progress.h"
#include "ThreadPlan.h"
#include <support/DicomFiles.h>
#include "io_test_support.h"
#include "support/VolumeFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <regex>
#include <set>

#ifndef _WIN32
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#endif

namespace {

namespace fs = std::filesystem;
using io_test::readBytes;
using io_test::writeBytes;

struct Outcome {
    int status;
    std::string out, err;
};

std::string readText(const fs::path& path) {
    const std::vector<std::uint8_t> bytes = readBytes(path.string());
    return {bytes.begin(), bytes.end()};
}

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::set<std::string> namesIn(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.insert(entry.path().filename().string());
    return names;
}

// One scratch folder for the whole run, removed at exit.
std::string file(const std::string& name) {
    static const io_test::ScratchDir scratch;
    return scratch.file(name);
}

Outcome run(const std::vector<std::string>& args) {
    static int counter = 0;
    const std::string outPath = file("stdout" + std::to_string(counter));
    const std::string errPath = file("stderr" + std::to_string(counter++));
    std::string command = "\"" VELIN_CLI_PATH "\"";
    for (const std::string& arg : args) command += " \"" + arg + "\"";
    const int raw = std::system((command + " >\"" + outPath + "\" 2>\"" + errPath + "\"").c_str());
#ifdef _WIN32
    return {raw, readText(outPath), readText(errPath)};
#else
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readText(outPath), readText(errPath)};
#endif
}

// One small phantom for the whole suite: 12 B-scans are enough for the engine, 1024 samples of depth are
// what the phantom's intensities are made for.
class CliCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        const Outcome made = run({"phantom", "-o", file("phantom.npy"), "--shape", "12x128x1024", "--seed", "3"});
        ASSERT_EQ(made.status, 0) << made.err;
    }
};

// Each command fails with its status and exactly one line on stderr in the program's error format, naming
// the file, command or option at fault, and leaves its input (the first argument after the command) as it was with nothing added
// beside it.
TEST_F(CliCommand, BadCommandsInputsAndOutputsGiveOneLineErrorsAndLeaveTheInputAlone) {
    const std::vector<std::uint8_t> volume = readBytes(file("phantom.npy"));
    const std::string inputs = file("inputs"), out = file("bad-out");
    fs::create_directories(inputs);
    const std::string truncated = inputs + "/truncated.npy", raw = inputs + "/cube.raw";
    const std::string floats = inputs + "/floats.npy", missing = inputs + "/missing.npy";
    const std::string blocker = inputs + "/not-a-folder";
    writeBytes(truncated, std::vector<std::uint8_t>(volume.begin(), volume.end() - 1000));
    // The phantom's samples as a raw cube in the library's layout.
    writeBytes(raw, std::vector<std::uint8_t>(volume.end() - 12 * 128 * 1024, volume.end()));
    writeBytes(floats, io_test::npyBytes("{'descr': '<f4', 'fortran_order': False, 'shape': (12, 16, 32), }",
                                         std::vector<std::uint8_t>(12 * 16 * 32 * 4, 0)));
    writeBytes(blocker, {1, 2, 3});

    struct Case {
        std::vector<std::string> args;
        std::string mention;
        int status;
    } const cases[] = {
        {{"segment", truncated, "-o", out}, truncated, 1},
        {{"segment", raw, "-o", out, "--shape", "12x128x1000"}, raw, 1},
        {{"segment", raw, "-o", out, "--shape", "12x128"}, "--shape", 2},  // a wrong command line
        {{"segment", raw, "-o", out}, raw, 1},                             // a raw cube needs its shape
        {{"segment", raw, "-o", out, "--shape", "12x128x1024", "--layout", "BAX"}, "--layout", 2},
        {{"segment", floats, "-o", out}, floats, 1},  // a float array needs a rule to become 8 bits
        {{"segment", missing, "-o", out}, missing, 1},
        // An output folder below a plain file cannot be created.
        {{"segment", raw, "--shape", "12x128x1024", "-o", blocker + "/out"}, blocker, 1},
        {{"segmnt", raw}, "unknown command 'segmnt'", 2},
        // Values the checked entry refuses are a wrong command line, found before any file is read: the
        // largest int once overflowed the final pass's step count; a B-scan distance of 50 mm once made a
        // picture of 10.8 GB.
        {{"segment", raw, "-o", out, "--smoothing", "2147483647"}, "--smoothing: 2147483647 is above 1000", 2},
        {{"segment", raw, "-o", out, "--gap-scale", "0"}, "--gap-scale: 0 must be finite and not 0", 2},
        {{"segment", raw, "-o", out, "--width-selector", "nan"}, "--width-selector: nan must be finite", 2},
        {{"segment", raw, "-o", out, "--spacing-um", "7.8125,0.5,50000"},
         "spacing between B-scans: 50000 um is outside 0.1 to 10000 um", 2},
        {{"segment", raw, "-o", out, "--spacing-um", "0.05,11,47"}, "depth spacing: 0.05 um", 2},
        // A phantom shape the builder refuses is a wrong command line, told in the option's words.
        {{"phantom", "-o", inputs + "/tiny.npy", "--shape", "12x5x1024"}, "--shape 12x5x1024: the A-scan count", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args[1] + " " + c.args.back());
        const std::vector<std::uint8_t> before = readBytes(c.args[1]), blockerBefore = readBytes(blocker);
        const std::set<std::string> besideBefore = namesIn(inputs);
        const Outcome r = run(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(lineCount(r.err), 1u) << r.err;
        EXPECT_EQ(r.err.rfind("velin: error: ", 0), 0u) << r.err;
        EXPECT_TRUE(io_test::contains(r.err, c.mention));
        EXPECT_EQ(readBytes(c.args[1]), before);
        EXPECT_EQ(readBytes(blocker), blockerBefore);
        EXPECT_EQ(namesIn(inputs), besideBefore);
    }
    // A volume that fails before its outputs are written leaves no folder behind.
    EXPECT_TRUE(namesIn(out).empty());
}

TEST_F(CliCommand, SegmentWritesEveryOutputReadableAsDocumented) {
    const std::string out = file("out-full");
    // An earlier run's overlay of another B-scan goes; a file of the user's stays.
    fs::create_directories(out + "/phantom");
    writeBytes(out + "/phantom/overlay_077.png", {1});
    writeBytes(out + "/phantom/notes.txt", {1});
    const Outcome r = run({"segment", file("phantom.npy"), "-o", out, "--spacing-um", "1.953125,46.875,500", "--grid",
                           "ETDRS", "--eye", "os"});  // names are taken in any case
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;  // not a terminal: no progress line
    EXPECT_EQ(lineCount(r.out), 1u) << r.out;

    const fs::path dir = fs::path(out) / "phantom";
    const std::set<std::string> expected = {"ilm.npy",         "rnfl.npy",           "ilm_value.npy",
                                            "rnfl_weight.npy", "ilm_confidence.npy", "rnfl_confidence.npy",
                                            "thickness.npy",   "thickness.png",      "overlay_003.png",
                                            "overlay_006.png", "overlay_009.png",    "report.json"};
    std::set<std::string> present = namesIn(dir);
    EXPECT_EQ(present.erase("notes.txt"), 1u);
    EXPECT_EQ(present, expected);
    // Depths and what derives from them are float32 (NaN = not found), the engine's values int16.
    for (const std::string name :
         {"ilm", "rnfl", "ilm_confidence", "rnfl_confidence", "thickness", "ilm_value", "rnfl_weight"}) {
        const velin::io::NpyArray array = velin::io::readNpy((dir / (name + ".npy")).string());
        EXPECT_EQ(array.shape, (std::vector<std::size_t>{12, 128})) << name;
        const bool engineValue = name == "ilm_value" || name == "rnfl_weight";
        EXPECT_EQ(array.type, engineValue ? velin::io::NpyType::Int16 : velin::io::NpyType::Float32) << name;
    }
    // The boundaries are where the phantom's truth has them, give or take what 12 B-scans allow.
    const auto ilm = velin::io::readNpy((dir / "ilm.npy").string()).toFloat32();
    const auto truth = velin::io::readNpy(file("phantom_truth_ilm.npy")).toInt16();
    EXPECT_EQ(velin::io::readNpy(file("phantom_truth_rnfl.npy")).shape, (std::vector<std::size_t>{12, 128}));
    const auto [error, found] = io_test::errorAndFound(ilm, truth);
    EXPECT_GT(found, 0.9);
    EXPECT_LT(error, 10.0);  // a flip or a transposition would be off by hundreds

    const velin::io::Picture overlay = velin::io::readPng((dir / "overlay_006.png").string());
    EXPECT_EQ(std::vector<int>({overlay.width, overlay.height}), std::vector<int>({128, 1024}));
    EXPECT_GT(velin::io::readPng((dir / "thickness.png").string()).width, 384);

    const nlohmann::json report = nlohmann::json::parse(readText(dir / "report.json"));
    const nlohmann::json fields = nlohmann::json::parse(R"({"/shape/b_scans": 12, "/shape/depth": 1024,
        "/outcome": "segmented", "/spacing_um/source": "command line", "/thickness/unit": "um",
        "/grid/type": "etdrs", "/grid/eye": "OS", "/parameters/boundaries": "refined"})");
    for (const auto& field : fields.items())
        EXPECT_EQ(report.value(nlohmann::json::json_pointer(field.key()), nlohmann::json()), field.value())
            << field.key();
    EXPECT_GT(report["coverage"].get<double>(), 0.9);
    EXPECT_EQ(report["grid"]["sectors"].size(), 9u);
    EXPECT_EQ(report["files"].size(), expected.size());
}

// The phantom exported as DICOM: the file's spacing, eye and scan kind reach the report and choose the grid,
// and the planes are those of the same samples read from .npy with the same values given on the command line.
TEST_F(CliCommand, DicomVolumesBringTheirSpacingEyeAndScanKindIntoTheReport) {
    const velin::io::Volume phantom = velin::io::readVolume(file("phantom.npy"), {});
    auto dicom = dicom_test::volumeImage(12, 128, 1024, phantom.samples);
    DcmDataset& ds = *dicom->getDataset();
    ds.putAndInsertString(DCM_PixelSpacing, "0.001953125\\0.046875");
    ds.putAndInsertString(DCM_SliceThickness, "0.5");
    ds.putAndInsertString(DCM_ImageLaterality, "L");
    ds.putAndInsertString(DCM_SeriesDescription, "Macular Cube 128x12");
    const std::string input = file("export.dcm");
    dicom_test::save(*dicom, input, EXS_JPEGLSLossless);
    const Outcome r = run({"segment", input, "-o", file("out-dicom")});
    ASSERT_EQ(r.status, 0) << r.err;
    const fs::path dir = fs::path(file("out-dicom")) / "export";
    const nlohmann::json report = nlohmann::json::parse(readText(dir / "report.json"));
    const nlohmann::json fields = nlohmann::json::parse(R"({"/eye": "OS", "/scan_kind": "macula",
        "/spacing_um": {"depth": 1.953125, "a_scan": 46.875, "b_scan": 500.0, "source": "file"},
        "/shape/b_scans": 12, "/shape/a_scans": 128, "/shape/depth": 1024, "/grid/type": "etdrs", "/grid/eye": "OS"})");
    for (const auto& field : fields.items())
        EXPECT_EQ(report.value(nlohmann::json::json_pointer(field.key()), nlohmann::json()), field.value())
            << field.key();

    const Outcome same = run({"segment", file("phantom.npy"), "-o", file("out-same"), "--spacing-um",
                              "1.953125,46.875,500", "--eye", "OS", "--grid", "etdrs"});
    ASSERT_EQ(same.status, 0) << same.err;
    for (const char* plane : {"ilm.npy", "rnfl.npy", "ilm_value.npy", "rnfl_weight.npy", "thickness.npy"})
        EXPECT_EQ(readBytes((dir / plane).string()), readBytes(file("out-same") + "/phantom/" + plane)) << plane;

    // A damaged export is one error line naming the file, and no folder.
    const std::vector<std::uint8_t> bytes = readBytes(input);
    writeBytes(file("cut.dcm"), std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + bytes.size() / 2));
    const Outcome cut = run({"segment", file("cut.dcm"), "-o", file("out-dicom")});
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(lineCount(cut.err), 1u) << cut.err;
    EXPECT_EQ(cut.err.rfind("velin: error: ", 0), 0u) << cut.err;
    EXPECT_TRUE(io_test::contains(cut.err, "damaged or truncated DICOM file"));
    EXPECT_TRUE(io_test::contains(cut.err, file("cut.dcm")));
    EXPECT_FALSE(fs::exists(fs::path(file("out-dicom")) / "cut"));
}

TEST_F(CliCommand, ParallelJobsGiveTheSameOutputsAsOneAtATimeAndAFailureDoesNotStopTheOthers) {
    const Outcome second =
        run({"phantom", "-o", file("second.npy"), "--shape", "12x128x1024", "--seed", "4", "--kind", "disc"});
    ASSERT_EQ(second.status, 0) << second.err;
    // A grid named but impossible is explained on the volume's line, and the volume still succeeds. One thread
    // in all against two volumes at once, the first with two threads: every output byte is the same.
    const Outcome serial = run({"segment", file("phantom.npy"), file("second.npy"), "-o", file("serial"), "--grid",
                                "circle", "--threads", "1"});
    ASSERT_EQ(serial.status, 0) << serial.err;
    EXPECT_TRUE(io_test::contains(serial.out, "no grid (lateral spacing unknown")) << serial.out;
    // --timings adds the time of each step to the volume's line, and changes nothing else.
    const Outcome parallel = run({"segment", file("phantom.npy"), file("absent.npy"), file("second.npy"), "-o",
                                  file("parallel"), "-j", "2", "--threads", "3", "--grid", "circle", "--timings"});
    EXPECT_EQ(parallel.status, 1);
    EXPECT_EQ(lineCount(parallel.err), 1u) << parallel.err;
    EXPECT_EQ(lineCount(parallel.out), 2u) << parallel.out;
    const std::regex timed(R"(-> .* \(read \d+ ms, segment [1-9]\d* ms, measure \d+ ms, write \d+ ms\)\n)");
    EXPECT_EQ(std::distance(std::sregex_iterator(parallel.out.begin(), parallel.out.end(), timed), {}), 2)
        << parallel.out;
    for (const char* stem : {"phantom", "second"}) {
        const fs::path a = fs::path(file("serial")) / stem, b = fs::path(file("parallel")) / stem;
        ASSERT_EQ(namesIn(a), namesIn(b)) << stem;
        for (const std::string& name : namesIn(a))
            EXPECT_EQ(readBytes((a / name).string()), readBytes((b / name).string())) << stem << "/" << name;
    }
}

// A spacing in a file's header that no scan can have (an infinite lateral spacing once crashed the program,
// a huge B-scan distance asked for tens of gigabytes) is ignored with a note in the report and on the
// volume's line; the volume is segmented, measured in micrometres where it can be, and gets no grid. The
// smallest lateral spacing the command line accepts still gives a picture of bounded size, quickly.
TEST_F(CliCommand, ImplausibleSpacingsInAFileAreIgnoredWithANoteAndPicturesStayBounded) {
    velin::io::Volume volume = velin::io::readVolume(file("phantom.npy"), {});
    struct Case {
        const char* name;
        double scaleX, distance;  ///< mm, as the header gives them
        std::string note;
    } const cases[] = {
        {"inf", std::numeric_limits<double>::infinity(), 0.0469,
         "spacing between A-scans in the file: inf um is outside 0.1 to 1000 um; taken as unknown"},
        {"far", 0.0469, 1e6, "spacing between B-scans in the file: 1e+09 um is outside 0.1 to 10000 um"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        velin_test::VolHeader header;
        header.scaleXMm = c.scaleX, header.distanceMm = c.distance, header.scaleZMm = 2.0 / 1024;
        const std::string input = file(std::string(c.name) + ".vol");
        writeBytes(input, velin_test::volBytes(volume, header));
        const Outcome r = run({"segment", input, "-o", file("spacing-out"), "--grid", "etdrs"});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_TRUE(io_test::contains(r.out, "no grid (lateral spacing unknown")) << r.out;
        EXPECT_TRUE(io_test::contains(r.out, "note: " + c.note)) << r.out;
        const nlohmann::json report =
            nlohmann::json::parse(readText(fs::path(file("spacing-out")) / c.name / "report.json"));
        ASSERT_EQ(report["notes"].size(), 1u);
        EXPECT_TRUE(io_test::contains(report["notes"][0].get<std::string>(), c.note));
        EXPECT_EQ(report["spacing_um"]["depth"].get<double>(), 2000.0 / 1024);
        EXPECT_EQ(report["thickness"]["unit"], "um");
    }

    const std::string out = file("tiny-spacing");
    const Outcome tiny = run({"segment", file("phantom.npy"), "-o", out, "--spacing-um", "1.953125,0.1,10000",
                              "--grid", "etdrs"});
    ASSERT_EQ(tiny.status, 0) << tiny.err;
    const velin::io::Picture picture = velin::io::readPng(out + "/phantom/thickness.png");
    EXPECT_LE(picture.height, 4096 + 200);
    EXPECT_LE(picture.width, 4096 + 600);
}

// File names are bytes: a name that is not UTF-8 is carried into the report exactly (input_hex) and readably
// (input, with U+FFFD), a control character is escaped on the terminal, stems "." and ".." do not name the
// output folder or its parent, and no two volumes share a folder even when one's name is another's renamed
// stem. All of this is settled before any work: each volume here fails (too few B-scans) with its report.
TEST_F(CliCommand, OddFileNamesGiveSafeFoldersReportsAndOneLineMessages) {
    const std::string inputs = file("odd-names"), out = inputs + "/deep/out";
    fs::create_directories(inputs + "/a");
    fs::create_directories(inputs + "/b");
    const std::vector<std::uint8_t> small = io_test::patternedSamples(3, 8, 64);
    const std::vector<std::string> names = {inputs + "/scan\xff.npy", inputs + "/...npy",   inputs + "/..npy",
                                            inputs + "/two\nlines.npy", inputs + "/a/scan.npy", inputs + "/b/scan.npy",
                                            inputs + "/scan-2.npy"};
    for (const std::string& name : names) velin::io::writeNpy(name, small.data(), 3, 8, 64);

    std::vector<std::string> args = {"segment"};
    args.insert(args.end(), names.begin(), names.end());
    args.insert(args.end(), {"-o", out});
    const Outcome r = run(args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(lineCount(r.err), names.size()) << r.err;
    EXPECT_TRUE(io_test::contains(r.err, "two\\x0Alines.npy")) << r.err;
    EXPECT_EQ(namesIn(inputs + "/deep"), std::set<std::string>{"out"});  // nothing written beside OUTDIR
    EXPECT_EQ(namesIn(out), (std::set<std::string>{"scan\xff", "volume", "volume-2", "two\nlines", "scan", "scan-2",
                                                   "scan-2-2"}));
    const nlohmann::json report = nlohmann::json::parse(readText(fs::path(out) / "scan\xff" / "report.json"));
    EXPECT_EQ(report["input"], inputs + "/scan\xef\xbf\xbd.npy");
    std::string hex;
    for (const unsigned char c : names[0]) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", c);
        hex += digits;
    }
    EXPECT_EQ(report["input_hex"], hex);
    EXPECT_EQ(nlohmann::json::parse(readText(fs::path(out) / "scan-2-2" / "report.json"))["input"], names[6]);
}

// -j and --threads together never run more threads than asked for, and use all of them when they can.
TEST(CliThreadPlan, VolumesAtOnceAndTheirThreadsStayWithinTheBudget) {
    struct Case {
        int jobs, threads, volumes, cores;
        int budget;
        std::vector<int> perVolume;
    } const cases[] = {
        {1, 0, 3, 2, 2, {2}},           // defaults: one volume at a time on every core
        {1, 1, 3, 2, 1, {1}},           // --threads 1: today's serial run
        {2, 0, 3, 2, 2, {1, 1}},        // -j 2 on two cores
        {4, 0, 5, 2, 4, {1, 1, 1, 1}},  // -j alone asks for its volumes even beyond the cores
        {4, 2, 5, 8, 2, {1, 1}},        // --threads caps -j
        {2, 5, 3, 2, 5, {3, 2}},        // the remainder goes to the first volumes
        {3, 8, 2, 2, 8, {4, 4}},        // fewer inputs than -j: the budget is shared by those
        {1, 0, 1, 0, 1, {1}},           // an unknown core count counts as one
    };
    for (const Case& c : cases) {
        const velin::cli::ThreadPlan plan = velin::cli::planThreads(c.jobs, c.threads, c.volumes, c.cores);
        std::vector<int> perVolume;
        for (int slot = 0; slot < plan.volumesAtOnce; ++slot) perVolume.push_back(plan.threadsFor(slot));
        EXPECT_EQ(plan.budget, c.budget) << c.jobs << " jobs, " << c.threads << " threads";
        EXPECT_EQ(perVolume, c.perVolume) << c.jobs << " jobs, " << c.threads << " threads";
    }
}

TEST_F(CliCommand, HelpAndVersion) {
    EXPECT_TRUE(io_test::contains(run({"--help"}).out, "phantom"));
    EXPECT_TRUE(io_test::contains(run({"segment", "--help"}).out, "--spacing-um"));
    EXPECT_EQ(run({"--version"}).out.rfind("velin ", 0), 0u);
    // A bare call shows the help.
    const Outcome bare = run({});
    EXPECT_EQ(bare.status, 2);
    EXPECT_TRUE(io_test::contains(bare.err, "segment"));
}

// Long device names are shortened so that every running volume's count stays on the one status line.
TEST(CliProgress, StatusLineKeepsEveryCountWithinItsWidth) {
    const std::string longName = "P0001_Macular Cube 512x128_9-21-2010_11-42-13_OD_sn0415_cube_z.img";
    // More volumes than fit with percentages keep at least their counts; the long names give way first.
    const std::string four =
        velin::cli::statusLine({{longName, 12, 128}, {"b.npy", 127, 128}, {longName, 0, 64}, {longName, 5, 9}}, 78);
    EXPECT_LE(four.size(), 78u) << four;
    for (const char* part : {" 12/128 ", " b.npy 127/128 ", " 0/64 ", " 5/9 B-scans"})
        EXPECT_TRUE(io_test::contains(four, part)) << four;
    EXPECT_EQ(velin::cli::statusLine({{"scan.img", 5, 9}}, 78), "velin: scan.img 5/9 B-scans (55%)");
}

#ifndef _WIN32
// Ctrl-C at any moment leaves each volume's folder either absent or complete, and no temporary file.
TEST_F(CliCommand, InterruptedRunsLeaveOnlyCompleteVolumes) {
    for (int delayMs = 0; delayMs <= 150; delayMs += 10) {
        SCOPED_TRACE(delayMs);
        const std::string out = file("interrupted" + std::to_string(delayMs));
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const std::string input = file("phantom.npy");
            std::freopen("/dev/null", "w", stdout);
            execl(VELIN_CLI_PATH, "velin", "segment", input.c_str(), input.c_str(), input.c_str(), "-o", out.c_str(),
                  "-j", "2", static_cast<char*>(nullptr));
            _exit(127);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
        kill(child, SIGINT);
        int status = 0;
        waitpid(child, &status, 0);
        // Before the program has set itself up, SIGINT ends it the default way, which is as clean.
        const bool stopped = WIFSIGNALED(status) ? WTERMSIG(status) == SIGINT : WEXITSTATUS(status) == 130;
        EXPECT_TRUE(stopped || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
        if (!fs::exists(out)) continue;
        for (const auto& volume : fs::directory_iterator(out)) {
            const std::set<std::string> names = namesIn(volume.path());
            ASSERT_TRUE(names.count("report.json")) << volume.path();
            const nlohmann::json report = nlohmann::json::parse(readText(volume.path() / "report.json"));
            EXPECT_EQ(names, report["files"].get<std::set<std::string>>()) << volume.path();
        }
    }
}
#endif

}  // namespace
