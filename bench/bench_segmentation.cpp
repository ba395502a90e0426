// Whole-volume timing of the segmentation: the exported call on a macular and an optic-disc phantom, the
// share of each pipeline step in one run over the macular phantom, the cost of the refined boundaries next to
// the call they start from, and the peak memory of one call.
//
// Figures worth comparing between machines are the ratios: time per B-scan, the step shares, peak memory over
// the volume's size. docs/benchmarks.md records a run.

#include <Velin/Io/Phantom.h>

#include <Velin/Entry/FillShortGaps.h>
#include <Velin/Entry/ResultPlanes.h>
#include <Velin/Entry/SegmentationRun.h>
#include <Velin/Entry/ShortPlane.h>
#include <Velin/Image/IppPrimitives.h>
#include <Velin/Refine/RefineVolume.h>
#include <Velin/VelinDetectorIpp.h>

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#if defined(__linux__)
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#endif

namespace {

using Orvan::Velin::VelinDetectorIpp;

// Processor time of the calling thread where the system has such a clock, else wall time.
double cpuSeconds() {
#if defined(__linux__)
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
#else
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
#endif
}

// The parameters the command-line program uses by default.
constexpr float kGapScale = 100.0f;
constexpr float kWidthSelector = 20.0f;
constexpr float kAuxParameter = 0.0f;
constexpr int kOptionFlag = 0;

struct PhantomKind {
    const char* scanKind;
    const char* eye;
    int numBScans;
};
constexpr PhantomKind kMacula{"macula", "OD", 128};
constexpr PhantomKind kDisc{"disc", "OS", 64};

// Phantoms are built once per process and kept: building one takes longer than segmenting it.
const velin::io::Volume& phantomVolume(const PhantomKind& kind) {
    static std::map<std::string, velin::io::Volume> cache;
    const std::string key = kind.scanKind;
    auto found = cache.find(key);
    if (found == cache.end()) {
        velin::io::PhantomOptions options;
        options.numBScans = kind.numBScans;
        options.numAScans = 512;
        options.depth = 1024;
        options.scanKind = kind.scanKind;
        options.eye = kind.eye;
        found = cache.emplace(key, velin::io::makePhantom(options).volume).first;
    }
    return found->second;
}

struct Planes {
    explicit Planes(const velin::io::Volume& v)
        : size(static_cast<std::size_t>(v.numBScans) * v.numAScans), p1(size), p2(size), p3(size), p4(size) {}
    std::size_t size;
    std::vector<short> p1, p2, p3, p4;
};

// The call as the exported class makes it, on `threads` threads (0: one per processor core).
void segment(const velin::io::Volume& v, Planes& planes, int threads) {
    Orvan::Velin::runSegmentation(v.samples.data(), v.numBScans, v.numAScans, v.depth, planes.p1.data(),
                                  planes.p2.data(), planes.p3.data(), planes.p4.data(), kGapScale, kWidthSelector,
                                  kAuxParameter, kOptionFlag, nullptr, nullptr, nullptr, threads);
}

void BM_WholeCall(benchmark::State& state, PhantomKind kind) {
    const velin::io::Volume& v = phantomVolume(kind);
    Planes planes(v);
    for (auto _ : state) {
        segment(v, planes, 1);
        benchmark::DoNotOptimize(planes.p1.data());
        benchmark::ClobberMemory();
    }
    // Processor time per B-scan of the serial call (one thread, as the benchmark's clock measures the calling
    // thread): processor time is what stays comparable on a machine that other work shares.
    state.counters["bscan_time"] =
        benchmark::Counter(v.numBScans, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK_CAPTURE(BM_WholeCall, macula_128x512x1024, kMacula)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_WholeCall, disc_64x512x1024, kDisc)->Unit(benchmark::kMillisecond);

// The refinement against the call whose planes it starts from, both timed in each iteration on the same
// volume: `engine_ms` and `refine_ms` per volume, and `refine_share` = refine / engine, the time the refined
// boundaries add. Both run on one thread, so that the calling thread's processor time is the whole of each.
void BM_RefinementCost(benchmark::State& state) {
    const velin::io::Volume& v = phantomVolume(kMacula);
    Planes planes(v);
    std::vector<float> refined(4 * planes.size);
    double engine = 0.0, refine = 0.0;
    for (auto _ : state) {
        double start = cpuSeconds();
        segment(v, planes, 1);
        engine += cpuSeconds() - start;

        namespace R = Orvan::Velin::Refine;
        R::VolumeInput in;
        in.samples = v.samples.data();
        in.numBScans = v.numBScans;
        in.numAScans = v.numAScans;
        in.depth = v.depth;
        in.upperStart = planes.p1.data();
        in.lowerStart = planes.p2.data();
        in.spacing = {v.spacingDepthUm, v.spacingAScanUm, v.spacingBScanUm};
        start = cpuSeconds();
        R::refineVolume(in,
                        {refined.data(), refined.data() + planes.size, refined.data() + 2 * planes.size,
                         refined.data() + 3 * planes.size},
                        1);
        refine += cpuSeconds() - start;
        benchmark::DoNotOptimize(refined.data());
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["engine_ms"] = 1e3 * engine / runs;
    state.counters["refine_ms"] = 1e3 * refine / runs;
    state.counters["refine_share"] = refine / engine;
}
BENCHMARK(BM_RefinementCost)->Unit(benchmark::kMillisecond);

// The steps of one run, in pipeline order, as they are reported.
enum Step {
    Setup,
    Clear,
    Load,
    Filter,
    Link,
    Build,
    Refine,
    Trace,
    Store,
    CrossScan,
    Surfaces,
    PlaneBuild,
    kStepCount
};
constexpr std::array<const char*, kStepCount> kStepNames{"setup",  "clear", "load",  "filter",    "link",     "build",
                                                         "refine", "trace", "store", "crossscan", "surfaces", "planes"};

// Runs the detector the way the volume driver does, then builds the planes as the entry does, timing each
// step. Returns the processor seconds per step.
std::array<double, kStepCount> timedRun(const velin::io::Volume& v, int& successes) {
    std::array<double, kStepCount> seconds{};
    auto timed = [&seconds](Step step, auto&& work) {
        const double start = cpuSeconds();
        const auto result = work();
        seconds[step] += cpuSeconds() - start;
        return result;
    };

    VelinDetectorIpp detector;
    detector.setParameters(v.samples.data(), v.numAScans, v.depth, v.numBScans, kGapScale, kWidthSelector,
                           kAuxParameter, kOptionFlag);
    detector.boundaryList1.clear();
    detector.boundaryList2.clear();
    detector.valueList1.clear();
    detector.valueList2.clear();
    detector.filterStageMark = 0;
    if (!timed(Setup, [&] { return detector.setupVolume(); })) return seconds;

    successes = 0;
    for (int b = 0; b < v.numBScans; ++b) {
        timed(Clear, [&] {
            detector.upperTraces.clear();
            detector.lowerTraces.clear();
            detector.upperSegments.clear();
            detector.upperResponses.clear();
            detector.lowerWeights.clear();
            detector.candidateLists.clear();
            detector.filterStageMark = 0;
            return true;
        });
        const bool ok = timed(Load, [&] { return detector.loadBScan(b); }) &&
                        timed(Filter, [&] { return detector.runFilterStage(); }) &&
                        timed(Link, [&] { return detector.linkMaskEdges(); }) &&
                        timed(Build, [&] { return detector.buildUpperSegments(); }) &&
                        timed(Refine, [&] { return detector.refineUpperPoints(); }) &&
                        timed(Trace, [&] { return detector.traceBoundaries(); });
        timed(Store, [&] {
            detector.storeResults(b);
            return true;
        });
        if (ok) ++successes;
    }
    if (successes >= 3) {
        timed(CrossScan, [&] {
            detector.correctAcrossScans(detector.boundaryList1, 2);
            detector.correctAcrossScans(detector.boundaryList2, 2);
            return true;
        });
        timed(Surfaces, [&] {
            detector.refineSurfaces();
            return true;
        });
    }
    timed(PlaneBuild, [&] {
        using Orvan::Velin::ShortPlane;
        ShortPlane upper(v.numBScans, v.numAScans), lower(v.numBScans, v.numAScans);
        ShortPlane upperValue(v.numBScans, v.numAScans), lowerWeight(v.numBScans, v.numAScans);
        Orvan::Velin::fillResultPlanes(detector.getBoundaryList1(), detector.getBoundaryList2(),
                                       detector.getValueList1(), detector.getValueList2(),
                                       Orvan::Velin::gapLimit(kGapScale), upper, lower, upperValue, lowerWeight);
        benchmark::DoNotOptimize(upper[0]);
        return true;
    });
    return seconds;
}

// Seconds of one forward+inverse transform pair at the detector's transform size for this volume.
double fftPairSeconds(const velin::io::Volume& v, int pairs) {
    using namespace Orvan::Ipp;
    int orderDepth = 1, orderAScans = 1;
    while ((1 << orderDepth) < v.depth) ++orderDepth;
    while ((1 << orderAScans) < v.numAScans) ++orderAScans;
    const int width = 1 << orderDepth, height = 1 << orderAScans;
    int step = 0;
    Ipp32f* work = ippiMalloc_32f_C1(width, height, &step);
    Ipp32f* spectrum = ippiMalloc_32f_C1(width, height, &step);
    ippiSet_32f_C1R(1.0f, work, step, IppiSize{width, height});
    IppiFFTSpec_R_32f* fft = nullptr;
    ippiFFTInitAlloc_R_32f(&fft, orderDepth, orderAScans, IPP_FFT_DIV_BY_SQRTN, ippAlgHintAccurate);
    const double start = cpuSeconds();
    for (int i = 0; i < pairs; ++i) {
        ippiFFTFwd_RToPack_32f_C1R(work, step, spectrum, step, fft, nullptr);
        ippiFFTInv_PackToR_32f_C1R(spectrum, step, work, step, fft, nullptr);
    }
    const double seconds = (cpuSeconds() - start) / pairs;
    benchmark::DoNotOptimize(work);
    ippiFFTFree_R_32f(fft);
    ippiFree(spectrum);
    ippiFree(work);
    return seconds;
}

// Counters: each step's share of the run, the time per B-scan, and the share that one transform pair per
// B-scan takes of the whole.
void BM_StepShares(benchmark::State& state) {
    const velin::io::Volume& v = phantomVolume(kMacula);
    std::array<double, kStepCount> seconds{};
    int successes = 0;
    for (auto _ : state) {
        const std::array<double, kStepCount> run = timedRun(v, successes);
        for (int s = 0; s < kStepCount; ++s) seconds[s] += run[s];
    }
    double total = 0.0;
    for (const double s : seconds) total += s;
    for (int s = 0; s < kStepCount; ++s) state.counters[kStepNames[s]] = seconds[s] / total;
    const double perRun = total / static_cast<double>(state.iterations());
    state.counters["ms_per_bscan"] = 1e3 * perRun / v.numBScans;
    state.counters["fft_pair_share"] = fftPairSeconds(v, 8) * v.numBScans / perRun;
    state.counters["bscans_segmented"] = successes;
}
BENCHMARK(BM_StepShares)->Unit(benchmark::kMillisecond);

#if defined(__linux__)
// Peak resident memory that one call on every processor core adds (each thread beyond the first holds working
// images of its own), measured in a child process so that pages freed by earlier calls
// and kept by the allocator cannot hide it. Linux only: it resets the high-water mark through clear_refs.
long long peakBytesOfOneCall(const velin::io::Volume& v) {
    int channel[2];
    if (pipe(channel) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        Planes planes(v);
        malloc_trim(0);
        long long result = -1;
        if (FILE* refs = std::fopen("/proc/self/clear_refs", "w")) {
            const bool reset = std::fputs("5", refs) >= 0;
            if (std::fclose(refs) == 0 && reset) {
                rusage before{}, after{};
                getrusage(RUSAGE_SELF, &before);
                segment(v, planes, 0);
                getrusage(RUSAGE_SELF, &after);
                result = (static_cast<long long>(after.ru_maxrss) - before.ru_maxrss) * 1024;
            }
        }
        const ssize_t written = write(channel[1], &result, sizeof result);
        _exit(written == static_cast<ssize_t>(sizeof result) ? 0 : 1);
    }
    close(channel[1]);
    long long result = -1;
    if (child < 0 || read(channel[0], &result, sizeof result) != static_cast<ssize_t>(sizeof result)) result = -1;
    close(channel[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return result;
}

void BM_PeakMemory(benchmark::State& state, PhantomKind kind) {
    const velin::io::Volume& v = phantomVolume(kind);
    long long peak = -1;
    for (auto _ : state) peak = peakBytesOfOneCall(v);
    if (peak < 0) {
        state.SkipWithError("the high-water mark of resident memory could not be reset");
        return;
    }
    state.counters["peak_bytes"] = static_cast<double>(peak);
    state.counters["peak_per_volume_size"] = static_cast<double>(peak) / static_cast<double>(v.samples.size());
}
BENCHMARK_CAPTURE(BM_PeakMemory, macula_128x512x1024, kMacula)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_PeakMemory, disc_64x512x1024, kDisc)->Iterations(1)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
