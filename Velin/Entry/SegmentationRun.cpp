#include <Velin/Entry/SegmentationRun.h>

#include <Velin/Entry/FillShortGaps.h>
#include <Velin/Entry/ResultPlanes.h>
#include <Velin/Entry/ShortPlane.h>

#include <memory>

namespace Orvan {
namespace Velin {
namespace {

// Fewer B-scans than this are not segmented at all.
constexpr int kMinBScans = 10;

}  // namespace

RunOutcome runSegmentation(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1,
                           short* plane2, short* plane3, short* plane4, float gapScale, float widthSelector,
                           float auxParameter, int optionFlag, ProgressCallback progress, void* progressUser,
                           int* bscansSegmented, int threads) {
    if (bscansSegmented != nullptr) *bscansSegmented = 0;
    if (numBScans < kMinBScans) return RunOutcome::TooFewBScans;

    // On the heap, and owned, so that an exception from the detector or the planes still releases it.
    auto detector = std::make_unique<VelinDetectorIpp>();
    detector->setParameters(volume, numAScans, depth, numBScans, gapScale, widthSelector, auxParameter, optionFlag);
    detector->setProgressCallback(progress, progressUser);
    detector->threadCount = threads;
    const bool found = detector->detectVolume();
    if (bscansSegmented != nullptr) *bscansSegmented = detector->successCount;
    if (!found) return RunOutcome::NothingFound;

    ShortPlane upper(numBScans, numAScans);
    ShortPlane lower(numBScans, numAScans);
    ShortPlane upperValue(numBScans, numAScans);
    ShortPlane lowerWeight(numBScans, numAScans);
    fillResultPlanes(detector->getBoundaryList1(), detector->getBoundaryList2(), detector->getValueList1(),
                     detector->getValueList2(), gapLimit(gapScale), upper, lower, upperValue, lowerWeight);

    // The caller's planes are written only here, after everything that can fail.
    std::size_t next = 0;
    for (int b = 0; b < numBScans; ++b) {
        for (int a = 0; a < numAScans; ++a, ++next) {
            plane1[next] = upper[b][a];
            plane2[next] = lower[b][a];
            plane3[next] = upperValue[b][a];
            plane4[next] = lowerWeight[b][a];
        }
    }
    return RunOutcome::Segmented;
}

}  // namespace Velin
}  // namespace Orvan
