// The options of `velin segment` and the spacing of a file, through the program's checks, then the chosen
// spacing through everything that measures or draws with it. The input:
//   bytes 0-23: the file's spacing along depth, between A-scans and between B-scans (raw doubles, in um);
//   bytes 24-25: the scan, 1..16 B-scans and 1..32 A-scans; byte 26: its kind (none, macula, disc) and eye;
//   byte 27: where the synthetic boundaries have holes;
//   the rest: command-line words separated by 0 bytes, after "velin segment input.npy -o out".
// The picture's map must stay within its size limit, the grid's figures must be finite or NaN, and the
// spacing used must be plausible or unknown, whatever the input. The picture is not painted pixel by pixel
// (that would cost most of the time for nothing the spacing decides): its geometry is checked, and the grid,
// which is drawn wherever the spacing puts it, is drawn on a small canvas at that geometry, so that every
// circle, border and label lands far outside it as it does on real pictures of tiny spacings.

#include "FuzzInput.h"
#include "FuzzTargets.h"

#include "Grid.h"
#include "Pictures.h"
#include "SegmentArguments.h"
#include "ThicknessMap.h"
#include "VolumeJob.h"

#include <Velin/Io/SpacingCheck.h>

#include <cmath>
#include <limits>
#include <memory>

namespace velin_fuzz {
namespace {

using namespace velin::cli;

constexpr int kMaxMapSide = 4096;
constexpr int kCanvasSide = 96;
constexpr int kDepth = 48;

// The parser is reused, as declaring the options costs more than most inputs take to check; before every
// parse its state and the arguments it fills are reset, so each input is parsed as on a fresh start. CLI11's
// clear() keeps the list of options in the order they were parsed, which grows with every parse (15 million
// inputs made it ask for 4 GiB), so a new parser replaces it every few thousand inputs.
struct Parser {
    CLI::App app;
    std::vector<std::string> inputs;
    std::string outputDir;
    SegmentArguments arguments;
    SegmentSettings settings;
    Parser() {
        CLI::App* segment = app.add_subcommand("segment");
        segment->add_option("INPUT", inputs)->required();
        segment->add_option("-o", outputDir)->required();
        declareSegmentOptions(*segment, arguments);
    }
};

const SegmentSettings* parseCommandLine(FuzzInput& input) {
    constexpr int kParsesPerParser = 4096;
    static std::unique_ptr<Parser> fresh;
    static int parses = 0;
    if (parses++ % kParsesPerParser == 0) fresh = std::make_unique<Parser>();
    Parser& parser = *fresh;
    std::vector<std::string> words = {"velin", "segment", "input.npy", "-o", "out"};
    while (!input.atEnd() && words.size() < 40) words.push_back(input.text());
    std::vector<const char*> argv;
    for (const std::string& word : words) argv.push_back(word.c_str());
    parser.app.clear();
    parser.arguments = SegmentArguments();
    try {
        parser.app.parse(static_cast<int>(argv.size()), argv.data());
        parser.settings = makeSettings(parser.arguments);
    } catch (const CLI::ParseError&) {
        return nullptr;
    }
    return &parser.settings;
}

// Boundaries of a plausible retina with holes where the byte's bits say, over samples bright below the top.
velin::Result syntheticResult(int nb, int na, std::uint8_t holes, std::vector<std::uint8_t>& samples) {
    velin::Result r;
    r.numBScans = nb, r.numAScans = na, r.outcome = velin::Outcome::Segmented, r.bscansSegmented = nb;
    const std::size_t positions = static_cast<std::size_t>(nb) * na;
    r.upperDepth.assign(positions, -1), r.lowerDepth.assign(positions, -1);
    r.upperValue.assign(positions, 0), r.lowerWeight.assign(positions, 0);
    // The measurements read the boundaries as floats, as the legacy mode fills them from the planes.
    r.boundaries = velin::Boundaries::Legacy;
    r.upperBoundary.assign(positions, std::numeric_limits<float>::quiet_NaN());
    r.lowerBoundary.assign(positions, std::numeric_limits<float>::quiet_NaN());
    samples.assign(positions * kDepth, 20);
    for (std::size_t i = 0; i < positions; ++i) {
        if ((holes >> (i % 8)) & 1) continue;
        const int top = 5 + static_cast<int>(i % 7), bottom = top + 3 + static_cast<int>(i % 5);
        r.upperDepth[i] = static_cast<std::int16_t>(top), r.lowerDepth[i] = static_cast<std::int16_t>(bottom);
        r.upperBoundary[i] = static_cast<float>(top), r.lowerBoundary[i] = static_cast<float>(bottom);
        for (int d = top; d < kDepth; ++d) samples[i * kDepth + static_cast<std::size_t>(d)] = d == 30 ? 250 : 120;
    }
    return r;
}

}  // namespace

void checkOptionsAndSpacing(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    velin::io::Volume volume;
    volume.spacingDepthUm = input.value<double>();
    volume.spacingAScanUm = input.value<double>();
    volume.spacingBScanUm = input.value<double>();
    volume.numBScans = 1 + input.byte() % 16;
    volume.numAScans = 1 + input.byte() % 32;
    volume.depth = kDepth;
    const std::uint8_t kind = input.byte();
    volume.scanKind = kind % 3 == 1 ? "macula" : kind % 3 == 2 ? "disc" : "";
    volume.eye = (kind & 4) ? "OS" : (kind & 8) ? "OD" : "";
    const std::uint8_t holes = input.byte();
    const SegmentSettings* parsed = parseCommandLine(input);
    if (parsed == nullptr) return;
    const SegmentSettings& settings = *parsed;

    velin::io::dropImplausibleSpacing(volume);  // as readVolume does
    const VolumeInput given{{volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth},
                            "input.npy",
                            volume.eye,
                            volume.scanKind,
                            {volume.spacingDepthUm, volume.spacingAScanUm, volume.spacingBScanUm},
                            volume.notes};
    const SpacingChoice choice = chooseSpacing(given, settings);
    requirePlausibleSpacing(choice.spacing.depthUm, choice.spacing.aScanUm, choice.spacing.bScanUm);
    const AxialChoice axial = chooseAxialFactor(settings.axialFactor, choice.spacing.depthUm, volume.depth);
    if (axial.factor < 1 || axial.factor > velin::kMaxAxialFactor) broken("axial factor out of range");

    const velin::Result result = syntheticResult(volume.numBScans, volume.numAScans, holes, volume.samples);
    const velin::VolumeView view{volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth};
    const ThicknessMap map = computeThickness(result, choice.spacing);
    const ThicknessSummary summary = summariseThickness(result, map);
    if (std::isinf(summary.mean)) broken("an infinite mean thickness");
    GridResult grid;
    const GridKind kindOfGrid = chooseGrid(settings.grid, volume.scanKind);
    if (kindOfGrid != GridKind::None && choice.spacing.lateralKnown()) {
        const GridCentre centre =
            kindOfGrid == GridKind::Etdrs ? findMacularCentre(view, result, choice.spacing) : findDiscCentre(result);
        grid = evaluateGrid(kindOfGrid, centre, map, choice.spacing, settings.eye.empty() ? volume.eye : settings.eye);
        if (std::isinf(grid.overallMean)) broken("an infinite grid mean");
    }
    const MapGeometry geometry = thicknessMapGeometry(map, choice.spacing);
    if (geometry.width < 1 || geometry.height < 1 || geometry.width > kMaxMapSide || geometry.height > kMaxMapSide ||
        !(geometry.pxPerA > 0) || !(geometry.pxPerB > 0) || !std::isfinite(geometry.pxPerA) ||
        !std::isfinite(geometry.pxPerB))
        broken("a thickness map of " + std::to_string(geometry.width) + " x " + std::to_string(geometry.height));
    RgbImage canvas(kCanvasSide, kCanvasSide);
    drawGrid(canvas, grid, choice.spacing, map.unit(), 4, 4, geometry.pxPerA, geometry.pxPerB);
    if (choice.spacing.lateralKnown()) {
        const ScaleBar bar = scaleBar(geometry.pxPerA / choice.spacing.aScanUm, geometry.width);
        if (bar.pixels < 1 || bar.pixels > std::max(20, geometry.width)) broken("a scale bar of " + bar.label);
    }
}

}  // namespace velin_fuzz
