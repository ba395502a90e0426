#pragma once

// Thickness on the standard clinical grids: the nine ETDRS sectors of a macular cube and the peripapillary
// circle of an optic-disc cube.
//
// En-face geometry: B-scan 0 is the top (superior) row and A-scan 0 the left column of the en-face view, as
// the readers deliver the volume. In such a fundus view the nasal side of a right eye (OD) is on the right
// and that of a left eye (OS) on the left.

#include "ThicknessMap.h"

#include <string>
#include <vector>

namespace velin {
namespace cli {

enum class GridKind { None, Etdrs, Circle };

const char* gridName(GridKind kind);

struct GridCentre {
    double bScan = 0.0;  ///< in B-scan positions (fractional)
    double aScan = 0.0;  ///< in A-scan positions (fractional)
    std::string rule;    ///< "thinnest retina", "disc (no retina found)" or "scan centre"
};

struct SectorThickness {
    std::string name;
    double mean = 0.0;            ///< NaN when no measured position falls into the sector
    std::size_t samples = 0;      ///< measured positions (ETDRS) or circle samples (circle) used
    std::size_t totalSamples = 0; ///< positions or circle samples inside the scan
};

struct GridResult {
    GridKind kind = GridKind::None;
    GridCentre centre;
    std::string eye;            ///< the eye used for nasal and temporal
    bool eyeAssumed = false;    ///< true when the eye was unknown and OD was assumed
    double overallMean = 0.0;   ///< circle: mean over the whole circle; ETDRS: over the 6 mm disc
    std::vector<SectorThickness> sectors;
};

/// ETDRS rings: diameters 1, 3 and 6 mm. Peripapillary circle: diameter 3.46 mm.
constexpr double kEtdrsDiametersMm[3] = {1.0, 3.0, 6.0};
constexpr double kCircleDiameterMm = 3.46;

/// The centre of a macular grid: the fovea, where the retina is thinnest. The retina's thickness per A-scan is
/// taken from the top of the retina to the brightest sample below the nerve-fibre layer (the pigment
/// epithelium, the brightest band of an OCT scan); the centre is the middle of the disc of 1 mm diameter
/// with the thinnest mean, searched over the central half of the scan. The scan centre is used when the
/// lateral spacing is unknown or no disc has enough measurements. The retina is measured on up to `threads`
/// threads; the centre does not depend on their number.
GridCentre findMacularCentre(const VolumeView& volume, const Result& result, const Spacing& spacing,
                             int threads = 1);

/// Thickness of the retina per position in samples as findMacularCentre measures it; NaN without a top.
std::vector<float> retinaThickness(const VolumeView& volume, const Result& result);

/// The centre of a peripapillary grid: the centroid of the largest connected region without retina (no upper
/// boundary, or a lower boundary at or above it: no nerve-fibre layer) whose centroid lies in the central
/// half of the scan and which covers at least 0.5 % of the positions; the scan centre when there is none.
GridCentre findDiscCentre(const Result& result);

/// Needs the lateral spacing. `eye` is "OD", "OS" or empty (then OD is assumed and recorded as such).
GridResult evaluateGrid(GridKind kind, const GridCentre& centre, const ThicknessMap& map, const Spacing& spacing,
                        const std::string& eye);

}  // namespace cli
}  // namespace velin
