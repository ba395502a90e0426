#pragma once

// The pictures of a segmented volume: the en-face thickness map and B-scans with the boundaries drawn on.

#include "Grid.h"
#include "RgbImage.h"
#include "ThicknessMap.h"

#include <Velin/Api/Segment.h>

#include <vector>

namespace velin {
namespace cli {

/// The thickness map as an en-face image (B-scan 0 at the top, A-scan 0 on the left, stretched to its true
/// aspect when the lateral spacing is known), with a colour bar and its scale in the map's unit, a 1 mm
/// scale bar when the lateral spacing is known, and the grid with its centre when one was evaluated.
/// Positions without a thickness are dark grey.
RgbImage renderThicknessMap(const ThicknessMap& map, const Spacing& spacing, const GridResult& grid);

/// B-scan `bScan` as the device shows it (depth downwards, A-scans left to right) in grey, with the upper
/// boundary in red and the lower nerve-fibre-layer boundary in green, drawn from Result::upperBoundary and
/// lowerBoundary at their sub-sample depths (pixels a line covers in part are mixed in part).
RgbImage renderOverlay(const VolumeView& volume, const Result& result, int bScan);

/// The B-scans worth an overlay: the first and third quartile and the centre, without repeats.
std::vector<int> overlayBScans(int numBScans);

}  // namespace cli
}  // namespace velin
