#pragma once

// The rules of the boundary refinement. They are stated once, in micrometres or as pure ratios, and turned
// into samples and A-scans for each scan, so that a scan sampled twice as finely is refined the same way.

namespace Orvan {
namespace Velin {
namespace Refine {

/// Distance between neighbouring samples in micrometres: along depth, between A-scans and between B-scans.
/// A value that is not positive and finite means unknown.
struct ScanSpacing {
    double depthUm = 0.0;
    double aScanUm = 0.0;
    double bScanUm = 0.0;
};

/// The spacing the refinement works with: the given value where it is known. An unknown depth spacing is
/// derived from the depth as the program's automatic axial factor does: scans of at most 640 samples come from
/// the coarse scanners (496 or 512 samples over about 2 mm, 3.9 um), deeper ones sample about 1.95 um. Unknown
/// lateral spacings assume the common 6 mm field across the A-scans and across the B-scans.
ScanSpacing resolveSpacing(const ScanSpacing& given, int numBScans, int numAScans, int depth);

/// The rules in the units of one scan.
struct RefineSettings {
    ScanSpacing spacing;
    int upperBandAbove = 0;           ///< samples searched above the starting top of the retina
    int upperBandBelow = 0;           ///< samples searched below it
    int upperMaxStep = 0;             ///< largest depth change of the top between neighbouring A-scans, samples
    int lowerMaxStep = 0;             ///< largest change of the layer's thickness between neighbouring A-scans
    int lowerMargin = 0;              ///< samples searched below the starting lower boundary
    double lateralSigma = 0.0;        ///< smoothing across A-scans, in A-scans
    double axialSigma = 0.0;          ///< width of the edge detector along depth, in samples
    double columnWeight = 0.0;        ///< weight of one A-scan's edge, so that paths cost the same per millimetre
    double stepPenalty = 0.0;         ///< cost of one sample of depth change between neighbouring A-scans
    double darkPenalty = 0.0;         ///< cost of one sample of dark tissue above a lower boundary candidate
    int nerveFibreReach = 0;          ///< samples below the top in which the layer's brightness is measured
    int shadowSlabStart = 0;          ///< samples below the starting lower boundary where the shadow slab begins
    int shadowSlabEnd = 0;            ///< samples below the top where it ends
    int shadowWindow = 0;             ///< A-scans on either side over which a column's slab is compared
    int maxBridge = 0;                ///< longest run of A-scans bridged from its neighbours
    bool agreeAcrossBScans = false;   ///< neighbouring B-scans are close enough to inform each other
    double agreementTolerance = 0.0;  ///< samples of thickness within which neighbouring B-scans agree
};

RefineSettings deriveSettings(const ScanSpacing& resolved);

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
