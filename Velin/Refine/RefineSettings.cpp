#include <Velin/Refine/RefineSettings.h>

#include <algorithm>
#include <cmath>

namespace Orvan {
namespace Velin {
namespace Refine {
namespace {

// Assumed sampling where the scan does not say (see resolveSpacing).
constexpr double kFineDepthUm = 1.95;
constexpr int kCoarseDepthLimit = 640;
constexpr double kAssumedFieldUm = 6000.0;

// The top of the retina: the starting boundary is mostly within a sample or two (it is the mask edge snapped
// to the strongest response). Where it strays, it is pulled into the tissue, by the smoothing across B-scans
// at the steep rim of an optic-disc cup, so the band reaches further up than down. Below, it stays short of
// the bright layers under a foveal pit.
constexpr double kUpperBandAboveUm = 60.0;
constexpr double kUpperBandBelowUm = 30.0;
// Steepest surface slope followed, depth over lateral distance: the walls of a deep optic-disc cup.
constexpr double kUpperMaxSlope = 1.0;
// The lower boundary's thickness above the top changes more gently than the surface itself.
constexpr double kLowerMaxThicknessSlope = 0.35;
// The starting lower boundary is mostly a few samples shallow, but it strays by up to about 100 um under
// vessels and where it took the next layer; the band reaches that far below it.
constexpr double kLowerMarginUm = 60.0;

// Smoothing across A-scans: wide enough to average out speckle, narrow against the layers' curvature.
constexpr double kLateralSigmaUm = 25.0;
// Edge detector along depth: as sharp as the optics allow, but never below one sample, under which the
// sub-sample fit loses its footing.
constexpr double kAxialSigmaUm = 2.0;
constexpr double kMinAxialSigma = 1.0;

// Path costs. An A-scan's edge counts per 10 um of lateral distance, and a change of depth costs per
// micrometre, so that the balance between following the edge and staying smooth is the same at any sampling.
constexpr double kColumnUnitUm = 10.0;
constexpr double kStepPenaltyPerUm = 0.02;
constexpr double kDarkPenaltyPerUm = 0.13;

// The nerve-fibre layer's own brightness is measured within this distance below the top.
constexpr double kNerveFibreReachUm = 20.0;

// Shadow slab: from just below the nerve-fibre layer down to where the outer retina ends.
constexpr double kShadowSlabStartUm = 8.0;
constexpr double kShadowSlabEndUm = 350.0;
// A column is compared with its neighbours over this distance on either side, far wider than a vessel.
constexpr double kShadowWindowUm = 250.0;

// Longest run bridged from its neighbours: wider than the vessels near the optic disc.
constexpr double kMaxBridgeUm = 400.0;

// B-scans further apart than this see different tissue and are refined on their own.
constexpr double kAgreementSpacingUm = 250.0;
constexpr double kAgreementToleranceUm = 8.0;

bool known(double um) { return um > 0.0 && std::isfinite(um); }

int atLeastOne(double samples) { return std::max(1, static_cast<int>(std::ceil(samples))); }

}  // namespace

ScanSpacing resolveSpacing(const ScanSpacing& given, int numBScans, int numAScans, int depth) {
    ScanSpacing spacing;
    spacing.depthUm = known(given.depthUm) ? given.depthUm : kFineDepthUm * (depth <= kCoarseDepthLimit ? 2.0 : 1.0);
    spacing.aScanUm = known(given.aScanUm) ? given.aScanUm : kAssumedFieldUm / std::max(1, numAScans);
    spacing.bScanUm = known(given.bScanUm) ? given.bScanUm : kAssumedFieldUm / std::max(1, numBScans);
    return spacing;
}

RefineSettings deriveSettings(const ScanSpacing& resolved) {
    const double dz = resolved.depthUm, dx = resolved.aScanUm;
    RefineSettings s;
    s.spacing = resolved;
    s.upperBandAbove = atLeastOne(kUpperBandAboveUm / dz);
    s.upperBandBelow = atLeastOne(kUpperBandBelowUm / dz);
    s.upperMaxStep = atLeastOne(kUpperMaxSlope * dx / dz);
    s.lowerMaxStep = atLeastOne(kLowerMaxThicknessSlope * dx / dz);
    s.lowerMargin = atLeastOne(kLowerMarginUm / dz);
    s.lateralSigma = kLateralSigmaUm / dx;
    s.axialSigma = std::max(kMinAxialSigma, kAxialSigmaUm / dz);
    s.columnWeight = dx / kColumnUnitUm;
    s.stepPenalty = kStepPenaltyPerUm * dz;
    s.darkPenalty = kDarkPenaltyPerUm * dz;
    s.nerveFibreReach = atLeastOne(kNerveFibreReachUm / dz);
    s.shadowSlabStart = atLeastOne(kShadowSlabStartUm / dz);
    s.shadowSlabEnd = atLeastOne(kShadowSlabEndUm / dz);
    s.shadowWindow = atLeastOne(kShadowWindowUm / dx);
    s.maxBridge = atLeastOne(kMaxBridgeUm / dx);
    s.agreeAcrossBScans = resolved.bScanUm <= kAgreementSpacingUm;
    s.agreementTolerance = kAgreementToleranceUm / dz;
    return s;
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
