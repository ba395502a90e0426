#include <Velin/Refine/RefineVolume.h>

#include <Velin/Refine/BScanRefinement.h>
#include <Velin/Refine/CrossScanAgreement.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <atomic>
#include <cstddef>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace Orvan {
namespace Velin {
namespace Refine {

namespace {

// A boundary at z is where the tissue below it begins, so it lies within 0..depth. The lower boundary is set as
// a thickness below the top, and a thickness bridged along the B-scan or agreed across B-scans, where the top
// lies deeper than where that thickness was measured, can reach past the A-scan's last sample: the layer then
// runs out of the scan there, and its boundary is not found. A top outside the A-scan takes its lower boundary
// with it.
void dropBoundariesOutsideTheAScans(const VolumeInput& in, const VolumeOutput& out) {
    const float depth = static_cast<float>(in.depth);
    const auto outside = [depth](float z) { return !std::isnan(z) && !(z >= 0.0f && z <= depth); };
    const std::size_t positions = static_cast<std::size_t>(in.numBScans) * static_cast<std::size_t>(in.numAScans);
    for (std::size_t i = 0; i < positions; ++i) {
        const bool top = outside(out.upper[i]);
        if (top) {
            out.upper[i] = std::numeric_limits<float>::quiet_NaN();
            out.upperConfidence[i] = 0.0f;
        }
        if (top || outside(out.lower[i])) {
            out.lower[i] = std::numeric_limits<float>::quiet_NaN();
            out.lowerConfidence[i] = 0.0f;
        }
    }
}

}  // namespace

void refineVolume(const VolumeInput& in, const VolumeOutput& out, int threads) {
    const ScanSpacing spacing = resolveSpacing(in.spacing, in.numBScans, in.numAScans, in.depth);
    const RefineSettings settings = deriveSettings(spacing);
    const std::size_t plane = static_cast<std::size_t>(in.numAScans);
    const std::size_t bscanSize = plane * static_cast<std::size_t>(in.depth);

    // B-scans are handed out one at a time; each worker keeps its own refiner and scratch space.
    std::atomic<int> next{0};
    auto work = [&]() {
        BScanRefiner refiner(settings);
        for (int b = next++; b < in.numBScans; b = next++) {
            const std::size_t at = static_cast<std::size_t>(b) * plane;
            refiner.refine({in.samples + static_cast<std::size_t>(b) * bscanSize, in.numAScans, in.depth,
                            in.upperStart + at, in.lowerStart + at},
                           {out.upper + at, out.lower + at, out.upperConfidence + at, out.lowerConfidence + at});
        }
    };
    // As for the engine: 0 means one per processor core, and no more threads than B-scans.
    const int asked = threads > 0 ? threads : static_cast<int>(std::thread::hardware_concurrency());
    const int workers = std::clamp(asked, 1, std::max(1, in.numBScans));
    std::vector<std::thread> pool;
    std::vector<std::exception_ptr> errors(static_cast<std::size_t>(workers));
    for (int t = 1; t < workers; ++t) {
        try {
            pool.emplace_back([&, t]() {
                try {
                    work();
                } catch (...) {
                    errors[static_cast<std::size_t>(t)] = std::current_exception();
                    next = in.numBScans;
                }
            });
        } catch (const std::system_error&) {
            break;  // fewer threads than asked for: the workers already running share the B-scans
        }
    }
    try {
        work();
    } catch (...) {
        errors[0] = std::current_exception();
        next = in.numBScans;
    }
    for (std::thread& thread : pool) thread.join();
    for (const std::exception_ptr& error : errors)
        if (error) std::rethrow_exception(error);

    if (settings.agreeAcrossBScans)
        agreeAcrossBScans({in.numBScans, in.numAScans, out.upper, out.lower, out.upperConfidence, out.lowerConfidence},
                          settings.agreementTolerance);
    dropBoundariesOutsideTheAScans(in, out);
}

}  // namespace Refine
}  // namespace Velin
}  // namespace Orvan
