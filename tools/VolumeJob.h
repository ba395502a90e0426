#pragma once

// One volume from file to output folder: read, segment, measure, write every output.

#include "AxialFactor.h"
#include "Grid.h"
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
    Options engine;                      ///< its progress callback and axialFactor are not used; see below. Its
                                         ///< thread count also bounds the threads that write the volume's outputs.
    int axialFactor = kAxialFactorAuto;  ///< resampling of the depth axis; auto: chooseAxialFactor's rule
    Spacing spacing;              ///< used instead of the file's spacing when spacingGiven
    bool spacingGiven = false;
    GridChoice grid = GridChoice::Auto;
    std::string eye;              ///< "OD" or "OS" to use instead of the file's; empty = the file's
};

struct VolumeSummary {
    std::string input;
    std::string outputDir;
    Result result;
    ThicknessSummary thickness;
    std::string unit;
    std::vector<std::string> files;  ///< names written into outputDir
    std::string gridSkipped;         ///< why a grid asked for by name was not evaluated; empty otherwise
};

/// Reads `input` and segments it into `outputDir` (created when missing). Throws CliError naming the file at
/// fault when the volume cannot be read, nothing could be segmented or an output cannot be written; a
/// volume with nothing segmented still gets its report.json.
VolumeSummary segmentFile(const std::string& input, const std::string& outputDir, const SegmentSettings& settings,
                          const ProgressCallback& progress);

/// The same for a volume already in memory; `label` stands for its origin in the report.
VolumeSummary segmentVolume(const io::Volume& volume, const std::string& label, const std::string& outputDir,
                            const SegmentSettings& settings, const ProgressCallback& progress);

/// The grid a volume gets: the one asked for, or for Auto the one its scan kind calls for (none when the
/// kind is unknown).
GridKind chooseGrid(GridChoice choice, const std::string& scanKind);

}  // namespace cli
}  // namespace velin
