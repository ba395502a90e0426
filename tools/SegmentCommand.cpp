#include "CliError.h"
#include "Commands.h"
#include "FolderNames.h"
#include "Interrupt.h"
#include "Progress.h"
#include "SegmentArguments.h"
#include "ThreadPlan.h"
#include "VolumeJob.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

namespace velin {
namespace cli {
namespace {

namespace fs = std::filesystem;

struct SegmentRequest {
    std::vector<std::string> inputs;
    std::string outputDir;
    int jobs = 1;
    int threads = 0;  ///< 0: not given
    SegmentArguments arguments;
};

// Finds out before any work whether outputs can be written at all, so that an unwritable folder is one
// error rather than one per volume.
void checkOutputFolder(const std::string& dir) {
    std::error_code error;
    if (fs::exists(dir, error) && !fs::is_directory(dir, error))
        throw CliError("the output path is a file, not a folder", dir);
    fs::create_directories(dir, error);
    if (error) throw CliError("cannot create the output folder: " + error.message(), dir);
    if (!fs::is_directory(dir, error)) throw CliError("the output path is not a folder", dir);
    const fs::path probe = fs::path(dir) / ".velin-write-test";
    // Ctrl-C waits until the probe is gone again: an interrupted run leaves no file of its own behind.
    const OutputWriting writing;
    {
        std::ofstream file(probe, std::ios::binary);
        if (!file || !(file << 'x') || !file.flush()) {
            file.close();
            fs::remove(probe, error);
            throw CliError("the output folder is not writable", dir);
        }
    }
    fs::remove(probe, error);
}

std::string percentText(double share) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f%%", share * 100.0);
    return text;
}

std::string doneLine(const VolumeSummary& s) {
    std::ostringstream line;
    line << "velin: " << s.input << ": " << s.result.bscansSegmented << "/" << s.result.numBScans
         << " B-scans segmented (axial factor " << s.result.axialFactor << "), coverage "
         << percentText(s.thickness.coverage);
    if (std::isfinite(s.thickness.mean)) {
        char mean[32];
        std::snprintf(mean, sizeof mean, "%.1f", s.thickness.mean);
        line << ", mean RNFL thickness " << mean << " " << s.unit;
    }
    if (!s.gridSkipped.empty()) line << ", no grid (" << s.gridSkipped << ")";
    line << " -> " << s.outputDir;
    return line.str();
}

int runSegment(SegmentRequest& request) {
    const SegmentSettings settings = makeSettings(request.arguments);

    installInterruptHandler(stderrIsTerminal());
    try {
        checkOutputFolder(request.outputDir);
    } catch (const CliError& e) {
        std::fprintf(stderr, "%s\n", errorLine(e.what(), e.file()).c_str());
        return kExitFailure;
    }

    const std::vector<std::string> folders = volumeFolders(request.inputs, request.outputDir);
    ProgressBoard board(stderrIsTerminal());
    std::atomic<std::size_t> next{0};
    std::atomic<int> failures{0};

    auto worker = [&](int threads) {
        SegmentSettings volumeSettings = settings;
        volumeSettings.engine.threads = threads;
        for (std::size_t i = next++; i < request.inputs.size(); i = next++) {
            const std::string& input = request.inputs[i];
            const std::string name = fs::path(input).filename().string();
            const int slot = static_cast<int>(i);
            ProgressCallback progress = [&board, slot, &name](int done, int total) {
                board.update(slot, name, done, total);
            };
            try {
                const VolumeSummary summary = segmentFile(input, folders[i], volumeSettings, progress);
                board.finish(slot, doneLine(summary), false);
            } catch (const CliError& e) {
                ++failures;
                board.finish(slot, errorLine(e.what(), e.file()), true);
            } catch (const std::exception& e) {
                ++failures;
                board.finish(slot, errorLine(e.what(), input), true);
            }
        }
    };

    const ThreadPlan plan =
        planThreads(request.jobs, request.threads, static_cast<int>(request.inputs.size()), resolvedThreads(0));
    std::vector<std::thread> pool;
    for (int slot = 1; slot < plan.volumesAtOnce; ++slot) pool.emplace_back(worker, plan.threadsFor(slot));
    worker(plan.threadsFor(0));
    for (std::thread& thread : pool) thread.join();
    return failures == 0 ? 0 : kExitFailure;
}

}  // namespace

void addSegmentCommand(CLI::App& app, int& exitStatus) {
    auto request = std::make_shared<SegmentRequest>();
    CLI::App* cmd = app.add_subcommand("segment", "Segment OCT volumes; one output folder per volume");
    cmd->add_option("INPUT", request->inputs,
                    "Volume files: .img (raw device cube), .raw (with --shape), .npy, .tif/.tiff, .vol, DICOM (.dcm)")
        ->required();
    cmd->add_option("-o,--output", request->outputDir, "Folder that receives OUTDIR/<input stem>/")
        ->required()
        ->type_name("OUTDIR");
    cmd->add_option("--shape", request->arguments.shape, "Sizes B-scans x A-scans x depth (needed for .raw)")
        ->type_name("BxAxD");
    cmd->add_option("--layout", request->arguments.layout,
                    "Axis order of a .raw file, slowest first, as letters B, A, D")
        ->type_name("ORDER")
        ->default_str("BAD");
    cmd->add_option("--flip", request->arguments.flip, "Axes to reverse after reading, as letters among B, A, D")
        ->type_name("AXES");
    cmd->add_option("--scale", request->arguments.scale,
                    "Rule to 8 bits: minmax, clip255 or fourthroot (float .npy; 16-bit DICOM without a window)")
        ->type_name("RULE");
    cmd->add_option("--gap-scale", request->arguments.gapScale,
                    "Gaps in a boundary shorter than trunc(100/X + 0.5) + 5 B-scans are bridged")
        ->type_name("X")
        ->default_str("100");
    cmd->add_option("--width-selector", request->arguments.widthSelector,
                    "With the A-scan count, picks the width of the engine's low-pass filter")
        ->type_name("N")
        ->default_str("20");
    cmd->add_option("--aux", request->arguments.auxParameter, "Auxiliary engine parameter")
        ->type_name("X")
        ->default_str("0");
    cmd->add_option("--smoothing", request->arguments.smoothing,
                    "Smoothing of the boundary surfaces: 10*(N+1) diffusion steps")
        ->type_name("N")
        ->default_str("0");
    cmd->add_option("--spacing-um", request->arguments.spacing,
                    "Sample spacing in micrometres along depth, A-scans and B-scans (overrides the file's)")
        ->type_name("DZ,DX,DY");
    cmd->add_option("--grid", request->arguments.grid,
                    "Thickness grid: etdrs (macula), circle (optic disc), none, or auto (from the scan kind)")
        ->transform(CLI::IsMember({"auto", "etdrs", "circle", "none"}, CLI::ignore_case))
        ->type_name("GRID")
        ->default_str("auto");
    cmd->add_option("--axial-factor", request->arguments.axialFactor,
                    "Resample each A-scan to N times its samples for the engine, 1 to 8; auto: "
                    "round(depth spacing / 1.95 um) within 1..4, or without a spacing 2 up to depth 640, else 1")
        ->type_name("N|auto")
        ->default_str("auto");
    cmd->add_option("--boundaries", request->arguments.boundaries,
                    "refined: sub-sample boundaries found from the engine's on the input's samples; legacy: the "
                    "engine's own whole-sample depths")
        ->transform(CLI::IsMember({"refined", "legacy"}, CLI::ignore_case))
        ->type_name("MODE")
        ->default_str("refined");
    cmd->add_option("--eye", request->arguments.eye, "OD or OS, for nasal and temporal (overrides the file's)")
        ->type_name("EYE")
        ->transform(CLI::IsMember({"OD", "OS"}, CLI::ignore_case));
    cmd->add_option("-j,--jobs", request->jobs, "Segment N volumes at once (at most --threads)")
        ->check(CLI::Range(1, 256))
        ->type_name("N")
        ->default_str("1");
    cmd->add_option("--threads", request->threads,
                    "Threads of the whole run, shared among the volumes running at once; 1 segments each volume's "
                    "B-scans one at a time. The outputs do not depend on it. Default: one per processor core")
        ->check(CLI::Range(1, 256))
        ->type_name("N");
    cmd->callback([request, &exitStatus]() { exitStatus = runSegment(*request); });
}

}  // namespace cli
}  // namespace velin
