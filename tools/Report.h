#pragma once

// report.json: what was read, how it was segmented and what was measured.

#include "Grid.h"
#include "ThicknessMap.h"

#include <Velin/Api/Segment.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace velin {
namespace cli {

struct ReportInput {
    std::string path;  ///< as given, in any encoding
    int numBScans = 0, numAScans = 0, depth = 0;
    std::string eye;       ///< "OD", "OS" or empty
    std::string scanKind;  ///< "macula", "disc" or empty
    Spacing spacing;
    std::string spacingSource;       ///< "command line", "file" or "unknown"
    std::string axialFactorSource;   ///< what chose Options::axialFactor: "command line", "depth spacing", "depth"
    std::vector<std::string> notes;  ///< what was not taken from the file as it stands (io::Volume::notes)
};

/// Unknown or unmeasurable figures are null. JSON text is UTF-8 and a file name need not be: a path that is
/// not valid UTF-8 is given as "input" with U+FFFD for each byte that does not fit, and byte for byte as
/// "input_hex", so that building the report can never fail on a name. `grid` is ignored when its kind is None;
/// `gridNote` then says why no grid was evaluated.
nlohmann::ordered_json buildReport(const ReportInput& input, const Options& options, const Result& result,
                                   const ThicknessMap& map, const ThicknessSummary& summary, const GridResult& grid,
                                   const std::string& gridNote, const std::vector<std::string>& files);

/// The report's "grid" object: centre, eye, sector means; for kind None only the note saying why.
nlohmann::ordered_json gridReport(const GridResult& grid, const std::string& note);

const char* outcomeText(Outcome outcome);

/// The report as the text written to report.json.
std::string reportText(const nlohmann::ordered_json& report);

/// "refined" or "legacy", as on the command line and in the report.
const char* boundariesName(Boundaries boundaries);

}  // namespace cli
}  // namespace velin
