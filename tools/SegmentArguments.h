#pragma once

// The options of `velin segment` as a user types them, and their checked form. The program, the Python module
// and its cohort batches all go through makeSettings, so that an option means the same everywhere and a bad
// value gets the same message.

#include "VolumeJob.h"

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
};

/// Checks every value and converts them. Throws CLI::ValidationError naming the option (e.g. "--spacing-um")
/// and the value at fault. Engine parameters the checked entry validates (the gap scale) are left to it.
SegmentSettings makeSettings(const SegmentArguments& arguments);

/// "DZ,DX,DY" to three positive finite spacings; throws CLI::ValidationError naming --spacing-um otherwise.
Spacing parseSpacing(const std::string& text);

}  // namespace cli
}  // namespace velin
