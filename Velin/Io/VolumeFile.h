#pragma once

// Volumes as the command-line program reads them from files, in the library's layout.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace velin {
namespace io {

/// A volume in the library's layout: sample (b, a, d) at b*numAScans*depth + a*depth + d, depth growing
/// away from the vitreous.
struct Volume {
    int numBScans = 0;
    int numAScans = 0;
    int depth = 0;
    std::vector<std::uint8_t> samples;

    std::string eye;       ///< "OD", "OS" or empty when unknown
    std::string scanKind;  ///< "macula", "disc" or empty when unknown
    /// Sample spacing in micrometres along depth, A-scans and B-scans; 0 where unknown. A value the file
    /// gives outside the plausible range (SpacingCheck.h) is left unknown, and a note says so.
    double spacingDepthUm = 0.0;
    double spacingAScanUm = 0.0;
    double spacingBScanUm = 0.0;

    /// What the reader could not take from the file as it stands, in words, e.g. "spacing between A-scans in
    /// the file: inf um is outside 0.1 to 1000 um; taken as unknown". Empty for a sound file.
    std::vector<std::string> notes;
    /// Boundaries the device stored with the scan (.vol exports carry its own segmentation), one value per
    /// position b * numAScans + a, in samples as the device gives them (fractional rows counted from the top);
    /// NaN where the device marked none. Empty when the file carries none. `deviceIlm` is the inner limiting
    /// membrane (the top of the retina), `deviceRnfl` the lower boundary of the nerve-fibre layer.
    std::vector<float> deviceIlm;
    std::vector<float> deviceRnfl;
};

/// How a float array becomes 8-bit samples.
enum class ScaleRule { None, MinMax, Clip255, FourthRoot };

struct ReadOptions {
    /// For .raw (and to override or check other formats): B-scans x A-scans x depth; 0 = not given.
    int numBScans = 0, numAScans = 0, depth = 0;
    /// Order of the three axes in a .raw file, slowest first, as letters B, A, D: "BAD" is the library's.
    std::string layout = "BAD";
    /// Axes to reverse after reading, as letters among B, A, D (e.g. "D" flips each A-scan).
    std::string flip;
    ScaleRule scale = ScaleRule::None;  ///< required for float .npy input; for 16-bit DICOM, overrides its window
};

/// A file could not be read as a volume. The message names the file, what was expected and what was found.
class VolumeFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads .img, .raw, .npy, .tif/.tiff, .vol or DICOM (.dcm/.dicom, or any other name whose content starts as a
/// DICOM file does), chosen by the file name's extension. Every file is read through ordinary reads, never
/// mapped into memory, so a file that shrinks meanwhile gives a VolumeFileError rather than a crash; and
/// nothing is allocated for data before the file was found to hold it.
Volume readVolume(const std::string& path, const ReadOptions& options);

}  // namespace io
}  // namespace velin
