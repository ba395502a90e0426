#include "SegmentOptions.h"

#include "AxialFactor.h"
#include "Commands.h"

#include <Velin/Io/FloatScaling.h>
#include <Velin/Io/SpacingCheck.h>

#include <cctype>
#include <map>
#include <sstream>

namespace velin {
namespace cli {
namespace {

// Axis letters are checked once on the command line rather than once per volume, so that a typo is a usage
// error (status 2, one line) whatever the number of inputs. Same rule as the readers: B, A, D in any case.
void checkAxisLetters(const std::string& option, const std::string& text, bool allThree) {
    std::string seen;
    for (char c : text) {
        const char axis = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        if (std::string("BAD").find(axis) == std::string::npos || seen.find(axis) != std::string::npos)
            seen = "invalid";
        else
            seen += axis;
    }
    if (seen == "invalid" || (allThree && seen.size() != 3))
        throw CLI::ValidationError(option, "expected " +
                                               std::string(allThree ? "the letters B, A and D once each"
                                                                    : "distinct letters among B, A and D") +
                                               ", got '" + text + "'");
}

GridChoice parseGrid(const std::string& text) {
    static const std::map<std::string, GridChoice> names = {{"auto", GridChoice::Auto},
                                                            {"etdrs", GridChoice::Etdrs},
                                                            {"circle", GridChoice::Circle},
                                                            {"none", GridChoice::None}};
    return names.at(text);
}

// The engine's tuning values by the checked entry's own rules, reported in the words of the option.
void checkTuningValues(const SegmentSettings& settings) {
    Options options = settings.engine;
    options.axialFactor = settings.axialFactor == kAxialFactorAuto ? 1 : settings.axialFactor;
    const ArgumentProblem problem = checkOptions(callArguments({}, options));
    if (!problem) return;
    static const std::map<std::string, std::string> optionOf = {{"gapScale", "--gap-scale"},
                                                                {"widthSelector", "--width-selector"},
                                                                {"auxParameter", "--aux"},
                                                                {"smoothing", "--smoothing"},
                                                                {"axialFactor", "--axial-factor"}};
    const auto option = optionOf.find(problem.argument);
    throw CLI::ValidationError(option == optionOf.end() ? problem.argument : option->second, problem.complaint);
}

}  // namespace

Spacing parseSpacing(const std::string& text) {
    Spacing spacing;
    char comma1 = 0, comma2 = 0;
    std::istringstream in(text);
    in >> spacing.depthUm >> comma1 >> spacing.aScanUm >> comma2 >> spacing.bScanUm;
    if (!in || comma1 != ',' || comma2 != ',' || !(in >> std::ws).eof())
        throw CLI::ValidationError("--spacing-um",
                                   "expected three numbers dz,dx,dy in micrometres, got '" + text + "'");
    const std::pair<io::SpacingAxis, double> values[] = {{io::SpacingAxis::Depth, spacing.depthUm},
                                                         {io::SpacingAxis::AScan, spacing.aScanUm},
                                                         {io::SpacingAxis::BScan, spacing.bScanUm}};
    for (const auto& value : values) {
        const std::string problem = io::spacingProblem(value.first, value.second);
        if (!problem.empty())
            throw CLI::ValidationError("--spacing-um", std::string(io::spacingAxisName(value.first)) + ": " + problem);
    }
    return spacing;
}

void completeSettings(SegmentRequest& request) {
    SegmentSettings& settings = request.settings;
    if (!request.shape.empty())
        parseShape(request.shape, settings.read.numBScans, settings.read.numAScans, settings.read.depth);
    checkAxisLetters("--layout", request.layout, true);
    checkAxisLetters("--flip", request.flip, false);
    settings.read.layout = request.layout;
    settings.read.flip = request.flip;
    if (!request.scale.empty()) {
        try {
            settings.read.scale = io::parseScaleRule(request.scale);
        } catch (const std::invalid_argument& e) {
            throw CLI::ValidationError("--scale", e.what());
        }
    }
    if (!request.spacing.empty()) {
        settings.spacing = parseSpacing(request.spacing);
        settings.spacingGiven = true;
    }
    settings.grid = parseGrid(request.grid);
    settings.axialFactor = parseAxialFactor(request.axialFactor);
    checkTuningValues(settings);
}

void declareSegmentOptions(CLI::App& cmd, SegmentRequest& request) {
    cmd.add_option("INPUT", request.inputs,
                   "Volume files: .img (raw device cube), .raw (with --shape), .npy, .tif/.tiff, .vol")
        ->required();
    cmd.add_option("-o,--output", request.outputDir, "Folder that receives OUTDIR/<input stem>/")
        ->required()
        ->type_name("OUTDIR");
    cmd.add_option("--shape", request.shape, "Sizes B-scans x A-scans x depth (needed for .raw)")->type_name("BxAxD");
    cmd.add_option("--layout", request.layout, "Axis order of a .raw file, slowest first, as letters B, A, D")
        ->type_name("ORDER")
        ->default_str("BAD");
    cmd.add_option("--flip", request.flip, "Axes to reverse after reading, as letters among B, A, D")
        ->type_name("AXES");
    cmd.add_option("--scale", request.scale,
                   "Rule from float samples to 8 bits: minmax, clip255 or fourthroot (needed for float .npy)")
        ->type_name("RULE");
    cmd.add_option("--gap-scale", request.settings.engine.gapScale,
                   "Gaps in a boundary shorter than trunc(100/X + 0.5) + 5 B-scans are bridged; not 0")
        ->type_name("X")
        ->default_str("100");
    cmd.add_option("--width-selector", request.settings.engine.widthSelector,
                   "With the A-scan count, picks the width of the engine's low-pass filter")
        ->type_name("N")
        ->default_str("20");
    cmd.add_option("--aux", request.settings.engine.auxParameter, "Auxiliary engine parameter")
        ->type_name("X")
        ->default_str("0");
    cmd.add_option(
           "--smoothing", request.settings.engine.smoothing,
           "Smoothing of the boundary surfaces: 10*(N+1) diffusion steps; at most " + std::to_string(kMaxSmoothing))
        ->type_name("N")
        ->default_str("0");
    cmd.add_option("--spacing-um", request.spacing,
                   "Sample spacing in micrometres along depth, A-scans and B-scans (overrides the file's); "
                   "0.1 to 1000 along depth and A-scans, up to 10000 between B-scans")
        ->type_name("DZ,DX,DY");
    cmd.add_option("--grid", request.grid,
                   "Thickness grid: etdrs (macula), circle (optic disc), none, or auto (from the scan kind)")
        ->transform(CLI::IsMember({"auto", "etdrs", "circle", "none"}, CLI::ignore_case))
        ->type_name("GRID")
        ->default_str("auto");
    cmd.add_option("--axial-factor", request.axialFactor,
                   "Resample each A-scan to N times its samples for the engine, 1 to 8; auto: "
                   "round(depth spacing / 1.95 um) within 1..4, or without a spacing 2 up to depth 640, else 1")
        ->type_name("N|auto")
        ->default_str("auto");
    cmd.add_option("--eye", request.settings.eye, "OD or OS, for nasal and temporal (overrides the file's)")
        ->type_name("EYE")
        ->transform(CLI::IsMember({"OD", "OS"}, CLI::ignore_case));
    cmd.add_option("-j,--jobs", request.jobs, "Segment N volumes at once")
        ->check(CLI::Range(1, 256))
        ->type_name("N")
        ->default_str("1");
}

}  // namespace cli
}  // namespace velin
