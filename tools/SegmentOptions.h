#pragma once

// The options of `velin segment`: declared on the command line parser, then checked and turned into the
// settings every volume is segmented with. Everything is checked here, before any file is read, so that a
// wrong value is one usage error rather than one failure per volume.

#include "VolumeJob.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace velin {
namespace cli {

/// The command line of `velin segment` as parsed, before the checks of completeSettings.
struct SegmentRequest {
    std::vector<std::string> inputs;
    std::string outputDir;
    std::string shape;
    std::string layout = "BAD";
    std::string flip;
    std::string scale;
    std::string spacing;
    std::string grid = "auto";
    std::string axialFactor = "auto";
    int jobs = 1;
    SegmentSettings settings;
};

/// Declares the arguments and options of `velin segment` on `command`, parsed into `request`.
void declareSegmentOptions(CLI::App& command, SegmentRequest& request);

/// Checks what the parser does not and completes request.settings: the shape, the axis letters, the scale
/// rule, the spacing (each value within the plausible range of SpacingCheck.h), the grid, the axial factor
/// and the engine's tuning values by the rules of the checked entry (ArgumentCheck.h). Throws
/// CLI::ValidationError naming the option and the value.
void completeSettings(SegmentRequest& request);

/// "DZ,DX,DY" in micrometres; throws CLI::ValidationError naming --spacing-um unless all three are numbers
/// within the plausible range.
Spacing parseSpacing(const std::string& text);

}  // namespace cli
}  // namespace velin
