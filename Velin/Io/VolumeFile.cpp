#include <Velin/Io/VolumeFile.h>

#include <Velin/Io/ReaderSupport.h>
#include <Velin/Io/SpacingCheck.h>

#include <algorithm>
#include <cctype>

namespace velin {
namespace io {

namespace {

using detail::fail;
using detail::shapeText;

// A shape given alongside a self-describing file is a check: a mismatch means the user expects another file.
void checkRequestedShape(const std::string& path, const ReadOptions& options, const Volume& volume) {
    const bool mismatch = (options.numBScans > 0 && options.numBScans != volume.numBScans) ||
                          (options.numAScans > 0 && options.numAScans != volume.numAScans) ||
                          (options.depth > 0 && options.depth != volume.depth);
    if (mismatch) {
        auto given = [](int v) { return v > 0 ? std::to_string(v) : std::string("*"); };
        fail(path, "shape mismatch: expected " + given(options.numBScans) + "x" + given(options.numAScans) + "x" +
                       given(options.depth) + " (--shape), found " +
                       shapeText(static_cast<std::uint64_t>(volume.numBScans),
                                 static_cast<std::uint64_t>(volume.numAScans), static_cast<std::uint64_t>(volume.depth)));
    }
}

void reverseAxis(Volume& volume, char axis) {
    const std::size_t nb = static_cast<std::size_t>(volume.numBScans);
    const std::size_t na = static_cast<std::size_t>(volume.numAScans);
    const std::size_t nd = static_cast<std::size_t>(volume.depth);
    std::vector<std::uint8_t>& s = volume.samples;
    const auto at = [&](std::size_t b, std::size_t a) { return s.begin() + static_cast<std::ptrdiff_t>((b * na + a) * nd); };
    if (axis == 'D') {
        for (std::size_t b = 0; b < nb; ++b)
            for (std::size_t a = 0; a < na; ++a) std::reverse(at(b, a), at(b, a) + static_cast<std::ptrdiff_t>(nd));
    } else if (axis == 'A') {
        for (std::size_t b = 0; b < nb; ++b)
            for (std::size_t a = 0; a < na / 2; ++a) std::swap_ranges(at(b, a), at(b, a) + static_cast<std::ptrdiff_t>(nd), at(b, na - 1 - a));
    } else {
        for (std::size_t b = 0; b < nb / 2; ++b)
            std::swap_ranges(at(b, 0), at(b, 0) + static_cast<std::ptrdiff_t>(na * nd), at(nb - 1 - b, 0));
    }
    // The device's boundaries follow their samples: a boundary at z (between samples z - 1 and z) lies at
    // depth - z once each A-scan is reversed.
    for (std::vector<float>* plane : {&volume.deviceIlm, &volume.deviceRnfl}) {
        if (plane->empty()) continue;
        const auto row = [&](std::size_t b) { return plane->begin() + static_cast<std::ptrdiff_t>(b * na); };
        if (axis == 'D') {
            for (float& z : *plane) z = static_cast<float>(nd) - z;
        } else if (axis == 'A') {
            for (std::size_t b = 0; b < nb; ++b) std::reverse(row(b), row(b) + static_cast<std::ptrdiff_t>(na));
        } else {
            for (std::size_t b = 0; b < nb / 2; ++b) std::swap_ranges(row(b), row(b) + static_cast<std::ptrdiff_t>(na), row(nb - 1 - b));
        }
    }
}

// The flip letters are checked before anything is read, so a typo costs no time on a large file.
std::string parseFlips(const std::string& path, const std::string& flip) {
    std::string axes;
    for (char c : flip) {
        const char axis = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        if ((axis != 'B' && axis != 'A' && axis != 'D') || axes.find(axis) != std::string::npos) {
            fail(path, "invalid flip '" + flip + "': expected distinct letters among B, A and D");
        }
        axes.push_back(axis);
    }
    return axes;
}

}  // namespace

Volume readVolume(const std::string& path, const ReadOptions& options) {
    const std::string ext = detail::lowerExtension(path);
    const std::string flips = parseFlips(path, options.flip);
    Volume volume;
    if (ext == ".raw") {
        volume = detail::readRaw(path, options);
    } else if (ext == ".img") {
        volume = detail::readImg(path, options);
    } else if (ext == ".npy") {
        volume = detail::readNpyVolume(path, options);
    } else if (ext == ".tif" || ext == ".tiff") {
        volume = detail::readTiffStack(path);
    } else if (ext == ".vol") {
        volume = detail::readVol(path);
    } else if (ext == ".dcm" || ext == ".dicom" || detail::hasDicomPreamble(path)) {
        // Archives often name DICOM files by number or UID ("IM0001", "1.2.840.113619.2.1"), so a file with any
        // other name is read as DICOM when its content starts like one.
        volume = detail::readDicom(path, options);
    } else {
        fail(path,
             "unknown volume format: expected the extension .img, .raw, .npy, .tif, .tiff, .vol, .dcm or .dicom, or "
             "a DICOM file, found '" +
                 ext + "'");
    }
    checkRequestedShape(path, options, volume);
    dropImplausibleSpacing(volume);
    for (char axis : flips) reverseAxis(volume, axis);
    return volume;
}

}  // namespace io
}  // namespace velin
