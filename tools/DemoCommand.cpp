#include "CliError.h"
#include "Commands.h"
#include "Interrupt.h"
#include "PhantomFiles.h"
#include "Progress.h"
#include "VolumeJob.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>

namespace velin {
namespace cli {
namespace {

namespace fs = std::filesystem;

struct DemoRequest {
    std::string output = "velin-demo";
    std::string boundaries = "refined";
    PhantomSettings phantom;
};

struct BoundaryError {
    double meanAbsolute = NAN;
    std::size_t compared = 0;  ///< positions where both the truth and the result have the boundary
    std::size_t truthPositions = 0;
};

// Against the phantom's boundaries before rounding, in the same convention as the outputs (the tissue below a
// boundary at z begins at sample z), so that sub-sample boundaries are measured as finely as they are found.
BoundaryError compareBoundary(const std::vector<float>& found, const std::vector<float>& truth) {
    BoundaryError error;
    double sum = 0.0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        if (std::isnan(truth[i])) continue;
        ++error.truthPositions;
        if (std::isnan(found[i])) continue;
        sum += std::fabs(static_cast<double>(found[i]) - truth[i]);
        ++error.compared;
    }
    if (error.compared > 0) error.meanAbsolute = sum / static_cast<double>(error.compared);
    return error;
}

// In samples, the engine's own unit, and in micrometres, the unit of the thickness map and the report.
void printError(const char* boundary, const BoundaryError& error, double depthSpacingUm) {
    const double share = error.truthPositions ? 100.0 * error.compared / error.truthPositions : 0.0;
    std::printf("velin demo: mean absolute error of the %s: %.2f samples = %.1f um (found at %.1f%% of its "
                "positions)\n",
                boundary, error.meanAbsolute, error.meanAbsolute * depthSpacingUm, share);
}

// A fresh folder of its own under the system's temporary folder, removed when the demo ends.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device device;
        std::mt19937_64 random(device() ^ static_cast<std::uint64_t>(
                                              std::chrono::steady_clock::now().time_since_epoch().count()));
        for (int attempt = 0; attempt < 100 && path_.empty(); ++attempt) {
            const fs::path candidate = fs::temp_directory_path() / ("velin-demo-" + std::to_string(random() % 1000000000));
            std::error_code error;
            if (fs::create_directory(candidate, error)) path_ = candidate;
        }
        if (path_.empty()) throw CliError("cannot create a temporary folder", fs::temp_directory_path().string());
    }
    ~TemporaryFolder() {
        std::error_code error;
        fs::remove_all(path_, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

int runDemo(const DemoRequest& request) {
    installInterruptHandler(stderrIsTerminal());
    const io::Phantom phantom = buildPhantom(request.phantom);
    const io::Volume& v = phantom.volume;
    // The phantom goes through a file so that the demo reads it as a user's volume is read. The file is gone
    // before the long segmentation starts, and Ctrl-C meanwhile waits for its removal: nothing is left in the
    // temporary folder.
    io::Volume volume;
    std::string volumePath;
    {
        const OutputWriting writing;
        TemporaryFolder temporary;
        volumePath = (temporary.path() / "phantom.npy").string();
        writePhantom(volumePath, phantom);
        try {
            volume = io::readVolume(volumePath, {});
        } catch (const io::VolumeFileError& e) {
            throw CliError(e.what(), volumePath);
        }
    }
    std::printf("velin demo: phantom of %dx%dx%d (%s, %s) written to and read back from %s\n", v.numBScans,
                v.numAScans, v.depth, v.scanKind.c_str(), v.eye.c_str(), volumePath.c_str());
    std::fflush(stdout);

    // The .npy file carries samples only; the phantom's geometry and kind are passed on as a user would.
    SegmentSettings settings;
    settings.spacing = {v.spacingDepthUm, v.spacingAScanUm, v.spacingBScanUm};
    settings.spacingGiven = settings.spacing.depthKnown() || settings.spacing.lateralKnown();
    settings.grid = v.scanKind == "disc" ? GridChoice::Circle : GridChoice::Etdrs;
    settings.eye = v.eye;
    settings.engine.boundaries = request.boundaries == "legacy" ? Boundaries::Legacy : Boundaries::Refined;

    ProgressBoard board(stderrIsTerminal());
    const auto start = std::chrono::steady_clock::now();
    VolumeSummary summary;
    try {
        summary = segmentVolume(volume, volumePath, request.output, settings,
                              [&board](int done, int total) { board.update(0, "phantom.npy", done, total); });
    } catch (const CliError& e) {
        board.finish(0, errorLine(e.what(), e.file()), true);
        return kExitFailure;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    char timing[64];
    std::snprintf(timing, sizeof timing, "velin demo: segmented in %.1f s", seconds);
    board.finish(0, timing, false);

    std::error_code error;
    const fs::path where = fs::absolute(request.output, error);
    std::printf("velin demo: outputs in %s\n", (error ? fs::path(request.output) : where).string().c_str());
    for (const std::string& name : summary.files) std::printf("  %s\n", name.c_str());
    printError("top of the retina (ILM)", compareBoundary(summary.result.upperBoundary, phantom.topExact),
               v.spacingDepthUm);
    printError("lower nerve-fibre-layer boundary",
               compareBoundary(summary.result.lowerBoundary, phantom.nflBottomExact), v.spacingDepthUm);
    return 0;
}

}  // namespace

void addDemoCommand(CLI::App& app, int& exitStatus) {
    auto request = std::make_shared<DemoRequest>();
    CLI::App* cmd = app.add_subcommand(
        "demo", "Segment a built-in phantom and compare the boundaries found with its true ones");
    cmd->add_option("-o,--output", request->output, "Folder for the outputs")
        ->type_name("OUTDIR")
        ->default_str(request->output);
    cmd->add_option("--boundaries", request->boundaries, "refined or legacy, as for segment")
        ->transform(CLI::IsMember({"refined", "legacy"}, CLI::ignore_case))
        ->type_name("MODE")
        ->default_str("refined");
    addPhantomOptions(*cmd, request->phantom);
    cmd->callback([request, &exitStatus]() { exitStatus = runDemo(*request); });
}

}  // namespace cli
}  // namespace velin
