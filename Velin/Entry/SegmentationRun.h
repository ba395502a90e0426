#pragma once

#include <Velin/VelinDetectorIpp.h>

namespace Orvan {
namespace Velin {

enum class RunOutcome {
    Segmented,      ///< at least one B-scan succeeded; the planes were written
    TooFewBScans,   ///< fewer than 10 B-scans; nothing was done
    NothingFound    ///< no B-scan succeeded (or setup failed); the planes are untouched
};

/// The whole segmentation behind both entries (the exported class and the C entry): detector, planes, gap
/// bridging, copy-out. It checks nothing beyond the B-scan count; exceptions (allocation, matrix checks)
/// propagate after everything it allocated has been released. `threads` B-scans are processed at once
/// (0: one per processor core); the planes do not depend on it.
RunOutcome runSegmentation(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1,
                           short* plane2, short* plane3, short* plane4, float gapScale, float widthSelector,
                           float auxParameter, int optionFlag, ProgressCallback progress = nullptr,
                           void* progressUser = nullptr, int* bscansSegmented = nullptr, int threads = 0);

}  // namespace Velin
}  // namespace Orvan
