// The plain C entry. It checks what the exported class takes on trust, then runs the very same segmentation
// (runSegmentation), so both entries give the same planes bit for bit. Nothing may unwind through the C
// boundary: every exception is turned into a status code here.

#include <Velin/velin_c.h>

#include <Velin/Api/ArgumentCheck.h>
#include <Velin/Entry/SegmentationRun.h>

#include <new>

#ifndef VELIN_VERSION
#error "VELIN_VERSION must be defined by the build (the project version)"
#endif

namespace {

// The rules are those of the checked C++ entry (ArgumentCheck.h); here only the status code counts.
int validate(const unsigned char* volume, int numBScans, int numAScans, int depth, const short* plane1,
             const short* plane2, const short* plane3, const short* plane4, float gapScale, float widthSelector,
             float auxParameter, int optionFlag, const velin_options* options) {
    velin::CallArguments call = velin::volumeArguments(
        volume != nullptr, plane1 != nullptr && plane2 != nullptr && plane3 != nullptr && plane4 != nullptr, numBScans,
        numAScans, depth);
    call.gapScale = gapScale;
    call.widthSelector = widthSelector;
    call.auxParameter = auxParameter;
    call.smoothing = optionFlag;
    // Only the one layout so far; a later one will accept this size too and give its new fields their defaults.
    if (options != nullptr) {
        call.optionsSize = options->size;
        call.threads = options->threads;
    }
    return velin::checkArguments(call).status;
}

// Thrown from the engine's progress report when the caller's stop function asks to stop. The engine ends
// its run on any exception of the progress report (after the B-scans under way on other threads); this one
// is told apart from a failure when it arrives here.
struct StopRequested {};

// What the engine's progress report calls: the caller's report, then the caller's stop function.
struct ProgressAndStop {
    velin_progress_fn progress;
    void* user;
    velin_stop_fn stop;
    void* stopUser;
};

void reportAndAskToStop(int done, int total, void* relay) {
    const auto* calls = static_cast<const ProgressAndStop*>(relay);
    if (calls->progress != nullptr) {
        calls->progress(done, total, calls->user);
    }
    if (calls->stop != nullptr && calls->stop(calls->stopUser) != 0) {
        throw StopRequested{};
    }
}

}  // namespace

extern "C" {

const char* velin_version(void) { return VELIN_VERSION; }

int velin_segment(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1, short* plane2,
                  short* plane3, short* plane4, float gapScale, float widthSelector, float auxParameter,
                  int optionFlag) {
    return velin_segment_ex(volume, numBScans, numAScans, depth, plane1, plane2, plane3, plane4, gapScale,
                            widthSelector, auxParameter, optionFlag, nullptr, nullptr, nullptr);
}

int velin_segment_ex(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1, short* plane2,
                     short* plane3, short* plane4, float gapScale, float widthSelector, float auxParameter,
                     int optionFlag, velin_progress_fn progress, void* user, int* bscansSegmented) {
    return velin_segment_with_options(volume, numBScans, numAScans, depth, plane1, plane2, plane3, plane4, gapScale,
                                      widthSelector, auxParameter, optionFlag, progress, user, bscansSegmented,
                                      nullptr);
}

void velin_options_init(velin_options* options) {
    if (options == nullptr) {
        return;
    }
    *options = velin_options{};
    options->size = static_cast<int>(sizeof(velin_options));
    options->threads = 0;
    options->stop = nullptr;
    options->stopUser = nullptr;
}

int velin_segment_with_options(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1,
                               short* plane2, short* plane3, short* plane4, float gapScale, float widthSelector,
                               float auxParameter, int optionFlag, velin_progress_fn progress, void* user,
                               int* bscansSegmented, const velin_options* options) {
    try {
        // Inside the try: the check composes a message on failure, which may run out of memory.
        const int invalid = validate(volume, numBScans, numAScans, depth, plane1, plane2, plane3, plane4, gapScale,
                                     widthSelector, auxParameter, optionFlag, options);
        if (invalid != VELIN_OK) {
            return invalid;
        }
        const int threads = options != nullptr ? options->threads : 0;
        // The stop function exists only in the current layout; a caller of the first never set one.
        const bool currentLayout = options != nullptr && options->size == static_cast<int>(sizeof(velin_options));
        ProgressAndStop relay{progress, user, currentLayout ? options->stop : nullptr,
                              currentLayout ? options->stopUser : nullptr};
        // The count goes through a local so that the caller's variable is written only once the run has
        // completed, never half-way through a failure.
        int segmented = 0;
        const Orvan::Velin::RunOutcome outcome = Orvan::Velin::runSegmentation(
            volume, numBScans, numAScans, depth, plane1, plane2, plane3, plane4, gapScale, widthSelector, auxParameter,
            optionFlag, relay.stop != nullptr ? reportAndAskToStop : progress,
            relay.stop != nullptr ? static_cast<void*>(&relay) : user, &segmented, threads);
        if (bscansSegmented != nullptr) {
            *bscansSegmented = segmented;
        }
        switch (outcome) {
            case Orvan::Velin::RunOutcome::Segmented:
                return VELIN_OK;
            case Orvan::Velin::RunOutcome::TooFewBScans:
                return VELIN_ERR_TOO_FEW_BSCANS;
            case Orvan::Velin::RunOutcome::NothingFound:
                return VELIN_ERR_NO_BSCAN_FOUND;
        }
        return VELIN_ERR_INTERNAL;
    } catch (const StopRequested&) {
        return VELIN_ERR_STOPPED;
    } catch (const std::bad_alloc&) {
        return VELIN_ERR_OUT_OF_MEMORY;
    } catch (...) {
        return VELIN_ERR_INTERNAL;
    }
}

const char* velin_status_message(int status) {
    switch (status) {
        case VELIN_OK:
            return "success";
        case VELIN_ERR_NULL_VOLUME:
            return "the volume pointer is null";
        case VELIN_ERR_NULL_PLANE:
            return "an output plane pointer is null";
        case VELIN_ERR_BAD_SIZE:
            return "numBScans, numAScans and depth must be positive";
        case VELIN_ERR_SIZE_OVERFLOW:
            return "the volume is too large: numBScans*numAScans*depth must fit in 32 bits";
        case VELIN_ERR_BAD_GAP_SCALE:
            return "gapScale must be finite and not 0 (nor so close to 0 that the gap limit overflows)";
        case VELIN_ERR_TOO_FEW_BSCANS:
            return "the volume has fewer than 10 B-scans; nothing was segmented";
        case VELIN_ERR_NO_BSCAN_FOUND:
            return "no B-scan could be segmented; the planes are untouched";
        case VELIN_ERR_OUT_OF_MEMORY:
            return "out of memory";
        case VELIN_ERR_INTERNAL:
            return "internal error";
        case VELIN_ERR_BAD_OPTIONS:
            return "an option is invalid: optionFlag above 1000, widthSelector or auxParameter not finite, threads "
                   "outside 0..1024, or the options' size of no known layout";
        case VELIN_ERR_STOPPED:
            return "stopped at the caller's request; the planes are untouched";
        case VELIN_ERR_BAD_SPACING:
            return "a sample spacing is neither 0 (unknown) nor within 0.1 to 1000 um (10000 um between B-scans)";
        default:
            return "unknown status code";
    }
}

}  // extern "C"
