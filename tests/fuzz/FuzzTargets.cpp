#include "FuzzTargets.h"

#include <Velin/Io/SpacingCheck.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace velin_fuzz {
namespace {

// One function per reader, so that each reader is its own libFuzzer program with its own corpus. A new
// reader needs a line here, seeds in MakeSeeds.cpp and its name in CMakeLists.txt.
void readNpy(const std::uint8_t* data, std::size_t size) { readVolumeFile(".npy", data, size); }
void readVol(const std::uint8_t* data, std::size_t size) { readVolumeFile(".vol", data, size); }
void readImg(const std::uint8_t* data, std::size_t size) { readVolumeFile(".img", data, size); }
void readRaw(const std::uint8_t* data, std::size_t size) { readVolumeFile(".raw", data, size); }
void readTiff(const std::uint8_t* data, std::size_t size) { readVolumeFile(".tif", data, size); }
void readDicom(const std::uint8_t* data, std::size_t size) { readVolumeFile(".dcm", data, size); }

}  // namespace

const std::vector<NamedTarget>& targets() {
    static const std::vector<NamedTarget> all = {
        {"read_npy", readNpy},         {"read_vol", readVol},
        {"read_img", readImg},         {"read_raw", readRaw},
        {"read_tiff", readTiff},       {"read_dicom", readDicom},
        {"entry", segmentSmallVolume}, {"options", checkOptionsAndSpacing},
    };
    return all;
}

Target findTarget(const std::string& name) {
    for (const NamedTarget& target : targets())
        if (name == target.name) return target.run;
    return nullptr;
}

void requirePlausibleSpacing(double depthUm, double aScanUm, double bScanUm) {
    using velin::io::SpacingAxis;
    const std::pair<SpacingAxis, double> spacings[] = {
        {SpacingAxis::Depth, depthUm}, {SpacingAxis::AScan, aScanUm}, {SpacingAxis::BScan, bScanUm}};
    for (const auto& spacing : spacings)
        if (spacing.second != 0.0 && !velin::io::spacingProblem(spacing.first, spacing.second).empty())
            broken(std::string("an implausible ") + velin::io::spacingAxisName(spacing.first) + " got through");
}

void broken(const std::string& what) {
    std::fprintf(stderr, "velin fuzz: broken invariant: %s\n", what.c_str());
    std::abort();
}

}  // namespace velin_fuzz
