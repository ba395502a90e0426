#include "CliError.h"
#include "Commands.h"
#include "Interrupt.h"
#include "Progress.h"
#include "SegmentOptions.h"
#include "VolumeJob.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

namespace velin {
namespace cli {
namespace {

namespace fs = std::filesystem;

// Output folders are named after the inputs' stems, byte for byte. A stem met again, or one an earlier
// folder of this run already took (an input named scan-2 after two named scan), gets "-2", "-3"... in input
// order, so that no volume overwrites another's outputs. The stems "." and ".." (of "..npy" and "...npy")
// would name the output folder itself or its parent, so they are renamed like an empty stem.
std::vector<std::string> outputFolders(const std::vector<std::string>& inputs, const std::string& outputDir) {
    std::set<std::string> taken;
    std::vector<std::string> folders;
    for (const std::string& input : inputs) {
        std::string stem = fs::path(input).stem().string();
        if (stem.empty() || stem == "." || stem == "..") stem = "volume";
        std::string name = stem;
        for (int n = 2; taken.count(name) > 0; ++n) name = stem + "-" + std::to_string(n);
        taken.insert(name);
        folders.push_back((fs::path(outputDir) / name).string());
    }
    return folders;
}

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
    return line.str();
}

int runSegment(SegmentRequest& request) {
    completeSettings(request);
    const SegmentSettings& settings = request.settings;

    try {
        checkOutputFolder(request.outputDir);
    } catch (const CliError& e) {
        std::fprintf(stderr, "%s\n", errorLine(e.what(), e.file()).c_str());
        return kExitFailure;
    }

    const std::vector<std::string> folders = outputFolders(request.inputs, request.outputDir);
    installInterruptHandler(stderrIsTerminal());
    ProgressBoard board(stderrIsTerminal());
    std::atomic<std::size_t> next{0};
    std::atomic<int> failures{0};

    auto worker = [&]() {
        for (std::size_t i = next++; i < request.inputs.size(); i = next++) {
            const std::string& input = request.inputs[i];
            const std::string name = printable(fs::path(input).filename().string());
            const int slot = static_cast<int>(i);
            ProgressCallback progress = [&board, slot, &name](int done, int total) {
                board.update(slot, name, done, total);
            };
            try {
                const VolumeSummary summary = segmentFile(input, folders[i], settings, progress);
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

    const std::size_t threads = std::min<std::size_t>(static_cast<std::size_t>(request.jobs), request.inputs.size());
    std::vector<std::thread> pool;
    for (std::size_t t = 1; t < threads; ++t) pool.emplace_back(worker);
    worker();
    for (std::thread& thread : pool) thread.join();
    return failures == 0 ? 0 : kExitFailure;
}

}  // namespace

void addSegmentCommand(CLI::App& app, int& exitStatus) {
    auto request = std::make_shared<SegmentRequest>();
    CLI::App* cmd = app.add_subcommand("segment", "Segment OCT volumes; one output folder per volume");
    declareSegmentOptions(*cmd, *request);
    cmd->callback([request, &exitStatus]() { exitStatus = runSegment(*request); });
}

}  // namespace cli
}  // namespace velin
