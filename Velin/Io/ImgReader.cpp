#include <Velin/Io/ReaderSupport.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <regex>

namespace velin {
namespace io {
namespace detail {

namespace {

// These cubes span 6 mm x 6 mm laterally and 2 mm in depth; spacing is extent / count.
constexpr double kCubeLateralUm = 6000.0;
constexpr double kCubeDepthUm = 2000.0;

struct ImgName {
    int numAScans = 0;
    int numBScans = 0;
    std::string eye;
    std::string scanKind;
};

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// "<patient>_<Protocol> <A>x<B>_<date>_<time>_<OD|OS>_sn<serial>_cube_z.img": the size is the last
// "<digits>x<digits>" word bounded by a blank or an underscore, the eye a whole underscore token.
ImgName parseName(const std::string& path) {
    const std::string name = std::filesystem::u8path(path).filename().u8string();
    ImgName parsed;
    static const std::regex sizePattern("(?:^|[ _])([0-9]+)x([0-9]+)(?=[ _.]|$)");
    for (auto it = std::sregex_iterator(name.begin(), name.end(), sizePattern); it != std::sregex_iterator(); ++it) {
        const std::string a = (*it)[1].str(), b = (*it)[2].str();
        if (a.size() > 6 || b.size() > 6) continue;
        parsed.numAScans = std::stoi(a);
        parsed.numBScans = std::stoi(b);
    }
    static const std::regex eyePattern("(?:^|_)(OD|OS)(?=_|\\.)");
    std::smatch eye;
    if (std::regex_search(name, eye, eyePattern)) parsed.eye = eye[1].str();
    const std::string lowered = lower(name);
    if (lowered.find("macular") != std::string::npos) {
        parsed.scanKind = "macula";
    } else if (lowered.find("optic disc") != std::string::npos || lowered.find("optic_disc") != std::string::npos) {
        parsed.scanKind = "disc";
    }
    return parsed;
}

}  // namespace

Volume readImg(const std::string& path, const ReadOptions& options) {
    ImgName name = parseName(path);
    if (name.numAScans == 0 || name.numBScans == 0) {
        if (options.numAScans <= 0 || options.numBScans <= 0) {
            fail(path, "expected the cube size as 'AxB' (A-scans x B-scans, e.g. 512x128) in the file name or a "
                       "shape (--shape BxAxD), found neither");
        }
        name.numAScans = options.numAScans;
        name.numBScans = options.numBScans;
    }
    const std::uint64_t perDepth = static_cast<std::uint64_t>(name.numAScans) * static_cast<std::uint64_t>(name.numBScans);
    const std::uint64_t size = fileSize(path);
    const std::string sizeName = std::to_string(name.numAScans) + "x" + std::to_string(name.numBScans);
    if (size == 0 || size % perDepth != 0) {
        fail(path, "file size " + std::to_string(size) + " is not a multiple of " + sizeName + " = " +
                       std::to_string(perDepth) + " (A-scans x B-scans), so the depth is not whole");
    }
    const std::uint64_t depth = size / perDepth;
    checkShape(path, static_cast<std::uint64_t>(name.numBScans), static_cast<std::uint64_t>(name.numAScans), depth);
    const std::vector<std::uint8_t> bytes = readAll(path, size);

    Volume volume;
    volume.numBScans = name.numBScans;
    volume.numAScans = name.numAScans;
    volume.depth = static_cast<int>(depth);
    volume.eye = name.eye;
    volume.scanKind = name.scanKind;
    if (!name.scanKind.empty()) {
        volume.spacingDepthUm = kCubeDepthUm / static_cast<double>(depth);
        volume.spacingAScanUm = kCubeLateralUm / name.numAScans;
        volume.spacingBScanUm = kCubeLateralUm / name.numBScans;
    }

    // Each B-scan is stored as `depth` lines of A-scan samples, deepest line first and mirrored left to right;
    // B-scans stay in file order.
    const std::size_t na = static_cast<std::size_t>(name.numAScans);
    const std::size_t nd = static_cast<std::size_t>(depth);
    volume.samples.resize(bytes.size());
    // The transposition runs in square tiles so that reads and writes both stay within the cache.
    constexpr std::size_t kTile = 64;
    for (std::size_t b = 0; b < static_cast<std::size_t>(name.numBScans); ++b) {
        const std::uint8_t* scan = bytes.data() + b * na * nd;
        std::uint8_t* out = volume.samples.data() + b * na * nd;
        for (std::size_t z0 = 0; z0 < nd; z0 += kTile) {
            for (std::size_t x0 = 0; x0 < na; x0 += kTile) {
                for (std::size_t z = z0; z < std::min(z0 + kTile, nd); ++z) {
                    const std::uint8_t* line = scan + z * na;
                    const std::size_t d = nd - 1 - z;
                    for (std::size_t x = x0; x < std::min(x0 + kTile, na); ++x) out[(na - 1 - x) * nd + d] = line[x];
                }
            }
        }
    }
    return volume;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
