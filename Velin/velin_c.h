#ifndef VELIN_VELIN_C_H
#define VELIN_VELIN_C_H

/* Plain C entry of the Velin library, with a stable ABI for hosts not built with the same C++ compiler
 * (MSVC programs, C#, MATLAB loadlibrary, Python ctypes). No C++ type and no exception crosses it. */

#include <Velin/VelinExport.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes: 0 success, negative failure. */
#define VELIN_OK 0
#define VELIN_ERR_NULL_VOLUME (-1)       /* volume pointer is null */
#define VELIN_ERR_NULL_PLANE (-2)        /* an output plane pointer is null */
#define VELIN_ERR_BAD_SIZE (-3)          /* numBScans, numAScans or depth is not positive */
#define VELIN_ERR_SIZE_OVERFLOW (-4)     /* a size product does not fit in 32 bits */
#define VELIN_ERR_BAD_GAP_SCALE (-5)     /* gapScale is 0, NaN or infinite, or too close to 0 */
#define VELIN_ERR_TOO_FEW_BSCANS (-6)    /* fewer than 10 B-scans: nothing was segmented */
#define VELIN_ERR_NO_BSCAN_FOUND (-7)    /* no B-scan could be segmented; planes untouched */
#define VELIN_ERR_OUT_OF_MEMORY (-8)
#define VELIN_ERR_INTERNAL (-9)          /* an unexpected internal failure */
#define VELIN_ERR_BAD_OPTIONS (-10)      /* an option is invalid: optionFlag above 1000, widthSelector or auxParameter
                                            not finite, the options' size or one of their fields */
#define VELIN_ERR_BAD_SPACING (-11)      /* a sample spacing is neither 0 (unknown) nor plausible */
#define VELIN_ERR_STOPPED (-12)          /* the options' stop function asked to stop; planes untouched */

/* Called after each B-scan with the number done so far and the total; must not throw or longjmp. */
typedef void (*velin_progress_fn)(int done, int total, void* user);

/* Library version, e.g. "0.2.0". */
VELIN_API const char* velin_version(void);

/* Segments a volume exactly as CVelinLayerSegment::VelinLayerSegment does (same planes, bit for bit), after
 * checking the arguments. On any status other than VELIN_OK the planes are left untouched. */
VELIN_API int velin_segment(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1,
                            short* plane2, short* plane3, short* plane4, float gapScale, float widthSelector,
                            float auxParameter, int optionFlag);

/* As velin_segment, with an optional progress callback (may be null) and an optional count of the B-scans
 * that were segmented (may be null). */
VELIN_API int velin_segment_ex(const unsigned char* volume, int numBScans, int numAScans, int depth,
                               short* plane1, short* plane2, short* plane3, short* plane4, float gapScale,
                               float widthSelector, float auxParameter, int optionFlag, velin_progress_fn progress,
                               void* user, int* bscansSegmented);

/* Asked after each B-scan whether to go on; non-zero stops the call. */
typedef int (*velin_stop_fn)(void* user);

/* Options of velin_segment_with_options. Later versions may add fields at the end; `size` tells the library
 * which fields the caller knows, so set it to sizeof(velin_options), or let velin_options_init do it. The
 * first layout ended after `threads` (size 2 * sizeof(int)) and is still accepted. */
typedef struct velin_options {
    int size;    /* sizeof(velin_options) */
    int threads; /* B-scans segmented at once: 0 = one per processor core (the default), 1 = one at a time */
    /* May be null. Called as stop(stopUser) after each B-scan's progress report, on the same thread; when it
     * returns non-zero no further B-scan is started, the B-scans under way on other threads end, and the call
     * returns VELIN_ERR_STOPPED with the planes untouched. */
    velin_stop_fn stop;
    void* stopUser;
} velin_options;

/* Fills in the size and the defaults. */
VELIN_API void velin_options_init(velin_options* options);

/* As velin_segment_ex, with options (null = the defaults). The planes do not depend on the thread count. */
VELIN_API int velin_segment_with_options(const unsigned char* volume, int numBScans, int numAScans, int depth,
                                         short* plane1, short* plane2, short* plane3, short* plane4, float gapScale,
                                         float widthSelector, float auxParameter, int optionFlag,
                                         velin_progress_fn progress, void* user, int* bscansSegmented,
                                         const velin_options* options);
/* Refined boundaries: the top of the retina (ILM) and the lower boundary of the nerve-fibre layer at
 * sub-sample precision, with a confidence per point, found on the volume's own samples starting from the
 * depth planes of velin_segment (plane1 and plane2 as computed for this same volume and depth).
 *
 * upperStart and lowerStart hold numBScans * numAScans whole-sample depths (element b * numAScans + a); values
 * outside 0 .. depth - 1, such as -1, mean "not found". The spacings are in micrometres along depth, between
 * A-scans and between B-scans; 0 means unknown (derived from the depth, resp. a 6 mm field). upper and lower
 * receive numBScans * numAScans depths in samples: a boundary at z means the tissue below it begins at
 * sample z (a sharp step from sample 99 to sample 100 is 100.0); NaN where a boundary could not be found.
 * upperConfidence and lowerConfidence (each may be null) receive values from 0 (not found) to 1. threads
 * B-scans are refined at once, as velin_options.threads: 0 = one per processor core, 1 = one at a time,
 * negative = VELIN_ERR_BAD_OPTIONS; the results do not depend on it. On any status other than VELIN_OK the
 * outputs are left untouched. */
VELIN_API int velin_refine_boundaries(const unsigned char* volume, int numBScans, int numAScans, int depth,
                                      const short* upperStart, const short* lowerStart, double depthSpacingUm,
                                      double aScanSpacingUm, double bScanSpacingUm, float* upper, float* lower,
                                      float* upperConfidence, float* lowerConfidence, int threads);

/* A one-line English message for a status code; never null. */
VELIN_API const char* velin_status_message(int status);

#ifdef __cplusplus
}
#endif

#endif
