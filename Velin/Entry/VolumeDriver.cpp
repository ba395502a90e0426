#include <Velin/VelinDetectorIpp.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

namespace Orvan {
namespace Velin {
namespace {

// Below this many B-scans the volume is treated as a few-scans acquisition.
constexpr int kFewScansLimit = 10;
// The consistency passes need at least this many B-scans, and this many successful ones.
constexpr int kMinScansForConsistency = 3;
// Neighbourhood argument of the cross-scan correction.
constexpr int kCrossScanWidth = 2;

// Threads worth starting: as many as asked for (0: one per processor core), never more than B-scans.
int workerCount(int asked, int numBScans) {
    int count = asked;
    if (count <= 0) count = static_cast<int>(std::thread::hardware_concurrency());
    return std::max(1, std::min(count, numBScans));
}

}  // namespace

bool VelinDetectorIpp::detectVolume() {
    boundaryList1.clear();
    boundaryList2.clear();
    valueList1.clear();
    valueList2.clear();
    filterStageMark = 0;
    successCount = 0;
    if (numBScans < kFewScansLimit) fewScansMode = 1;

    if (!setupVolume()) return false;

    const int workers = workerCount(threadCount, numBScans);
    if (workers > 1) {
        processBScansInParallel(workers);
    } else {
        for (int b = 0; b < numBScans; ++b) {
            if (processBScan(b)) ++successCount;
            if (progressCallback != nullptr) progressCallback(b + 1, numBScans, progressUser);
        }
    }
    const bool found = successCount >= 1;
    // The mask-cleaning queues are needed only per B-scan; released here, they do not add to the memory
    // held while the consistency passes run and the planes are built, when the result lists are largest.
    std::vector<std::int16_t>().swap(componentColumns);
    std::vector<std::int16_t>().swap(componentRows);

    // Volumes with only one or two good B-scans count as found, but there is too little to make
    // neighbouring B-scans agree.
    if (numBScans >= kMinScansForConsistency && successCount >= kMinScansForConsistency) {
        correctAcrossScans(boundaryList1, kCrossScanWidth);
        correctAcrossScans(boundaryList2, kCrossScanWidth);
        refineSurfaces();
    }
    return found;
}

bool VelinDetectorIpp::processBScan(int bscanIndex) {
    beginBScan();
    return finishBScan(bscanIndex, loadBScan(bscanIndex));
}

void VelinDetectorIpp::beginBScan() {
    upperTraces.clear();
    lowerTraces.clear();
    upperSegments.clear();
    upperResponses.clear();
    lowerWeights.clear();
    candidateLists.clear();
    filterStageMark = 0;
}

bool VelinDetectorIpp::finishBScan(int bscanIndex, bool loaded) {
    const bool segmented = loaded && runFilterStage() && linkMaskEdges() && buildUpperSegments() &&
                           refineUpperPoints() && traceBoundaries();
    // Every B-scan leaves one entry in each result list, so that entry k always belongs to B-scan k.
    storeResults(bscanIndex);
    return segmented;
}

}  // namespace Velin
}  // namespace Orvan
