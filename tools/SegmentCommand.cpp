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
    bool timings = false;
    SegmentArguments arguments;  ///< arguments.threads: of the whole run, 0 = one per processor core
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

std::string millisecondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.0f ms", seconds * 1e3);
    return text;
}

std::string doneLine(const VolumeSummary& s, bool timings) {
    std::ostringstream line;
    line << "velin: " << printable(s.input) << ": " << s.result.bscansSegmented << "/" << s.result.numBScans
         << " B-scans segmented (axial factor " << s.result.axialFactor << "), coverage "
         << percentText(s.thickness.coverage);
    if (std::isfinite(s.thickness.mean)) {
        char mean[32];
        std::snprintf(mean, sizeof mean, "%.1f", s.thickness.mean);
        line << ", mean RNFL thickness " << mean << " " << s.unit;
    }
    if (!s.gridSkipped.empty()) line << ", no grid (" << s.gridSkipped << ")";
    for (const std::string& note : s.notes) line << ", note: " << note;
    line << " -> " << printable(s.outputDir);
    if (timings)
        line << " (read " << millisecondsText(s.times.read) << ", segment " << millisecondsText(s.times.segment)
             << ", measure " << millisecondsText(s.times.measure) << ", write " << millisecondsText(s.times.write)
             << ")";
    return line.str();
}

int runSegment(SegmentRequest& request) {
    // Checked before anything is written: a bad value is a usage error (status 2) of the whole run.
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
            const std::string name = printable(fs::path(input).filename().string());
            const int slot = static_cast<int>(i);
            ProgressCallback progress = [&board, slot, &name](int done, int total) {
                board.update(slot, name, done, total);
            };
            try {
                const VolumeSummary summary = segmentFile(input, folders[i], volumeSettings, progress);
                board.finish(slot, doneLine(summary, request.timings), false);
            } catch (const CliError& e) {
                ++failures;
                board.finish(slot, errorLine(e.what(), e.file()), true);
            } catch (const std::exception& e) {
                ++failures;
                board.finish(slot, errorLine(e.what(), input), true);
            }
        }
    };

    const ThreadPlan plan = planThreads(request.jobs, request.arguments.threads,
                                        static_cast<int>(request.inputs.size()), resolvedThreads(0));
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
    declareSegmentOptions(*cmd, request->arguments);
    cmd->add_option("-j,--jobs", request->jobs, "Segment N volumes at once (at most --threads)")
        ->check(CLI::Range(1, 256))
        ->type_name("N")
        ->default_str("1");
    cmd->add_flag("--timings", request->timings,
                  "After each volume, the wall time of reading it, segmenting it (engine and refinement), measuring "
                  "it (thickness and grid) and writing its outputs");
    cmd->callback([request, &exitStatus]() { exitStatus = runSegment(*request); });
}

}  // namespace cli
}  // namespace velin
