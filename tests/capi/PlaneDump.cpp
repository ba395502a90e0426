// capi_plane_dump: segments fixed synthetic volumes through the C entry of a library loaded at run time, and
// either writes the planes to a file or compares them with a file written by another build. Running the
// Windows build under Wine with "write" and the Linux build with "compare" shows that velin.dll and
// libvelin.so give the same planes bit for bit.
//
//   capi_plane_dump write <file> [library]
//   capi_plane_dump compare <file> [library]
//
// Exit status: 0 on success, 1 when the planes differ or a run fails, 2 on a usage or file error.

#include "LoadedLibrary.h"

#include <support/SyntheticVolume.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct Scenario {
    velin_test::SyntheticVolumeOptions volume;  // B-scans, A-scans, depth, seed, speckle
    float gapScale, widthSelector, auxParameter;
    int optionFlag;
};

// Two mask-width choices, two smoothing levels and sizes that are not powers of two, so that the FFT sizes
// and the math library's rounding both get their chance to differ between the platforms.
const Scenario kScenarios[] = {{{16, 256, 512, 11, 0.15}, 100.0f, 5.0f, 0.0f, 0},
                               {{12, 200, 384, 23, 0.3}, 40.0f, 20.0f, 1.5f, 2}};

// Per scenario the status and then the four planes, each value a little-endian int16 in the file: a
// byte-exact record that the other platform compares as it is.
bool segmentAll(const velin_test::CEntry& entry, std::vector<std::int16_t>& record) {
    bool allSegmented = true;
    for (const Scenario& s : kScenarios) {
        const velin_test::SyntheticVolume v = velin_test::makeLayeredVolume(s.volume);
        std::vector<short> p[4];
        for (auto& plane : p) plane.assign(v.samples.size() / v.depth, -2);
        const int status =
            entry.segment(v.samples.data(), v.numBScans, v.numAScans, v.depth, p[0].data(), p[1].data(), p[2].data(),
                          p[3].data(), s.gapScale, s.widthSelector, s.auxParameter, s.optionFlag);
        if (status != VELIN_OK) {
            std::fprintf(stderr, "capi_plane_dump: %d x %d x %d: %s\n", v.numBScans, v.numAScans, v.depth,
                         entry.statusMessage(status));
            allSegmented = false;
        }
        record.push_back(static_cast<std::int16_t>(status));
        for (const auto& plane : p) record.insert(record.end(), plane.begin(), plane.end());
    }
    return allSegmented;
}

// Reports differences by scenario, plane and position, so that a mismatch points at the step to look at.
int compare(const std::vector<std::int16_t>& ours, const std::vector<std::int16_t>& theirs) {
    if (ours.size() != theirs.size()) {
        std::fprintf(stderr, "capi_plane_dump: %zu values here, %zu in the file\n", ours.size(), theirs.size());
        return 1;
    }
    int differing = 0, scenario = 0;
    std::size_t i = 0;
    for (const Scenario& s : kScenarios) {
        const int numAScans = s.volume.numAScans, planeSize = s.volume.numBScans * numAScans;
        ++scenario;
        for (int k = -1; k < 4 * planeSize; ++k, ++i) {  // k = -1 is the status
            if (ours[i] == theirs[i] || differing++ >= 10) continue;
            if (k < 0)
                std::fprintf(stderr, "scenario %d: status %d here, %d in the file\n", scenario, ours[i], theirs[i]);
            else
                std::fprintf(stderr, "scenario %d plane %d B-scan %d A-scan %d: %d here, %d in the file\n", scenario,
                             k / planeSize + 1, k % planeSize / numAScans, k % numAScans, ours[i], theirs[i]);
        }
    }
    if (differing != 0)
        std::fprintf(stderr, "capi_plane_dump: %d values differ\n", differing);
    else
        std::printf("capi_plane_dump: planes identical (%zu values)\n", ours.size());
    return differing != 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (argc < 3 || argc > 4 || (mode != "write" && mode != "compare")) {
        std::fprintf(stderr, "usage: capi_plane_dump write|compare <file> [library]\n");
        return 2;
    }
    std::string error;
    const velin_test::CEntry entry = velin_test::loadCEntry(argc == 4 ? argv[3] : VELIN_LIBRARY_PATH, error);
    if (!entry.complete()) {
        std::fprintf(stderr, "capi_plane_dump: %s\n", error.c_str());
        return 2;
    }
    std::vector<std::int16_t> record;
    const bool allSegmented = segmentAll(entry, record);
    if (mode == "write") {
        std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
        for (const std::int16_t v : record)
            out.put(static_cast<char>(v & 0xFF)).put(static_cast<char>((v >> 8) & 0xFF));
        if (!out) std::fprintf(stderr, "capi_plane_dump: cannot write %s\n", argv[2]);
        return !out ? 2 : allSegmented ? 0 : 1;
    }
    std::ifstream in(argv[2], std::ios::binary);
    const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::vector<std::int16_t> theirs(bytes.size() / 2);
    for (std::size_t i = 0; i < theirs.size(); ++i)
        theirs[i] = static_cast<std::int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    if (!in.is_open() || bytes.size() % 2 != 0) {
        std::fprintf(stderr, "capi_plane_dump: cannot read %s as a record of int16 values\n", argv[2]);
        return 2;
    }
    const int result = compare(record, theirs);
    return allSegmented ? result : 1;
}
