#pragma once

// One volume from file to output folder: read, segment, measure, write every output. Measuring and writing
// are separate steps, so that the Python module returns exactly the figures and planes the program writes.

#include "AxialFactor.h"
#include "Grid.h"
#include "Report.h"
#include "ThicknessMap.h"

#include <Velin/Api/Segment.h>

#include <Velin/Io/VolumeFile.h>

#include <string>
#include <vector>

namespace velin {
namespace cli {

enum class GridChoice { Auto, None, Etdrs, Circle };

struct SegmentSettings {
    io::ReadOptions read;
    Options engine;  ///< its progress callback, axialFactor and spacings are not used; see below. Its
                     ///< thread count also bounds the threads that write the volume's outputs.
    int axialFactor = kAxialFactorAuto;  ///< resampling of the depth axis; auto: chooseAxialFactor's rule
    Spacing spacing;                     ///< used instead of the file's spacing when spacingGiven
    bool spacingGiven = false;
    GridChoice grid = GridChoice::Auto;
    std::string eye;  ///< "OD" or "OS" to use instead of the file's; empty = the file's
};

/// A volume to segment: its samples and what its file said about it.
struct VolumeInput {
    VolumeView view;
    std::string label;               ///< stands for the volume's origin in the report (the input path as given)
    std::string eye;                 ///< "OD", "OS" or empty
    std::string scanKind;            ///< "macula", "disc" or empty
    Spacing spacing;                 ///< the file's; 0 where unknown
    std::vector<std::string> notes;  ///< what was not taken from the file as it stands (io::Volume::notes)
};

/// Wall time of each step of one volume, in seconds; 0 for a step that did not run (reading, for a volume
/// handed over in memory).
struct StepTimes {
    double read = 0.0;
    double segment = 0.0;  ///< the engine and the boundary refinement (velin::segment)
    double measure = 0.0;  ///< thickness map, grid and its centre
    double write = 0.0;    ///< every output file, pictures included
};

/// A volume segmented and measured, before anything is written.
struct MeasuredVolume {
    ReportInput input;  ///< the volume as the report describes it: the spacing and eye actually used
    Options options;    ///< as the engine ran (axial factor chosen)
    Result result;
    ThicknessMap map;
    ThicknessSummary thickness;
    GridResult grid;          ///< kind None when no grid was evaluated
    std::string gridNote;     ///< why no grid was evaluated
    std::string gridSkipped;  ///< why a grid asked for by name was not evaluated; empty otherwise
    StepTimes times;          ///< segment and measure
};

struct VolumeSummary {
    std::string input;
    std::string outputDir;
    Result result;
    ThicknessSummary thickness;
    std::string unit;
    std::vector<std::string> files;  ///< names written into outputDir
    std::string gridSkipped;         ///< why a grid asked for by name was not evaluated; empty otherwise
    std::vector<std::string> notes;  ///< values of the file that were not used (io::Volume::notes)
    StepTimes times;
};

struct SpacingChoice {
    Spacing spacing;
    std::string source;              ///< "command line", "file" or "unknown"
    std::vector<std::string> notes;  ///< the file's values that were not used, from the reader's notes
};

/// The spacing a volume is measured with: --spacing-um when given, otherwise the file's, which the reader
/// has already kept within the plausible range (io::dropImplausibleSpacing).
SpacingChoice chooseSpacing(const VolumeInput& volume, const SegmentSettings& settings);

/// Segments and measures a volume. Throws what velin::segment throws (std::invalid_argument for arguments the
/// engine refuses, std::bad_alloc); nothing segmented is an outcome (see Result), not an error.
MeasuredVolume measureVolume(const VolumeInput& volume, const SegmentSettings& settings,
                             const ProgressCallback& progress);

/// The grid of `kind` (Etdrs or Circle) on a measured volume, centred as the program centres it. Needs the
/// lateral spacing and a segmented volume; the caller checks both.
GridResult gridOf(GridKind kind, const VolumeView& view, const MeasuredVolume& measured);

/// One plane a segmented volume writes as .npy, (B-scans, A-scans), element b*numAScans + a.
struct PlaneFile {
    const char* name;                     ///< file name, e.g. "ilm.npy"
    const std::int16_t* int16 = nullptr;  ///< the values, in one of the two types
    const float* float32 = nullptr;
};

/// The .npy planes of a segmented volume, in the order they are written. The Python module returns exactly
/// these planes, so a plane added here is added to both.
std::vector<PlaneFile> planeFiles(const MeasuredVolume& measured);

/// Writes every output of a measured volume into `outputDir` (created when missing) and returns the names
/// written, report.json last. Throws CliError naming the file that cannot be written.
std::vector<std::string> writeOutputs(const VolumeView& view, const MeasuredVolume& measured,
                                      const std::string& outputDir);

/// The one-line reason of a volume that could not be segmented, saying what a user can change.
std::string failureText(const Result& result);

/// Reads `input` and segments it into `outputDir` (created when missing). Throws CliError naming the file at
/// fault when the volume cannot be read, nothing could be segmented or an output cannot be written; a
/// volume with nothing segmented still gets its report.json.
VolumeSummary segmentFile(const std::string& input, const std::string& outputDir, const SegmentSettings& settings,
                          const ProgressCallback& progress);

/// The same for a volume already in memory; `label` stands for its origin in the report.
VolumeSummary segmentVolume(const io::Volume& volume, const std::string& label, const std::string& outputDir,
                            const SegmentSettings& settings, const ProgressCallback& progress);

/// Whether `name` is one of the files a volume's folder receives (planes, pictures, overlays, report.json).
bool isOutputName(const std::string& name);

/// The grid a volume gets: the one asked for, or for Auto the one its scan kind calls for (none when the
/// kind is unknown).
GridKind chooseGrid(GridChoice choice, const std::string& scanKind);

}  // namespace cli
}  // namespace velin
