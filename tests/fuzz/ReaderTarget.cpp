// A volume file through the reader the program uses. The input's first five bytes are the read options:
//   byte 0: bits 0-1 the scale rule (none, minmax, clip255, fourthroot), bits 2-4 the axes to flip (B, A, D),
//           bits 5-7 the .raw layout (one of the six axis orders);
//   bytes 1-3: the shape B, A, D given with --shape (0 = not given);
//   byte 4: the name of an .img file: plain, a macular cube or an optic-disc cube named with A x B of bytes
//           2 and 1, or such a name with A x B of 0 (which no cube has).
// The rest is the file, written to a scratch folder before every read.

#include "FuzzInput.h"
#include "FuzzTargets.h"

#include <Velin/Io/VolumeFile.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <new>

#ifdef _WIN32
#include <process.h>
#define VELIN_PID _getpid()
#else
#include <unistd.h>
#define VELIN_PID getpid()
#endif

namespace velin_fuzz {
namespace {

namespace fs = std::filesystem;

const fs::path& scratchFolder() {
    static const fs::path folder = [] {
        const fs::path path = fs::temp_directory_path() / ("velin-fuzz-" + std::to_string(VELIN_PID));
        fs::create_directories(path);
        return path;
    }();
    return folder;
}

std::string fileName(const std::string& extension, std::uint8_t nameChoice, int numBScans, int numAScans) {
    if (extension != ".img") return "input" + extension;
    const std::string size = std::to_string(numAScans) + "x" + std::to_string(numBScans);
    switch (nameChoice % 4) {
        case 1:
            return "P_Macular Cube " + size + "_1-1-2000_1-1-1_OD_sn1_cube_z.img";
        case 2:
            return "P_Optic Disc Cube " + size + "_1-1-2000_1-1-1_OS_sn1_cube_z.img";
        case 3:
            return "P_Macular Cube 0x0_1-1-2000_1-1-1_OD_sn1_cube_z.img";
        default:
            return "input.img";
    }
}

void writeFile(const fs::path& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(path.string().c_str(), "wb");
    if (file == nullptr) broken("cannot write the scratch file " + path.string());
    if (size > 0 && std::fwrite(data, 1, size, file) != size) broken("cannot write the scratch file");
    std::fclose(file);
}

// What every volume a reader returns must satisfy.
void checkVolume(const velin::io::Volume& v) {
    if (v.numBScans <= 0 || v.numAScans <= 0 || v.depth <= 0) broken("a read volume has a size that is not positive");
    const double samples = static_cast<double>(v.numBScans) * v.numAScans * v.depth;
    if (samples > 2147483647.0 || v.samples.size() != static_cast<std::size_t>(samples))
        broken("a read volume's samples do not match its shape");
    requirePlausibleSpacing(v.spacingDepthUm, v.spacingAScanUm, v.spacingBScanUm);
    if (!v.eye.empty() && v.eye != "OD" && v.eye != "OS") broken("a read volume names an unknown eye");
}

}  // namespace

void readVolumeFile(const std::string& extension, const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::uint8_t flags = input.byte();
    velin::io::ReadOptions options;
    options.scale = static_cast<velin::io::ScaleRule>(flags & 3);
    for (int axis = 0; axis < 3; ++axis)
        if (flags & (4 << axis)) options.flip.push_back("BAD"[axis]);
    static const char* const layouts[6] = {"BAD", "BDA", "ABD", "ADB", "DBA", "DAB"};
    options.layout = layouts[(flags >> 5) % 6];
    options.numBScans = input.byte();
    options.numAScans = input.byte();
    options.depth = input.byte();
    const std::uint8_t nameChoice = input.byte();

    const fs::path path = scratchFolder() / fileName(extension, nameChoice, options.numBScans, options.numAScans);
    writeFile(path, input.rest(), input.restSize());
    try {
        checkVolume(velin::io::readVolume(path.string(), options));
    } catch (const velin::io::VolumeFileError& e) {
        // Refusals must name the file, so that a user knows which of many inputs is at fault.
        if (std::string(e.what()).rfind(path.string(), 0) != 0) broken(std::string("unnamed refusal: ") + e.what());
    }
}

}  // namespace velin_fuzz
