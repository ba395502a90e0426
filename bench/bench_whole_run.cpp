// The whole `velin segment` run on a 128 x 512 x 1024 cube (.npy) with one and with two threads, the engine
// alone on the same volume, and the FFT pair against FFTW, all in one run so that the ratios hold on any
// machine and load. Wall times: threads are what is measured. The summary at the end gives the figures that
// docs/benchmarks.md keeps.
//
//   build/bench/bench_whole_run --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

#include "BenchSupport.h"

#include <Velin/Api/Segment.h>
#include <Velin/Io/NpyFile.h>
#include <Velin/Io/Phantom.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// The cube as the program reads it, and its options for a macular scan of the device's spacing.
struct Cube {
    Cube() : dir(fs::temp_directory_path() / ("velin-bench-" + std::to_string(getpid()))) {
        velin::io::PhantomOptions options;  // 128 x 512 x 1024, macula, OD
        phantom = velin::io::makePhantom(options);
        fs::create_directories(dir);
        velin::io::writeNpy((dir / "cube.npy").string(), phantom.volume);
    }
    ~Cube() {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }
    fs::path dir;
    velin::io::Phantom phantom;
};

Cube& cube() {
    static Cube instance;
    return instance;
}

// The program's own line (--timings) says how long each step took inside the run; the engine's share is
// what it says of segmenting, so the program's own work is the rest of the wall time, start and exit
// included.
struct StepMilliseconds {
    double read = -1, segment = -1, measure = -1, write = -1;
};

StepMilliseconds parseTimings(const std::string& output) {
    StepMilliseconds t;
    const std::size_t at = output.rfind("(read ");
    if (at == std::string::npos ||
        std::sscanf(output.c_str() + at, "(read %lf ms, segment %lf ms, measure %lf ms, write %lf ms)", &t.read,
                    &t.segment, &t.measure, &t.write) != 4)
        return StepMilliseconds{};
    return t;
}

void BM_SegmentCommand(benchmark::State& state) {
    const std::string command = std::string("\"") + VELIN_CLI_PATH + "\" segment \"" +
                                (cube().dir / "cube.npy").string() + "\" -o \"" + (cube().dir / "out").string() +
                                "\" --spacing-um 1.953125,11.71875,46.875 --grid etdrs --eye OD --timings --threads " +
                                std::to_string(state.range(0)) + " 2>&1";
    StepMilliseconds sum{0, 0, 0, 0};
    for (auto _ : state) {
        std::string output;
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe != nullptr) {
            char buffer[4096];
            for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
        }
        const StepMilliseconds t = parseTimings(output);
        if (pipe == nullptr || pclose(pipe) != 0 || t.segment < 0) {
            state.SkipWithError(("velin segment failed: " + output).c_str());
            break;
        }
        sum.read += t.read, sum.segment += t.segment, sum.measure += t.measure, sum.write += t.write;
    }
    const auto average = benchmark::Counter::kAvgIterations;
    state.counters["read_ms"] = benchmark::Counter(sum.read, average);
    state.counters["segment_ms"] = benchmark::Counter(sum.segment, average);
    state.counters["measure_ms"] = benchmark::Counter(sum.measure, average);
    state.counters["write_ms"] = benchmark::Counter(sum.write, average);
}
BENCHMARK(BM_SegmentCommand)->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_Engine(benchmark::State& state) {
    const velin::io::Volume& v = cube().phantom.volume;
    const velin::VolumeView view{v.samples.data(), v.numBScans, v.numAScans, v.depth};
    velin::Options options;
    options.threads = static_cast<int>(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(velin::segment(view, options).upperDepth.data());
}
BENCHMARK(BM_Engine)->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

void printSummary(const velin_bench::MedianReporter& r, const std::string& loadBefore) {
    const double run1 = r.real("BM_SegmentCommand/threads:1/real_time");
    const double run2 = r.real("BM_SegmentCommand/threads:2/real_time");
    const double engine1 = r.real("BM_Engine/threads:1/real_time");
    const double engine2 = r.real("BM_Engine/threads:2/real_time");
    const double fftw128 = r.real("BM_FftwPair/1024/512/128");
    std::printf("\n%s; load average %s before, %s after\n", velin_bench::processorModel().c_str(), loadBefore.c_str(),
                velin_bench::loadAverage().c_str());
    if (run1 > 0 && run2 > 0)
        std::printf("velin segment, 128x512x1024 cube:  --threads 1 %.3f s   --threads 2 %.3f s (goal <= 0.5 s)\n",
                    run1, run2);
    if (engine1 > 0 && engine2 > 0)
        std::printf("engine alone (velin::segment):     1 thread    %.3f s   2 threads   %.3f s   speed-up %.2f\n",
                    engine1, engine2, engine1 / engine2);
    const std::string run2Name = "BM_SegmentCommand/threads:2/real_time";
    const double segment2 = r.counter(run2Name + "/segment_ms") * 1e-3;
    if (run2 > 0 && segment2 > 0) {
        std::printf("inside velin segment --threads 2:   read %.0f ms, segment %.0f ms, measure %.0f ms, write %.0f ms\n",
                    r.counter(run2Name + "/read_ms"), 1e3 * segment2, r.counter(run2Name + "/measure_ms"),
                    r.counter(run2Name + "/write_ms"));
        std::printf(
            "program's own work with 2 threads: %.0f %% of the run (all but segmenting, timed inside the run; goal "
            "<= 15 %%)\n",
            100.0 * (run2 - segment2) / run2);
    }
    if (run2 > 0 && engine2 > 0)
        std::printf("  against the engine alone above:  %.0f %% (its buffers warm, which a fresh process lacks)\n",
                    100.0 * (run2 - engine2) / run2);
    rusage children{};
    if (run2 > 0 && getrusage(RUSAGE_CHILDREN, &children) == 0) {
        const double peak = static_cast<double>(children.ru_maxrss) * 1024.0;
        const double volume = static_cast<double>(cube().phantom.volume.samples.size());
        std::printf("peak memory of velin segment:      %.0f MB = %.2f x the volume (largest run; goal <= 2)\n",
                    peak / 1e6, peak / volume);
    }
    if (run2 > 0 && fftw128 > 0)
        std::printf(
            "128 FFTW pairs at 1024x512:        %.3f s;  velin segment --threads 2 / that = %.2f (goal <= 2.2)\n",
            fftw128, run2 / fftw128);
    for (const char* size : {"1024/512/1", "1024/256/1"}) {
        const double ours = r.cpu(std::string("BM_FftPair/") + size);
        const double fftw = r.cpu(std::string("BM_FftwPair/") + size);
        if (ours > 0 && fftw > 0)
            std::printf(
                "FFT pair %s (width/height/pairs):  ours %.3f ms, FFTW %.3f ms, ours / FFTW = %.2f (goal <= "
                "1.3; processor time)\n",
                size, 1e3 * ours, 1e3 * fftw, ours / fftw);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string loadBefore = velin_bench::loadAverage();
    velin_bench::registerFftPairs();
#ifdef VELIN_BENCH_WITH_FFTW
    benchmark::RegisterBenchmark("BM_FftwPair", velin_bench::BM_FftwPair)
        ->Args({1024, 512, 128})
        ->Unit(benchmark::kMillisecond);
#endif
    benchmark::Initialize(&argc, argv);
    cube();  // built before the first timing
    velin_bench::MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter, loadBefore);
    benchmark::Shutdown();
    return 0;
}
