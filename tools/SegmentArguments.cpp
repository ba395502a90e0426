#include "SegmentArguments.h"

#include "AxialFactor.h"
#include "Commands.h"

#include <Velin/Io/FloatScaling.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <sstream>
#include <stdexcept>

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

}  // namespace

Spacing parseSpacing(const std::string& text) {
    Spacing spacing;
    char comma1 = 0, comma2 = 0;
    std::istringstream in(text);
    in >> spacing.depthUm >> comma1 >> spacing.aScanUm >> comma2 >> spacing.bScanUm;
    const bool positive = spacing.depthUm > 0 && spacing.aScanUm > 0 && spacing.bScanUm > 0;
    if (!in || comma1 != ',' || comma2 != ',' || !(in >> std::ws).eof() || !positive ||
        !std::isfinite(spacing.depthUm) || !std::isfinite(spacing.aScanUm) || !std::isfinite(spacing.bScanUm))
        throw CLI::ValidationError("--spacing-um", "expected three positive numbers dz,dx,dy, got '" + text + "'");
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
    return settings;
}

}  // namespace cli
}  // namespace velin
