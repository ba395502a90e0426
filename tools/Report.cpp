#include "Report.h"

#include <Velin/velin_c.h>

#include <cmath>

namespace velin {
namespace cli {
namespace {

// JSON has no NaN; an unmeasured figure is null.
nlohmann::ordered_json number(double value) {
    return std::isfinite(value) ? nlohmann::ordered_json(value) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json optionalText(const std::string& text) {
    return text.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(text);
}

nlohmann::ordered_json spacingValue(double um) {
    return um > 0.0 ? nlohmann::ordered_json(um) : nlohmann::ordered_json(nullptr);
}

}  // namespace

nlohmann::ordered_json gridReport(const GridResult& grid, const std::string& note) {
    nlohmann::ordered_json json;
    json["type"] = gridName(grid.kind);
    if (grid.kind == GridKind::None) {
        json["note"] = note;
        return json;
    }
    json["centre"] = {{"b_scan", grid.centre.bScan}, {"a_scan", grid.centre.aScan}, {"rule", grid.centre.rule}};
    json["eye"] = grid.eye;
    json["eye_assumed"] = grid.eyeAssumed;
    if (grid.kind == GridKind::Etdrs)
        json["diameters_mm"] = {kEtdrsDiametersMm[0], kEtdrsDiametersMm[1], kEtdrsDiametersMm[2]};
    else
        json["diameter_mm"] = kCircleDiameterMm;
    json["mean"] = number(grid.overallMean);
    nlohmann::ordered_json sectors = nlohmann::ordered_json::object();
    for (const SectorThickness& sector : grid.sectors)
        sectors[sector.name] = {
            {"mean", number(sector.mean)}, {"samples", sector.samples}, {"samples_in_scan", sector.totalSamples}};
    json["sectors"] = sectors;
    return json;
}

namespace {

// Lower-case hexadecimal of every byte, e.g. "7363616eff".
std::string hexBytes(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char byte : bytes) {
        hex.push_back(digits[byte >> 4]);
        hex.push_back(digits[byte & 0x0F]);
    }
    return hex;
}

void putInputPath(nlohmann::ordered_json& report, const std::string& path) {
    using Json = nlohmann::ordered_json;
    const std::string quoted = Json(path).dump(-1, ' ', false, Json::error_handler_t::replace);
    const std::string readable = Json::parse(quoted).get<std::string>();
    report["input"] = readable;
    if (readable != path) report["input_hex"] = hexBytes(path);
}

}  // namespace

const char* boundariesName(Boundaries boundaries) { return boundaries == Boundaries::Refined ? "refined" : "legacy"; }

std::string reportText(const nlohmann::ordered_json& report) {
    // Every text in the report is valid UTF-8 by now; the handler only makes sure that writing the report
    // can never fail after the volume was segmented.
    return report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

const char* outcomeText(Outcome outcome) {
    switch (outcome) {
        case Outcome::Segmented:
            return "segmented";
        case Outcome::TooFewBScans:
            return "too few B-scans (at least 10 are needed)";
        case Outcome::NoBScanSegmented:
            return "no B-scan could be segmented";
    }
    return "unknown";
}

nlohmann::ordered_json buildReport(const ReportInput& input, const Options& options, const Result& result,
                                   const ThicknessMap& map, const ThicknessSummary& summary, const GridResult& grid,
                                   const std::string& gridNote, const std::vector<std::string>& files) {
    nlohmann::ordered_json report;
    putInputPath(report, input.path);
    report["velin_version"] = velin_version();
    report["shape"] = {{"b_scans", input.numBScans},
                       {"a_scans", input.numAScans},
                       {"depth", input.depth},
                       {"engine_depth", result.engineDepth}};
    report["eye"] = optionalText(input.eye);
    report["scan_kind"] = optionalText(input.scanKind);
    report["spacing_um"] = {{"depth", spacingValue(input.spacing.depthUm)},
                            {"a_scan", spacingValue(input.spacing.aScanUm)},
                            {"b_scan", spacingValue(input.spacing.bScanUm)},
                            {"source", input.spacingSource}};
    report["parameters"] = {{"gap_scale", options.gapScale},
                            {"width_selector", options.widthSelector},
                            {"aux", options.auxParameter},
                            {"smoothing", options.smoothing},
                            {"axial_factor", options.axialFactor},
                            {"axial_factor_source", input.axialFactorSource},
                            {"boundaries", boundariesName(options.boundaries)}};
    report["notes"] = input.notes;
    report["outcome"] = outcomeText(result.outcome);
    report["b_scans_segmented"] = result.bscansSegmented;
    report["positions"] = {{"total", summary.positions},
                           {"upper_found", summary.upperFound},
                           {"lower_found", summary.lowerFound},
                           {"both_found", summary.measured}};
    report["coverage"] = summary.coverage;
    report["thickness"] = {
        {"unit", map.unit()},         {"mean", number(summary.mean)}, {"min", number(summary.minimum)},
        {"p5", number(summary.p5)},   {"p25", number(summary.p25)},   {"median", number(summary.median)},
        {"p75", number(summary.p75)}, {"p95", number(summary.p95)},   {"max", number(summary.maximum)}};
    report["grid"] = gridReport(grid, gridNote);
    report["files"] = files;
    return report;
}

}  // namespace cli
}  // namespace velin
