#include "SegmentArguments.h"

#include "AxialFactor.h"
#include "Commands.h"

#include <Velin/Io/FloatScaling.h>
#include <Velin/Io/SpacingCheck.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace velin {
namespace cli {
namespace {

// Axis letters are checked once for all volumes rather than by each reader, so that a typo is a usage error
// (status 2, one line) whatever the number of inputs. Same rule as the readers: B, A, D in any case.
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

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

GridChoice parseGrid(const std::string& text) {
    static const std::map<std::string, GridChoice> names = {{"auto", GridChoice::Auto},
                                                            {"etdrs", GridChoice::Etdrs},
                                                            {"circle", GridChoice::Circle},
                                                            {"none", GridChoice::None}};
    const auto found = names.find(lowerCase(text));
    if (found == names.end())
        throw CLI::ValidationError("--grid", "expected auto, etdrs, circle or none, got '" + text + "'");
    return found->second;
}

Boundaries parseBoundaries(const std::string& text) {
    const std::string mode = lowerCase(text);
    if (mode != "refined" && mode != "legacy")
        throw CLI::ValidationError("--boundaries", "expected refined or legacy, got '" + text + "'");
    return mode == "refined" ? Boundaries::Refined : Boundaries::Legacy;
}

std::string parseEye(const std::string& text) {
    std::string eye = text;
    std::transform(eye.begin(), eye.end(), eye.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (!eye.empty() && eye != "OD" && eye != "OS")
        throw CLI::ValidationError("--eye", "expected OD or OS, got '" + text + "'");
    return eye;
}

// The engine's options by the checked entry's own rules (ArgumentCheck.h), reported in the words of the
// option. The automatic axial factor is checked as 1: whatever it resolves to lies within 1..4.
void checkEngineOptions(const SegmentSettings& settings) {
    Options options = settings.engine;
    options.axialFactor = settings.axialFactor == kAxialFactorAuto ? 1 : settings.axialFactor;
    const ArgumentProblem problem = checkOptions(callArguments({}, options));
    if (!problem) return;
    static const std::map<std::string, std::string> optionOf = {
        {"gapScale", "--gap-scale"},  {"widthSelector", "--width-selector"}, {"auxParameter", "--aux"},
        {"smoothing", "--smoothing"}, {"axialFactor", "--axial-factor"},     {"threads", "--threads"}};
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

SegmentSettings makeSettings(const SegmentArguments& arguments) {
    SegmentSettings settings;
    if (!arguments.shape.empty())
        parseShape(arguments.shape, settings.read.numBScans, settings.read.numAScans, settings.read.depth);
    checkAxisLetters("--layout", arguments.layout, true);
    checkAxisLetters("--flip", arguments.flip, false);
    settings.read.layout = arguments.layout;
    settings.read.flip = arguments.flip;
    if (!arguments.scale.empty()) {
        try {
            settings.read.scale = io::parseScaleRule(arguments.scale);
        } catch (const std::invalid_argument& e) {
            throw CLI::ValidationError("--scale", e.what());
        }
    }
    if (!arguments.spacing.empty()) {
        settings.spacing = parseSpacing(arguments.spacing);
        settings.spacingGiven = true;
    }
    settings.grid = parseGrid(arguments.grid);
    settings.axialFactor = parseAxialFactor(arguments.axialFactor);
    settings.engine.boundaries = parseBoundaries(arguments.boundaries);
    settings.eye = parseEye(arguments.eye);
    settings.engine.gapScale = arguments.gapScale;
    settings.engine.widthSelector = arguments.widthSelector;
    settings.engine.auxParameter = arguments.auxParameter;
    settings.engine.smoothing = arguments.smoothing;
    settings.engine.threads = arguments.threads;
    checkEngineOptions(settings);
    return settings;
}

void declareSegmentOptions(CLI::App& command, SegmentArguments& arguments) {
    command.add_option("--shape", arguments.shape, "Sizes B-scans x A-scans x depth (needed for .raw)")
        ->type_name("BxAxD");
    command.add_option("--layout", arguments.layout, "Axis order of a .raw file, slowest first, as letters B, A, D")
        ->type_name("ORDER")
        ->default_str("BAD");
    command.add_option("--flip", arguments.flip, "Axes to reverse after reading, as letters among B, A, D")
        ->type_name("AXES");
    command
        .add_option("--scale", arguments.scale,
                    "Rule to 8 bits: minmax, clip255 or fourthroot (float .npy; 16-bit DICOM without a window)")
        ->type_name("RULE");
    command
        .add_option("--gap-scale", arguments.gapScale,
                    "Gaps in a boundary shorter than trunc(100/X + 0.5) + 5 B-scans are bridged")
        ->type_name("X")
        ->default_str("100");
    command
        .add_option("--width-selector", arguments.widthSelector,
                    "With the A-scan count, picks the width of the engine's low-pass filter")
        ->type_name("N")
        ->default_str("20");
    command.add_option("--aux", arguments.auxParameter, "Auxiliary engine parameter")->type_name("X")->default_str("0");
    command
        .add_option(
            "--smoothing", arguments.smoothing,
            "Smoothing of the boundary surfaces: 10*(N+1) diffusion steps; at most " + std::to_string(kMaxSmoothing))
        ->type_name("N")
        ->default_str("0");
    command
        .add_option("--spacing-um", arguments.spacing,
                    "Sample spacing in micrometres along depth, A-scans and B-scans (overrides the file's); "
                    "0.1 to 1000 along depth and A-scans, up to 10000 between B-scans")
        ->type_name("DZ,DX,DY");
    command
        .add_option("--grid", arguments.grid,
                    "Thickness grid: etdrs (macula), circle (optic disc), none, or auto (from the scan kind)")
        ->transform(CLI::IsMember({"auto", "etdrs", "circle", "none"}, CLI::ignore_case))
        ->type_name("GRID")
        ->default_str("auto");
    command
        .add_option("--axial-factor", arguments.axialFactor,
                    "Resample each A-scan to N times its samples for the engine, 1 to 8; auto: "
                    "round(depth spacing / 1.95 um) within 1..4, or without a spacing 2 up to depth 640, else 1")
        ->type_name("N|auto")
        ->default_str("auto");
    command
        .add_option("--boundaries", arguments.boundaries,
                    "refined: sub-sample boundaries found from the engine's on the input's samples; legacy: the "
                    "engine's own whole-sample depths")
        ->transform(CLI::IsMember({"refined", "legacy"}, CLI::ignore_case))
        ->type_name("MODE")
        ->default_str("refined");
    command.add_option("--eye", arguments.eye, "OD or OS, for nasal and temporal (overrides the file's)")
        ->type_name("EYE")
        ->transform(CLI::IsMember({"OD", "OS"}, CLI::ignore_case));
    command
        .add_option("--threads", arguments.threads,
                    "Threads of the whole run, shared among the volumes running at once; 1 segments each volume's "
                    "B-scans one at a time, 0 (the default) uses one per processor core; at most " +
                        std::to_string(kMaxThreads) + ". The outputs do not depend on it")
        ->type_name("N")
        ->default_str("0");
}

}  // namespace cli
}  // namespace velin
