// The B-scan loop of detectVolume on several threads, with results equal to the serial loop's bit for bit.
//
// Every thread runs a detector of its own, set up like this one (the calling thread uses this one), and takes
// the next B-scan index as it becomes free. What one B-scan leaves behind for the next in the serial loop is
// reproduced (docs/threading.md lists every member and why nothing else carries over):
// - fftWorkImage: loading rewrites only the B-scan's corner of it, and the rest keeps the previous B-scan's
//   inverse transform. When the transform is larger than the B-scan, every B-scan's low-pass therefore runs
//   through this detector's fftWorkImage, one B-scan at a time and in index order. When it is not, the
//   corner is the whole image, nothing carries over, and each thread uses its own.
// - the zero frame of responseImage, which the Sobel filter never writes and the final negation of loading
//   flips from +0 to -0 and back with every B-scan.
// The result lists are filled in B-scan order once all B-scans are done; the progress callback runs on the
// calling thread only, once per B-scan and in order of the count.

#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/IppPrimitives.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Orvan {
namespace Velin {
namespace {

// Lets B-scans through the shared transform image one at a time, in index order.
class TransformTurn {
public:
    /// Waits until B-scans 0..b-1 have passed, runs `lowPass` and lets b+1 through. Returns what `lowPass`
    /// returned, or false without running it when the run is being abandoned.
    template <class LowPass>
    bool pass(int b, LowPass&& lowPass) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            ready_.wait(lock, [&] { return next_ == b || abandoned_; });
            if (abandoned_) return false;
        }
        bool result = false;
        try {
            result = lowPass();
        } catch (...) {
            abandon();
            throw;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        next_ = b + 1;
        ready_.notify_all();
        return result;
    }

    /// Releases every waiting thread; used when a thread fails and the run ends early.
    void abandon() {
        std::lock_guard<std::mutex> lock(mutex_);
        abandoned_ = true;
        ready_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable ready_;
    int next_ = 0;
    bool abandoned_ = false;
};

// One B-scan's entry in each of the four result lists, and whether its pipeline succeeded.
struct BScanOutcome {
    Matrix boundaryRows1, boundaryRows2, valueRows1, valueRows2;
    bool segmented = false;
};

// What the threads of one run share.
struct Run {
    explicit Run(int count) : numBScans(count), outcomes(static_cast<std::size_t>(count)) {}

    void fail(std::exception_ptr error) {
        {
            std::lock_guard<std::mutex> lock(errorMutex);
            if (!firstError) firstError = error;
        }
        stop = true;
        turn.abandon();
    }

    const int numBScans;
    std::vector<BScanOutcome> outcomes;
    std::atomic<int> nextBScan{0};
    std::atomic<int> finished{0};
    std::atomic<bool> stop{false};
    std::atomic<bool> anyLoaded{false};
    TransformTurn turn;
    ippImage32f* sharedWork = nullptr;  ///< the transform image every B-scan passes through; null: each its own
    float frameZero = 0.0f;             ///< the frame of responseImage before the first B-scan, +0 or -0
    std::mutex errorMutex;
    std::exception_ptr firstError;
};

// Sets the one-pixel frame of an image, the pixels a 3x3 filter of its interior never writes.
void setFrame(ippImage32f& image, float value) {
    const int width = image.getWidth();
    const int height = image.getHeight();
    for (int y = 0; y < height; ++y) {
        Ipp::Ipp32f* row = image.getRow(y);
        if (y == 0 || y == height - 1) {
            for (int x = 0; x < width; ++x) row[x] = value;
        } else {
            row[0] = value;
            row[width - 1] = value;
        }
    }
}

// The frame's zero after `loads` negations.
float frameAfter(const Run& run, int loads) { return loads % 2 == 0 ? run.frameZero : -run.frameZero; }

// B-scan b on one worker. Loading succeeds or fails alike for every B-scan of a volume (only the images'
// sizes can make a primitive fail, never their content), so when b loads, B-scans 0..b-1 loaded too and
// the frame stands as after b+1 negations.
void processOne(VelinDetectorIpp& worker, Run& run, int b) {
    worker.boundaryList1.clear();
    worker.boundaryList2.clear();
    worker.valueList1.clear();
    worker.valueList2.clear();
    worker.beginBScan();
    const bool copied = worker.copyBScan(b);
    bool filtered = false;
    if (run.sharedWork != nullptr) {
        filtered = run.turn.pass(b, [&] { return copied && worker.lowPassBScan(*run.sharedWork); });
        if (run.stop) return;
    } else {
        filtered = copied && worker.lowPassBScan(worker.fftWorkImage);
    }
    const bool loaded = filtered && worker.deriveBScanImages();
    if (loaded) {
        setFrame(worker.responseImage, frameAfter(run, b + 1));
        run.anyLoaded = true;
    }
    BScanOutcome& outcome = run.outcomes[static_cast<std::size_t>(b)];
    outcome.segmented = worker.finishBScan(b, loaded);
    outcome.boundaryRows1 = worker.boundaryList1.back();
    outcome.boundaryRows2 = worker.boundaryList2.back();
    outcome.valueRows1 = worker.valueList1.back();
    outcome.valueRows2 = worker.valueList2.back();
}

// Takes B-scans until none is left or the run stops; `afterEach` runs after every B-scan this worker did.
template <class AfterEach>
void work(VelinDetectorIpp& worker, Run& run, AfterEach&& afterEach) {
    for (;;) {
        if (run.stop) return;
        const int b = run.nextBScan.fetch_add(1);
        if (b >= run.numBScans) return;
        // The progress callback may throw too; like a failing B-scan, that ends the run once all threads
        // have stopped.
        try {
            processOne(worker, run, b);
            ++run.finished;
            afterEach();
        } catch (...) {
            run.fail(std::current_exception());
            return;
        }
    }
}

// A helper thread's detector: the owner's parameters, images of its own and the owner's frequency mask.
// Returns null when it cannot be set up (out of memory, say); the other threads then do its share.
std::unique_ptr<VelinDetectorIpp> makeHelper(const VelinDetectorIpp& owner) {
    try {
        auto helper = std::make_unique<VelinDetectorIpp>();
        helper->setParameters(owner.volume, owner.numAScans, owner.depth, owner.numBScans, owner.gapScale,
                              owner.widthSelector, owner.auxParameter, owner.optionFlag);
        helper->fewScansMode = owner.fewScansMode;
        helper->maskRingRadius = owner.maskRingRadius;
        helper->maskWidth = owner.maskWidth;
        if (!helper->setupVolume()) return nullptr;
        // Copied rather than trusted to come out the same: the owner's mask is the one the serial loop uses.
        const ippImage32f& mask = owner.fftFilterImage;
        if (Ipp::ippiCopy_32f_C1R(mask.getData(), mask.getStep(), helper->fftFilterImage.getData(),
                                  helper->fftFilterImage.getStep(), mask.getSize()) != Ipp::ippStsNoErr)
            return nullptr;
        helper->fftLiveColumns = owner.fftLiveColumns;  // the columns of that mask the transforms compute
        return helper;
    } catch (const std::exception&) {
        return nullptr;
    }
}

}  // namespace

void VelinDetectorIpp::processBScansInParallel(int workers) {
    Run run(numBScans);
    const bool padded = fftSizeDepth > depth || fftSizeAScans > numAScans;
    if (padded) run.sharedWork = &fftWorkImage;
    run.frameZero = std::signbit(responseImage.getRow(0)[0]) ? -0.0f : 0.0f;

    int reported = 0;
    auto reportProgress = [&] {
        const int done = run.finished.load();
        while (reported < done && progressCallback != nullptr) progressCallback(++reported, numBScans, progressUser);
    };

    std::vector<std::thread> helpers;
    try {
        for (int t = 1; t < workers; ++t) {
            helpers.emplace_back([this, &run] {
                const std::unique_ptr<VelinDetectorIpp> helper = makeHelper(*this);
                if (helper) work(*helper, run, [] {});
            });
        }
    } catch (...) {
        // A thread that cannot be started leaves its share to the others.
    }
    // The caller's list entries are moved out after every B-scan, like a helper's, and the lists are filled
    // in order at the end.
    work(*this, run, reportProgress);
    for (std::thread& helper : helpers) helper.join();
    if (run.firstError) std::rethrow_exception(run.firstError);

    boundaryList1.clear();
    boundaryList2.clear();
    valueList1.clear();
    valueList2.clear();
    for (BScanOutcome& outcome : run.outcomes) {
        boundaryList1.push_back(outcome.boundaryRows1);
        boundaryList2.push_back(outcome.boundaryRows2);
        valueList1.push_back(outcome.valueRows1);
        valueList2.push_back(outcome.valueRows2);
        if (outcome.segmented) ++successCount;
        outcome = BScanOutcome();  // so that no B-scan's rows are held twice for long
    }
    // The detector ends as the serial loop leaves it, should it run another volume.
    if (run.anyLoaded) setFrame(responseImage, frameAfter(run, numBScans));
    reportProgress();
}

}  // namespace Velin
}  // namespace Orvan
