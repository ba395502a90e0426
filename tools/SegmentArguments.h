#pragma once

// The options of `velin segment` as a user types them, and their checked form. The program, the Python module
// and its cohort batches all go through makeSettings, so that an option means the same everywhere and a bad
// value gets the same message. Everything is checked here, before any file is read, so that a wrong value is
// one usage error rather than one failure per volume; the engine's values by the very rules of the checked
// entry (ArgumentCheck.h).

#include "VolumeJob.h"

#include <CLI/CLI.hpp>

#include <string>

namespace velin {
namespace cli {

/// Option values in the program's spelling; empty text means "not given".
struct SegmentArguments {
    std::string shape;  ///< "BxAxD"
    std::string layout = "BAD";
    std::string flip;
    std::string scale;    ///< "minmax", "clip255" or "fourthroot"
    std::string spacing;  ///< "DZ,DX,DY" in micrometres
    std::string grid = "auto";
    std::string axialFactor = "auto";
    std::string boundaries = "refined";  ///< "refined" or "legacy", any case
    std::string eye;                     ///< "OD" or "OS", any case
    float gapScale = 100.0f;
    float widthSelector = 20.0f;
    float auxParameter = 0.0f;
    int smoothing = 0;
    /// Threads of one volume (0 = one per processor core). The program shares its --threads among the
    /// volumes running at once and sets each volume's count itself.
    int threads = 0;
};

/// Declares every option of SegmentArguments on `command` (the program's `velin segment`), parsed into
/// `arguments`; the inputs, the output folder and -j are the program's own.
void declareSegmentOptions(CLI::App& command, SegmentArguments& arguments);

/// Checks every value and converts them: the shape, the axis letters, the scale rule, the spacing (each value
/// within the plausible range of ArgumentCheck.h), the grid, the axial factor, the boundaries, the eye and the
/// engine's values (gap scale, width selector, aux, smoothing, threads). Throws CLI::ValidationError naming the
/// option (e.g. "--spacing-um") and the value at fault.
SegmentSettings makeSettings(const SegmentArguments& arguments);

/// "DZ,DX,DY" in micrometres; throws CLI::ValidationError naming --spacing-um unless all three are numbers
/// within the plausible range.
Spacing parseSpacing(const std::string& text);

}  // namespace cli
}  // namespace velin
