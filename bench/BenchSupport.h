#pragma once

// Shared by the benchmark programs: the forward+inverse FFT pair (ours and, when FFTW is found, FFTW's) at
// B-scan sizes, a reporter that keeps each benchmark's median for the summary lines, and the processor and
// load the figures were taken with.

#include <Velin/Image/IppPrimitives.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#ifdef VELIN_BENCH_WITH_FFTW
#include <fftw3.h>
#endif

namespace velin_bench {

inline int orderOf(int n) {
    int o = 0;
    while ((1 << o) < n) ++o;
    return o;
}

inline std::vector<float> randomPixels(std::size_t n) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> u(0.0f, 255.0f);
    std::vector<float> v(n);
    for (float& x : v) x = u(rng);
    return v;
}

/// Our pair on a W x H image (arguments 0 and 1), `pairs` (argument 2) pairs per iteration.
inline void BM_FftPair(benchmark::State& state) {
    using namespace Orvan::Ipp;
    const int W = static_cast<int>(state.range(0)), H = static_cast<int>(state.range(1));
    const int pairs = static_cast<int>(state.range(2));
    int step = 0;
    Ipp32f* src = ippiMalloc_32f_C1(W, H, &step);
    Ipp32f* spectrum = ippiMalloc_32f_C1(W, H, &step);
    const std::vector<float> pixels = randomPixels(static_cast<std::size_t>(W) * H);
    for (int y = 0; y < H; ++y)
        std::copy(pixels.begin() + static_cast<std::ptrdiff_t>(y) * W,
                  pixels.begin() + static_cast<std::ptrdiff_t>(y + 1) * W,
                  src + static_cast<std::size_t>(y) * (step / 4));
    IppiFFTSpec_R_32f* fft = nullptr;
    ippiFFTInitAlloc_R_32f(&fft, orderOf(W), orderOf(H), IPP_FFT_DIV_BY_SQRTN, ippAlgHintAccurate);
    for (auto _ : state) {
        for (int p = 0; p < pairs; ++p) {
            ippiFFTFwd_RToPack_32f_C1R(src, step, spectrum, step, fft, nullptr);
            ippiFFTInv_PackToR_32f_C1R(spectrum, step, src, step, fft, nullptr);
        }
        benchmark::ClobberMemory();
    }
    ippiFFTFree_R_32f(fft);
    ippiFree(spectrum);
    ippiFree(src);
}

#ifdef VELIN_BENCH_WITH_FFTW
/// FFTW's single-precision r2c/c2r pair on the same sizes, with a normalising pass as ours has.
inline void BM_FftwPair(benchmark::State& state) {
    const int W = static_cast<int>(state.range(0)), H = static_cast<int>(state.range(1));
    const int pairs = static_cast<int>(state.range(2));
    float* real = fftwf_alloc_real(static_cast<std::size_t>(W) * H);
    fftwf_complex* spectrum = fftwf_alloc_complex(static_cast<std::size_t>(W / 2 + 1) * H);
    fftwf_plan forward = fftwf_plan_dft_r2c_2d(H, W, real, spectrum, FFTW_MEASURE);
    fftwf_plan inverse = fftwf_plan_dft_c2r_2d(H, W, spectrum, real, FFTW_MEASURE);
    const std::vector<float> pixels = randomPixels(static_cast<std::size_t>(W) * H);
    std::copy(pixels.begin(), pixels.end(), real);
    const float scale = 1.0f / static_cast<float>(W) / static_cast<float>(H);
    for (auto _ : state) {
        for (int p = 0; p < pairs; ++p) {
            fftwf_execute(forward);
            fftwf_execute(inverse);
            // Keep the values bounded from one pair to the next, as a normalised pair would.
            for (std::size_t i = 0; i < static_cast<std::size_t>(W) * H; ++i) real[i] *= scale;
        }
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(inverse);
    fftwf_free(spectrum);
    fftwf_free(real);
}
#endif

/// The pair at the two B-scan sizes, ours and FFTW's, one pair per iteration: BM_FftPair/1024/512/1 etc.
inline void registerFftPairs() {
    for (auto* pair : {&BM_FftPair
#ifdef VELIN_BENCH_WITH_FFTW
                       ,
                       &BM_FftwPair
#endif
         }) {
        const char* name = pair == &BM_FftPair ? "BM_FftPair" : "BM_FftwPair";
        benchmark::RegisterBenchmark(name, pair)
            ->Args({1024, 512, 1})
            ->Args({1024, 256, 1})
            ->Unit(benchmark::kMillisecond);
    }
}

/// Prints as usual and keeps each benchmark's median (or its single run) of real and processor time.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string name = run.run_name.str();
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (median || (run.run_type == Run::RT_Iteration && medians_.count(name) == 0)) {
                realSeconds[name] = run.GetAdjustedRealTime() * unitSeconds(run.time_unit);
                cpuSeconds[name] = run.GetAdjustedCPUTime() * unitSeconds(run.time_unit);
                for (const auto& counter : run.counters) counters[name + "/" + counter.first] = counter.second.value;
            }
            if (median) medians_.insert(name);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    /// Seconds of `name`, or a negative number when it did not run.
    double real(const std::string& name) const { return find(realSeconds, name); }
    double cpu(const std::string& name) const { return find(cpuSeconds, name); }
    /// The value of a benchmark's counter ("name/counter"), or a negative number when there is none.
    double counter(const std::string& name) const { return find(counters, name); }

private:
    static double unitSeconds(benchmark::TimeUnit unit) {
        switch (unit) {
            case benchmark::kNanosecond:
                return 1e-9;
            case benchmark::kMicrosecond:
                return 1e-6;
            case benchmark::kMillisecond:
                return 1e-3;
            default:
                return 1.0;
        }
    }
    static double find(const std::map<std::string, double>& times, const std::string& name) {
        const auto found = times.find(name);
        return found == times.end() ? -1.0 : found->second;
    }
    std::map<std::string, double> realSeconds, cpuSeconds, counters;
    std::set<std::string> medians_;
};

/// "model name" of /proc/cpuinfo and the processor count, or what can be said without it.
inline std::string processorModel() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line, model;
    int count = 0;
    while (std::getline(cpuinfo, line)) {
        if (line.rfind("model name", 0) != 0) continue;
        ++count;
        model = line.substr(line.find(':') + 2);
    }
    if (model.empty()) return "unknown processor";
    return model + " (" + std::to_string(count) + " logical processors)";
}

/// The 1, 5 and 15 minute load averages, or an empty text where the system does not say.
inline std::string loadAverage() {
    std::ifstream loadavg("/proc/loadavg");
    double one = 0, five = 0, fifteen = 0;
    if (!(loadavg >> one >> five >> fifteen)) return "";
    char text[64];
    std::snprintf(text, sizeof text, "%.2f %.2f %.2f", one, five, fifteen);
    return text;
}

}  // namespace velin_bench
