#include "CliError.h"
#include "Commands.h"
#include "PhantomFiles.h"

#include <Velin/Io/Phantom.h>

#include <cstdio>
#include <memory>

namespace velin {
namespace cli {
namespace {

struct PhantomRequest {
    std::string output;
    PhantomSettings settings;
};

int runPhantom(const PhantomRequest& request) {
    const io::Phantom phantom = buildPhantom(request.settings);
    const PhantomPaths paths = writePhantom(request.output, phantom);
    const io::Volume& v = phantom.volume;
    std::printf("velin: phantom %dx%dx%d (%s, %s) -> %s\n", v.numBScans, v.numAScans, v.depth,
                v.scanKind.c_str(), v.eye.c_str(), paths.volume.c_str());
    std::printf("velin: true boundaries -> %s, %s\n", paths.truthTop.c_str(), paths.truthBottom.c_str());
    if (v.spacingDepthUm > 0 && v.spacingAScanUm > 0 && v.spacingBScanUm > 0)
        std::printf("velin: segment it with --spacing-um %.10g,%.10g,%.10g --grid %s --eye %s\n", v.spacingDepthUm,
                    v.spacingAScanUm, v.spacingBScanUm, v.scanKind == "disc" ? "circle" : "etdrs", v.eye.c_str());
    return 0;
}

}  // namespace

void addPhantomOptions(CLI::App& cmd, PhantomSettings& settings) {
    cmd.add_option("--shape", settings.shape, "Sizes B-scans x A-scans x depth")
        ->type_name("BxAxD")
        ->default_str(settings.shape);
    cmd.add_option("--seed", settings.seed, "Seed of the speckle and of the layer shapes")
        ->type_name("N")
        ->default_str("1");
    cmd.add_option("--noise", settings.noise, "Speckle strength: 0 clean, 1 a typical device, 2 noisy")
        ->type_name("LEVEL")
        ->check(CLI::Range(0.0, 10.0))
        ->default_str("1");
    cmd.add_option("--kind", settings.kind, "macula (a foveal pit) or disc (an optic-disc cup)")
        ->type_name("KIND")
        ->transform(CLI::IsMember({"macula", "disc"}, CLI::ignore_case))
        ->default_str(settings.kind);
    cmd.add_option("--eye", settings.eye, "OD or OS: which side is nasal")
        ->type_name("EYE")
        ->transform(CLI::IsMember({"OD", "OS"}, CLI::ignore_case))
        ->default_str(settings.eye);
}

void addPhantomCommand(CLI::App& app, int& exitStatus) {
    auto request = std::make_shared<PhantomRequest>();
    CLI::App* cmd = app.add_subcommand(
        "phantom", "Write a synthetic retina volume as .npy, with its true boundaries beside it");
    cmd->add_option("-o,--output", request->output,
                    "The volume file (.npy); FILE_truth_ilm.npy and FILE_truth_rnfl.npy hold the truth")
        ->required()
        ->type_name("FILE");
    addPhantomOptions(*cmd, request->settings);
    cmd->callback([request, &exitStatus]() { exitStatus = runPhantom(*request); });
}

}  // namespace cli
}  // namespace velin
