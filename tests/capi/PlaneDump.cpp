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
    velin_test::SyntheticVolumeOptions volume;
    float gapScale;
    float widthSelector;
    float auxParameter;
    int optionFlag;
};

Scenario makeScenario(int numBScans, int numAScans, int depth, std::uint32_t seed, double speckle, float gapScale,
                      float widthSelector, float auxParameter, int optionFlag) {
    Scenario s;
    s.volume.numBScans = numBScans;
    s.volume.numAScans = numAScans;
    s.volume.depth = depth;
    s.volume.seed = seed;
    s.volume.speckle = speckle;
    s.gapScale = gapScale;
    s.widthSelector = widthSelector;
    s.auxParameter = auxParameter;
    s.optionFlag = optionFlag;
    return s;
}

// Two mask-width choices, two smoothing levels and sizes that are not powers of two, so that the FFT sizes
// and the math library's rounding both get their chance to differ between the platforms.
std::vector<Scenario> scenarios() {
    return {makeScenario(16, 256, 512, 11, 0.15, 100.0f, 5.0f, 0.0f, 0),
            makeScenario(12, 200, 384, 23, 0.3, 40.0f, 20.0f, 1.5f, 2)};
}

// The file holds, per scenario, the status as a little-endian int32 and then the four planes as
// little-endian int16 values: a byte-exact record that the other platform compares as it is.
void appendInt(std::vector<unsigned char>& out, std::int64_t value, int bytes) {
    const auto bits = static_cast<std::uint64_t>(value);
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<unsigned char>((bits >> (8 * i)) & 0xFFu));
    }
}

bool segmentAll(velin_test::CEntry& entry, std::vector<unsigned char>& record) {
    bool allSegmented = true;
    for (const Scenario& s : scenarios()) {
        const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume(s.volume);
        const std::size_t size = static_cast<std::size_t>(volume.numBScans) * volume.numAScans;
        std::vector<short> planes[4];
        for (auto& plane : planes) {
            plane.assign(size, -2);
        }
        const int status = entry.segment(volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth,
                                         planes[0].data(), planes[1].data(), planes[2].data(), planes[3].data(),
                                         s.gapScale, s.widthSelector, s.auxParameter, s.optionFlag);
        if (status != VELIN_OK) {
            std::fprintf(stderr, "capi_plane_dump: %d x %d x %d: %s\n", volume.numBScans, volume.numAScans,
                         volume.depth, entry.statusMessage(status));
            allSegmented = false;
        }
        appendInt(record, status, 4);
        for (const auto& plane : planes) {
            for (short v : plane) {
                appendInt(record, v, 2);
            }
        }
    }
    return allSegmented;
}

bool readFile(const std::string& path, std::vector<unsigned char>& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

std::int32_t readInt(const std::vector<unsigned char>& in, std::size_t offset, int bytes) {
    std::uint32_t bits = 0;
    for (int i = 0; i < bytes; ++i) bits |= static_cast<std::uint32_t>(in[offset + i]) << (8 * i);
    return bytes == 2 ? static_cast<std::int16_t>(bits) : static_cast<std::int32_t>(bits);
}

// Reports differences by scenario, plane and position, so that a mismatch points at the step to look at.
int compare(const std::vector<unsigned char>& ours, const std::vector<unsigned char>& theirs) {
    if (ours.size() != theirs.size()) {
        std::fprintf(stderr, "capi_plane_dump: %zu bytes here, %zu in the file\n", ours.size(), theirs.size());
        return 1;
    }
    constexpr int kShown = 10;
    int differing = 0;
    std::size_t offset = 0;
    int scenario = 0;
    for (const Scenario& s : scenarios()) {
        ++scenario;
        const int here = readInt(ours, offset, 4), there = readInt(theirs, offset, 4);
        if (here != there && differing++ < kShown) {
            std::fprintf(stderr, "scenario %d: status %d here, %d in the file\n", scenario, here, there);
        }
        offset += 4;
        for (int plane = 1; plane <= 4; ++plane) {
            for (int b = 0; b < s.volume.numBScans; ++b) {
                for (int a = 0; a < s.volume.numAScans; ++a, offset += 2) {
                    const int v = readInt(ours, offset, 2), w = readInt(theirs, offset, 2);
                    if (v != w && differing++ < kShown) {
                        std::fprintf(stderr, "scenario %d plane %d B-scan %d A-scan %d: %d here, %d in the file\n",
                                     scenario, plane, b, a, v, w);
                    }
                }
            }
        }
    }
    if (differing != 0) {
        std::fprintf(stderr, "capi_plane_dump: %d values differ\n", differing);
        return 1;
    }
    std::printf("capi_plane_dump: planes identical (%zu bytes)\n", ours.size());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4 || (std::string(argv[1]) != "write" && std::string(argv[1]) != "compare")) {
        std::fprintf(stderr, "usage: capi_plane_dump write|compare <file> [library]\n");
        return 2;
    }
    const std::string mode = argv[1];
    const std::string file = argv[2];
    velin_test::LoadedLibrary library(argc == 4 ? argv[3] : VELIN_LIBRARY_PATH);
    velin_test::CEntry entry = velin_test::resolveCEntry(library);
    if (!library.loaded() || !entry.complete()) {
        std::fprintf(stderr, "capi_plane_dump: %s\n", library.error().c_str());
        return 2;
    }

    std::vector<unsigned char> record;
    const bool allSegmented = segmentAll(entry, record);
    if (mode == "write") {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(record.data()), static_cast<std::streamsize>(record.size()));
        if (!out) {
            std::fprintf(stderr, "capi_plane_dump: cannot write %s\n", file.c_str());
            return 2;
        }
        return allSegmented ? 0 : 1;
    }
    std::vector<unsigned char> theirs;
    if (!readFile(file, theirs)) {
        std::fprintf(stderr, "capi_plane_dump: cannot read %s\n", file.c_str());
        return 2;
    }
    const int result = compare(record, theirs);
    return allSegmented ? result : 1;
}
