#pragma once

// What a DICOM image says about its volume beyond the pixels (sample spacing, eye, scan kind) and how its
// samples are meant to be shown (rescale and display window), read from a DCMTK dataset and checked.
// Attributes of the functional groups are looked up in the groups shared by all frames, then in the first
// frame's groups, then at the top level of the dataset, where single-frame-style files keep them.

#include <Velin/Io/VolumeFile.h>

#include <optional>
#include <string>

class DcmItem;

namespace velin {
namespace io {
namespace detail {

/// Sets spacingDepthUm, spacingAScanUm, spacingBScanUm, eye and scanKind from the dataset, leaving what it
/// does not give unknown. A spacing that is present but not a plausible number of millimetres is a
/// VolumeFileError naming the attribute and its value.
void readDicomMetadata(const std::string& path, DcmItem& dataset, Volume& volume);

/// Stored samples to values: value = stored * slope + intercept.
struct DicomRescale {
    double slope = 1.0;
    double intercept = 0.0;
};

/// The dataset's rescale (top level or functional groups), identity when it gives none. A slope of 0 or a
/// value that is not a finite number is a VolumeFileError.
DicomRescale readDicomRescale(const std::string& path, DcmItem& dataset);

/// The linear display window: values up to centre - width / 2 show black, from centre + width / 2 white.
struct DicomWindow {
    double centre = 0.0;
    double width = 0.0;
};

/// The dataset's first display window, if it gives one. A width below 1, a value that is not a number or a
/// window function other than linear is a VolumeFileError.
std::optional<DicomWindow> readDicomWindow(const std::string& path, DcmItem& dataset);

}  // namespace detail
}  // namespace io
}  // namespace velin
