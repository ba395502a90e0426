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
    std::string path;
    int numBScans = 0, numAScans = 0, depth = 0;
    std::string eye;       ///< "OD", "OS" or empty
    std::string scanKind;  ///< "macula", "disc" or empty
    Spacing spacing;
    std::string spacingSource;  ///< "command line", "file" or "unknown"
    std::string axialFactorSource;  ///< what chose Options::axialFactor: "command line", "depth spacing", "depth"
};

/// Unknown or unmeasurable figures are null. `grid` is ignored when its kind is None; `gridNote` then says why
/// no grid was evaluated.
nlohmann::ordered_json buildReport(const ReportInput& input, const Options& options, const Result& result,
                           const ThicknessMap& map, const ThicknessSummary& summary, const GridResult& grid,
                           const std::string& gridNote, const std::vector<std::string>& files);

/// The report's "grid" object: centre, eye, sector means; for kind None only the note saying why.
nlohmann::ordered_json gridReport(const GridResult& grid, const std::string& note);

const char* outcomeText(Outcome outcome);

/// "refined" or "legacy", as on the command line and in the report.
const char* boundariesName(Boundaries boundaries);

}  // namespace cli
}  // namespace velin
