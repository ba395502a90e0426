#pragma once

// The pictures of a segmented volume: the en-face thickness map and B-scans with the boundaries drawn on.

#include "Grid.h"
#include "RgbImage.h"
#include "ThicknessMap.h"

#include <Velin/Api/Segment.h>

#include <string>
#include <vector>

namespace velin {
namespace cli {

/// The thickness map as an en-face image (B-scan 0 at the top, A-scan 0 on the left, stretched to its true
/// aspect when the lateral spacing is known), with a colour bar and its scale in the map's unit, a scale bar
/// (see scaleBar) when the lateral spacing is known, and the grid with its centre when one was evaluated.
/// Positions without a thickness are dark grey. The map is at most 4096 pixels on either side whatever
/// the scan's size and spacing, shrunk to scale when it would be larger.
RgbImage renderThicknessMap(const ThicknessMap& map, const Spacing& spacing, const GridResult& grid);

/// Where the thickness map's cells land in its picture: pixels per A-scan and per B-scan, and the map's size.
struct MapGeometry {
    double pxPerA = 1.0, pxPerB = 1.0;
    int width = 1, height = 1;
};

/// At least 384 pixels wide, at most 4096 on either side, to scale when the lateral spacing is known.
MapGeometry thicknessMapGeometry(const ThicknessMap& map, const Spacing& spacing);

/// The grid's circles, sector borders, centre mark and sector means on a map whose top-left corner is at
/// (left, top), drawn at pxPerA and pxPerB; nothing without a grid or the lateral spacing. Whatever lies
/// outside the image is left out, however far the grid reaches.
void drawGrid(RgbImage& image, const GridResult& grid, const Spacing& spacing, const std::string& unit, int left,
              int top, double pxPerA, double pxPerB);

struct ScaleBar {
    int pixels = 0;
    std::string label;  ///< "1 mm", "200 um", ...
};

/// The scale bar under a map drawn at `pxPerUm` pixels per micrometre: 1 mm when that fits the map's width
/// and is at least 20 pixels long, otherwise the nearest length of 1, 2 or 5 times a power of ten that does.
ScaleBar scaleBar(double pxPerUm, int mapWidth);

/// B-scan `bScan` as the device shows it (depth downwards, A-scans left to right) in grey, with the upper
/// boundary in red and the lower nerve-fibre-layer boundary in green, drawn from Result::upperBoundary and
/// lowerBoundary at their sub-sample depths (pixels a line covers in part are mixed in part).
RgbImage renderOverlay(const VolumeView& volume, const Result& result, int bScan);

/// The B-scans worth an overlay: the first and third quartile and the centre, without repeats.
std::vector<int> overlayBScans(int numBScans);

}  // namespace cli
}  // namespace velin
