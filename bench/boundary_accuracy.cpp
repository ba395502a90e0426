// Accuracy of the legacy and the refined boundaries against known ones, printed as a Markdown table:
// - phantoms (docs/phantom.md) of both kinds, 1024 and 496 samples deep, against their exact boundaries;
// - the real sample onh.vol (one circle scan around an optic disc) against the device's own lines stored in
//   the file, the B-scan repeated to make the volume the engine needs.
// Errors are in samples of the input: mean absolute error, mean signed error (positive = too deep), the 95th
// percentile of the absolute error, and the share of the known positions where a boundary was found.
//
// Usage: boundary_accuracy [--quick]   (--quick: 32 B-scans per phantom instead of 128)

#include "AxialFactor.h"

#include <Velin/Api/Segment.h>
#include <Velin/Io/Phantom.h>
#include <Velin/Io/VolumeFile.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Case {
    std::string name;
    velin::io::Volume volume;
    std::vector<float> truthUpper, truthLower;
};

struct Errors {
    double meanAbsolute = NAN, bias = NAN, p95 = NAN, found = 0.0;
};

Errors compare(const std::vector<float>& found, const std::vector<float>& truth) {
    std::vector<double> absolute;
    double sum = 0.0;
    std::size_t known = 0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        if (std::isnan(truth[i])) continue;
        ++known;
        if (std::isnan(found[i])) continue;
        const double error = static_cast<double>(found[i]) - truth[i];
        sum += error;
        absolute.push_back(std::fabs(error));
    }
    Errors e;
    if (absolute.empty()) return e;
    std::sort(absolute.begin(), absolute.end());
    double total = 0.0;
    for (double a : absolute) total += a;
    e.meanAbsolute = total / absolute.size();
    e.bias = sum / absolute.size();
    e.p95 = absolute[static_cast<std::size_t>(0.95 * (absolute.size() - 1))];
    e.found = static_cast<double>(absolute.size()) / known;
    return e;
}

std::vector<float> asFloats(const std::vector<std::int16_t>& plane) {
    std::vector<float> out(plane.size(), NAN);
    for (std::size_t i = 0; i < plane.size(); ++i)
        if (plane[i] >= 0) out[i] = plane[i];
    return out;
}

Case phantomCase(const char* kind, int numBScans, int depth, double noise) {
    velin::io::PhantomOptions options;
    options.numBScans = numBScans;
    options.depth = depth;
    options.scanKind = kind;
    options.noise = noise;
    velin::io::Phantom phantom = velin::io::makePhantom(options);
    char name[96];
    std::snprintf(name, sizeof name, "phantom %s %dx%dx%d, noise %g", kind, numBScans, options.numAScans, depth, noise);
    return {name, std::move(phantom.volume), std::move(phantom.topExact), std::move(phantom.nflBottomExact)};
}

// The engine needs at least 10 B-scans; the one circle scan is repeated, and so are the device's lines.
bool sampleCase(Case& c) {
    const std::string path = std::string(VELIN_SHARED_DATA_DIR) + "/vol/onh.vol";
    velin::io::Volume one;
    try {
        one = velin::io::readVolume(path, {});
    } catch (const std::exception& e) {
        std::fprintf(stderr, "boundary_accuracy: sample skipped: %s\n", e.what());
        return false;
    }
    if (one.deviceIlm.empty()) return false;
    constexpr int kRepeats = 10;
    c.name = "onh.vol (circle scan, 768x496, repeated 10 times) vs the device's lines";
    c.volume = one;
    c.volume.numBScans = kRepeats * one.numBScans;
    c.volume.samples.clear();
    for (int r = 0; r < kRepeats; ++r) {
        c.volume.samples.insert(c.volume.samples.end(), one.samples.begin(), one.samples.end());
        c.truthUpper.insert(c.truthUpper.end(), one.deviceIlm.begin(), one.deviceIlm.end());
        c.truthLower.insert(c.truthLower.end(), one.deviceRnfl.begin(), one.deviceRnfl.end());
    }
    return true;
}

void printRow(const char* boundary, const char* mode, const Errors& e) {
    std::printf("| | %s | %s | %.2f | %+.2f | %.2f | %.1f%% |\n", boundary, mode, e.meanAbsolute, e.bias, e.p95,
                100.0 * e.found);
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    const int numBScans = quick ? 32 : 128;
    std::vector<Case> cases;
    for (const char* kind : {"macula", "disc"})
        for (int depth : {1024, 496}) cases.push_back(phantomCase(kind, numBScans, depth, 1.0));
    for (const char* kind : {"macula", "disc"}) cases.push_back(phantomCase(kind, numBScans, 496, 2.0));
    Case sample;
    if (sampleCase(sample)) cases.push_back(std::move(sample));

    std::printf("| case | boundary | mode | MAE | bias | p95 | found |\n|---|---|---|---|---|---|---|\n");
    for (const Case& c : cases) {
        std::fprintf(stderr, "boundary_accuracy: %s\n", c.name.c_str());
        const velin::io::Volume& v = c.volume;
        velin::Options options;
        options.depthSpacingUm = v.spacingDepthUm;
        options.aScanSpacingUm = v.spacingAScanUm;
        options.bScanSpacingUm = v.spacingBScanUm;
        options.axialFactor =
            velin::cli::chooseAxialFactor(velin::cli::kAxialFactorAuto, v.spacingDepthUm, v.depth).factor;
        options.boundaries = velin::Boundaries::Refined;
        const velin::Result r =
            velin::segment(velin::VolumeView{v.samples.data(), v.numBScans, v.numAScans, v.depth}, options);
        std::printf("| %s | | | | | | |\n", c.name.c_str());
        printRow("ILM", "legacy", compare(asFloats(r.upperDepth), c.truthUpper));
        printRow("ILM", "refined", compare(r.upperBoundary, c.truthUpper));
        printRow("RNFL", "legacy", compare(asFloats(r.lowerDepth), c.truthLower));
        printRow("RNFL", "refined", compare(r.lowerBoundary, c.truthLower));
        std::fflush(stdout);
    }
    return 0;
}
