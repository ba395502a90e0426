// The plain C entry. It checks what the exported class takes on trust, then runs the very same segmentation
// (runSegmentation), so both entries give the same planes bit for bit. Nothing may unwind through the C
// boundary: every exception is turned into a status code here.

#include <Velin/velin_c.h>

#include <Velin/Entry/SegmentationRun.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

#ifndef VELIN_VERSION
#error "VELIN_VERSION must be defined by the build (the project version)"
#endif

namespace {

constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();

bool fitsInt32(std::int64_t value) { return value <= kInt32Max; }

// The gap limit is trunc(100 / gapScale + 0.5) + 5 converted to a 32-bit integer. Besides 0, NaN and
// infinity, a gapScale so close to 0 that this no longer fits would make that conversion undefined, so it is
// rejected with the same code. Negative values are accepted: from about -28.6 up to 0 the limit lies below 3
// and bridging is off; further from 0 it is 3 to 5 (docs/c-api.md).
bool gapScaleUsable(float gapScale) {
    if (!std::isfinite(gapScale) || gapScale == 0.0f) {
        return false;
    }
    const double limit = std::trunc(100.0 / static_cast<double>(gapScale) + 0.5);
    return limit >= static_cast<double>(std::numeric_limits<std::int32_t>::min()) &&
           limit <= static_cast<double>(kInt32Max - 5);
}

int validate(const unsigned char* volume, int numBScans, int numAScans, int depth, const short* plane1,
             const short* plane2, const short* plane3, const short* plane4, float gapScale) {
    if (volume == nullptr) {
        return VELIN_ERR_NULL_VOLUME;
    }
    if (plane1 == nullptr || plane2 == nullptr || plane3 == nullptr || plane4 == nullptr) {
        return VELIN_ERR_NULL_PLANE;
    }
    if (numBScans <= 0 || numAScans <= 0 || depth <= 0) {
        return VELIN_ERR_BAD_SIZE;
    }
    // The detector forms these products in 32-bit signed arithmetic when it addresses the volume and planes.
    const std::int64_t positions = static_cast<std::int64_t>(numBScans) * numAScans;
    if (!fitsInt32(positions) || !fitsInt32(positions * depth)) {
        return VELIN_ERR_SIZE_OVERFLOW;
    }
    if (!gapScaleUsable(gapScale)) {
        return VELIN_ERR_BAD_GAP_SCALE;
    }
    return VELIN_OK;
}

// Only the one layout so far; a later one will accept this size too and give its new fields their defaults.
int validateOptions(const velin_options* options) {
    if (options == nullptr) {
        return VELIN_OK;
    }
    if (options->size != static_cast<int>(sizeof(velin_options)) || options->threads < 0) {
        return VELIN_ERR_BAD_OPTIONS;
    }
    return VELIN_OK;
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
}

int velin_segment_with_options(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1,
                               short* plane2, short* plane3, short* plane4, float gapScale, float widthSelector,
                               float auxParameter, int optionFlag, velin_progress_fn progress, void* user,
                               int* bscansSegmented, const velin_options* options) {
    int invalid = validate(volume, numBScans, numAScans, depth, plane1, plane2, plane3, plane4, gapScale);
    if (invalid == VELIN_OK) {
        invalid = validateOptions(options);
    }
    if (invalid != VELIN_OK) {
        return invalid;
    }
    const int threads = options != nullptr ? options->threads : 0;
    try {
        // The count goes through a local so that the caller's variable is written only once the run has
        // completed, never half-way through a failure.
        int segmented = 0;
        const Orvan::Velin::RunOutcome outcome =
            Orvan::Velin::runSegmentation(volume, numBScans, numAScans, depth, plane1, plane2, plane3, plane4, gapScale,
                                          widthSelector, auxParameter, optionFlag, progress, user, &segmented, threads);
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
            return "the options are invalid: size must be sizeof(velin_options) and threads 0 or more";
        case VELIN_ERR_BAD_SPACING:
            return "a sample spacing is negative, NaN or infinite (0 means unknown)";
        default:
            return "unknown status code";
    }
}

}  // extern "C"
