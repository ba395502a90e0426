#pragma once

#include <MathPackage/Matrix.h>
#include <Velin/CheckedList.h>
#include <Velin/Image/IppTypes.h>
#include <Velin/Image/ippImage16s.h>
#include <Velin/Image/ippImage32f.h>
#include <Velin/Image/ippImage8u.h>
#include <Velin/TraceRecords.h>

#include <cstdint>
#include <vector>

namespace Orvan {
namespace Velin {

using Orvan::Ipp::ippImage32f;
using Orvan::Ipp::ippImage8u;
using Orvan::MathPackage::Matrix;
using MatrixList = CheckedList<Matrix>;

/// Called after each B-scan with the number of B-scans done so far and the total; may be null.
using ProgressCallback = void (*)(int done, int total, void* user);

/// Carries one segmentation: the call's parameters, the working images of one B-scan, the frequency-domain
/// filter set up once per volume, the per-B-scan work lists and the four result lists. It lives for exactly
/// one call of the entry. The steps of the pipeline are its member functions, one file per step, grouped by
/// subsystem (Entry/, Preparation/, Tracing/, Consistency/). A step returning false ends the current B-scan.
class VelinDetectorIpp {
public:
    VelinDetectorIpp();
    VelinDetectorIpp(const VelinDetectorIpp&) = delete;
    VelinDetectorIpp& operator=(const VelinDetectorIpp&) = delete;
    virtual ~VelinDetectorIpp();

    // ---- Volume driver (Entry/) ----
    void setParameters(const unsigned char* volume, int numAScans, int depth, int numBScans, float gapScale,
                       float widthSelector, float auxParameter, int optionFlag);
    bool detectVolume();
    bool processBScan(int bscanIndex);
    /// processBScan in two halves, for drivers that load a B-scan themselves: beginBScan clears the work
    /// lists and the filter-stage mark; finishBScan runs the steps after loading when `loaded`, then always
    /// the result store, and returns whether every step succeeded.
    void beginBScan();
    bool finishBScan(int bscanIndex, bool loaded);
    /// The B-scan loop of detectVolume on `workers` threads (the caller's among them), with results equal
    /// to the serial loop's bit for bit; see docs/threading.md.
    void processBScansInParallel(int workers);
    bool setupVolume();
    void buildFrequencyMask(float ringRadius, float width);
    void storeResults(int bscanIndex);

    MatrixList& getBoundaryList1() { return boundaryList1; }
    MatrixList& getBoundaryList2() { return boundaryList2; }
    MatrixList& getValueList1() { return valueList1; }
    MatrixList& getValueList2() { return valueList2; }

    /// Optional progress report, one call per finished B-scan. Not part of the algorithm.
    void setProgressCallback(ProgressCallback callback, void* user) {
        progressCallback = callback;
        progressUser = user;
    }

    // ---- B-scan preparation (Preparation/) ----
    bool loadBScan(int index);  ///< copyBScan, lowPassBScan(fftWorkImage) and deriveBScanImages in turn
    bool copyBScan(int index);  ///< the B-scan into rawImage and its 3x3 Gaussian into smoothImage
    /// The frequency-domain low-pass of rawImage into filteredImage through `work`, an image of the FFT size
    /// whose region outside the B-scan carries over from the previous B-scan's inverse transform.
    bool lowPassBScan(ippImage32f& work);
    /// lowPassBScan's transforms limited to the mask's live columns; false, with `work` unchanged, when that
    /// cannot give the full transforms' bits (see LoadBScan.cpp).
    bool lowPassInBand(ippImage32f& work);
    bool deriveBScanImages();  ///< rescaling of filteredImage, intensityImage and responseImage
    void diffuse(ippImage32f& image, int iterations, double rate);

    bool runFilterStage();
    bool findDataDepthRange(const ippImage8u& image, int& first, int& last);
    void applyThreshold(const ippImage8u& source, ippImage8u& mask, int threshold);
    bool cleanMask(ippImage8u& mask);
    int selectThresholdA(const ippImage8u& source, ippImage8u& mask, int first, int last, bool apply);
    int selectThresholdB(const ippImage8u& source, ippImage8u& mask, int first, int last, bool apply);

    bool checkMaskLayer(Trace& points, bool strict);

    bool linkMaskEdges();
    bool snapTracesToResponseMaximum(const ippImage32f& response);

    bool buildUpperSegments();
    bool refineUpperPoints();

    // ---- Boundary tracing (Tracing/) ----
    bool traceBoundaries();
    bool isBentSegment(const Segment& segment, double factor, int& farthestIndex);

    bool findResponseExtrema(const ippImage32f& response, const UpperPoint& point, CandidateList& maxima,
                             CandidateList& minima);
    void smoothDepths(Trace& trace, int length);
    void snapToResponseMinimum(const ippImage32f& response, Trace& trace, int radius);
    void smoothDepthsWeighted(Trace& trace, const ValueList& weights, int length);
    void bridgeBelowMeanWeight(Trace& trace, const ValueList& weights);

    void refreshTraceWeights(double scale);
    void normaliseToMaximum(CheckedList<ValueList>& values);

    void bridgeWeakRuns();

    /// The third refinement pass: re-decides the lower points along locally fitted lines.
    void reselectLowerTraces();
    void reselectAlongLocalLines(const Trace& upper, Trace& lower, const ValueList& weights,
                                 const CheckedList<CandidateList>& candidates, int centred);
    bool fitLocalLine(int count, int start, const Trace& lower, const ValueList& weights, double& intercept,
                      double& slope);
    void reselectPoint(int mode, const CandidateList& candidates, double intercept, double slope,
                       const BoundaryPoint& upper, BoundaryPoint& lower);

    // ---- Volume consistency (Consistency/) ----
    void correctAcrossScans(MatrixList& points, int width);
    void refineSurfaces();

    // ---- Members, in declaration order, grouped by role ----

    // Parameters.
    std::int32_t numAScans = 0;
    std::int32_t depth = 0;
    std::int32_t numBScans = 0;
    std::int32_t fewScansMode = 0;  ///< set when the volume has fewer than 10 B-scans; tested as a byte
    float gapScale = 0.0f;
    float widthSelector = 0.0f;
    float auxParameter = 0.0f;
    std::int32_t lastStatus = 0;
    const unsigned char* volume = nullptr;

    // Working images: the raw B-scan and its 3x3 Gaussian, then the three FFT-size images.
    ippImage8u rawImage;
    ippImage8u smoothImage;
    ippImage32f fftWorkImage;
    ippImage32f spectrumImage;
    ippImage32f fftFilterImage;

    // Frequency domain.
    std::int32_t fftOrderDepth = 0;
    std::int32_t fftOrderAScans = 0;
    std::int32_t fftSizeDepth = 0;
    std::int32_t fftSizeAScans = 0;
    Orvan::Ipp::IppiFFTSpec_R_32f* fftSpec = nullptr;
    float maskRingRadius = 0.0f;
    float maskWidth = 0.5f;
    /// Complex columns of the packed spectrum in which the mask is not all zero (columns 1.. are packed
    /// columns 2j-1 and 2j); 0 when all are, so that the transforms are done whole.
    std::int32_t fftLiveColumns = 0;

    // B-scan-size images, allocated at setup in this order.
    ippImage32f filteredImage;
    ippImage8u intensityImage;
    ippImage32f responseImage;
    ippImage8u maskImage;
    ippImage8u componentImage;
    ippImage8u auxImage8u;    ///< spare 8-bit image of the B-scan's size, kept for the preparation steps
    ippImage32f auxImage32f;  ///< spare float image of the B-scan's size, kept for the preparation steps

    // Per-B-scan state.
    std::int32_t filterStageMark = 0;  ///< set by the filter stage when little bright tissue is present
    std::int32_t optionFlag = 0;       ///< smoothing level of the final volume pass, never negative
    std::int32_t dataFirstDepth = 0;
    std::int32_t dataLastDepth = 0;
    std::int32_t minPointCount = 30;
    float responseMin = 0.0f;
    float responseMax = 0.0f;

    // Per-B-scan work lists, cleared at the start of each B-scan.
    CheckedList<Segment> upperSegments;
    CheckedList<CheckedList<CandidateList>> candidateLists;
    CheckedList<Trace> upperTraces;
    CheckedList<Trace> lowerTraces;
    CheckedList<ValueList> upperResponses;
    CheckedList<ValueList> lowerWeights;

    // Results: staging matrices for one B-scan, then the lists with one entry per B-scan.
    Matrix boundaryRows1;
    Matrix boundaryRows2;
    Matrix valueRows1;
    Matrix valueRows2;
    MatrixList boundaryList1;
    MatrixList boundaryList2;
    MatrixList valueList1;
    MatrixList valueList2;

    std::int32_t successCount = 0;  ///< B-scans of the last detectVolume() whose pipeline succeeded
    /// B-scans processed at once by detectVolume, the calling thread included; 0 = one per processor core.
    /// The results do not depend on it. 1, the default, is the serial loop.
    std::int32_t threadCount = 1;
    ProgressCallback progressCallback = nullptr;
    void* progressUser = nullptr;

private:
    // Scratch storage reused from one point or B-scan to the next, so that the per-point and per-pixel loops
    // do not allocate. Nothing in them carries over: every use starts by clearing or overwriting them.
    CandidateList scratchMaxima;        ///< response peaks below one upper point (boundary tracing)
    CandidateList scratchMinima;        ///< response valleys below one upper point (boundary tracing)
    CandidateList scratchAlternatives;  ///< the deeper valleys of one point (boundary tracing)
    std::vector<std::int16_t> componentColumns;  ///< breadth-first queue of the mask cleaning
    std::vector<std::int16_t> componentRows;     ///< breadth-first queue of the mask cleaning
};

}  // namespace Velin
}  // namespace Orvan
