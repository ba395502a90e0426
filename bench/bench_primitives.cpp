// Timing of the image primitives the detector spends its time in: the forward+inverse FFT pair at the
// B-scan sizes, and the 3x3 Gaussian and Sobel filters. With FFTW available, its single-precision r2c/c2r
// pair is timed on the same sizes and the ratio ours/FFTW is printed at the end.

#include <Velin/Image/IppPrimitives.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#ifdef VELIN_BENCH_WITH_FFTW
#include <fftw3.h>
#endif

using namespace Orvan::Ipp;

namespace {

int orderOf(int n) {
    int o = 0;
    while ((1 << o) < n) ++o;
    return o;
}

std::vector<float> randomPixels(std::size_t n) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> u(0.0f, 255.0f);
    std::vector<float> v(n);
    for (float& x : v) x = u(rng);
    return v;
}

void BM_FftPair(benchmark::State& state) {
    const int W = static_cast<int>(state.range(0)), H = static_cast<int>(state.range(1));
    int step = 0;
    Ipp32f* src = ippiMalloc_32f_C1(W, H, &step);
    Ipp32f* spectrum = ippiMalloc_32f_C1(W, H, &step);
    const std::vector<float> pixels = randomPixels(static_cast<std::size_t>(W) * H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) src[static_cast<std::size_t>(y) * (step / 4) + x] = pixels[static_cast<std::size_t>(y) * W + x];
    IppiFFTSpec_R_32f* fft = nullptr;
    ippiFFTInitAlloc_R_32f(&fft, orderOf(W), orderOf(H), IPP_FFT_DIV_BY_SQRTN, ippAlgHintAccurate);
    for (auto _ : state) {
        ippiFFTFwd_RToPack_32f_C1R(src, step, spectrum, step, fft, nullptr);
        ippiFFTInv_PackToR_32f_C1R(spectrum, step, src, step, fft, nullptr);
        benchmark::ClobberMemory();
    }
    ippiFFTFree_R_32f(fft);
    ippiFree(spectrum);
    ippiFree(src);
}
BENCHMARK(BM_FftPair)->Args({1024, 512})->Args({1024, 256})->Unit(benchmark::kMillisecond);

#ifdef VELIN_BENCH_WITH_FFTW
void BM_FftwPair(benchmark::State& state) {
    const int W = static_cast<int>(state.range(0)), H = static_cast<int>(state.range(1));
    float* real = fftwf_alloc_real(static_cast<std::size_t>(W) * H);
    fftwf_complex* spectrum = fftwf_alloc_complex(static_cast<std::size_t>(W / 2 + 1) * H);
    fftwf_plan forward = fftwf_plan_dft_r2c_2d(H, W, real, spectrum, FFTW_MEASURE);
    fftwf_plan inverse = fftwf_plan_dft_c2r_2d(H, W, spectrum, real, FFTW_MEASURE);
    const std::vector<float> pixels = randomPixels(static_cast<std::size_t>(W) * H);
    std::copy(pixels.begin(), pixels.end(), real);
    const float scale = 1.0f / static_cast<float>(W) / static_cast<float>(H);
    for (auto _ : state) {
        fftwf_execute(forward);
        fftwf_execute(inverse);
        // Keep the values bounded from one iteration to the next, as a normalised pair would.
        for (std::size_t i = 0; i < static_cast<std::size_t>(W) * H; ++i) real[i] *= scale;
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(inverse);
    fftwf_free(spectrum);
    fftwf_free(real);
}
BENCHMARK(BM_FftwPair)->Args({1024, 512})->Args({1024, 256})->Unit(benchmark::kMillisecond);
#endif

void BM_Gauss3x3(benchmark::State& state) {
    const int W = 1024, H = 512;
    int step = 0;
    Ipp8u* src = ippiMalloc_8u_C1(W, H, &step);
    Ipp8u* dst = ippiMalloc_8u_C1(W, H, &step);
    std::mt19937 rng(1);
    for (int i = 0; i < step * H; ++i) src[i] = static_cast<Ipp8u>(rng());
    const IppiSize roi{W - 2, H - 2};
    for (auto _ : state) {
        ippiFilterGauss_8u_C1R(src + step + 1, step, dst + step + 1, step, roi, ippMskSize3x3);
        benchmark::ClobberMemory();
    }
    ippiFree(dst);
    ippiFree(src);
}
BENCHMARK(BM_Gauss3x3)->Unit(benchmark::kMicrosecond);

void BM_SobelVert3x3(benchmark::State& state) {
    const int W = 1024, H = 512;
    int step = 0;
    Ipp32f* src = ippiMalloc_32f_C1(W, H, &step);
    Ipp32f* dst = ippiMalloc_32f_C1(W, H, &step);
    const std::vector<float> pixels = randomPixels(static_cast<std::size_t>(step / 4) * H);
    std::copy(pixels.begin(), pixels.end(), src);
    const int row = step / 4;
    const IppiSize roi{W - 2, H - 2};
    for (auto _ : state) {
        ippiFilterSobelVertMask_32f_C1R(src + row + 1, step, dst + row + 1, step, roi, ippMskSize3x3);
        benchmark::ClobberMemory();
    }
    ippiFree(dst);
    ippiFree(src);
}
BENCHMARK(BM_SobelVert3x3)->Unit(benchmark::kMicrosecond);

// Prints as usual and remembers each run's CPU time (steadier than wall time on a shared machine) so the FFT ratios can be reported afterwards.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        // With repetitions the median stands for the size; a single run stands for itself.
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (median || (run.run_type == Run::RT_Iteration && medians.count(run.run_name.str()) == 0))
                times[run.run_name.str()] = run.GetAdjustedCPUTime();
            if (median) medians.insert(run.run_name.str());
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> times;
    std::set<std::string> medians;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const char* size : {"1024/512", "1024/256"}) {
        const auto ours = reporter.times.find(std::string("BM_FftPair/") + size);
        const auto fftw = reporter.times.find(std::string("BM_FftwPair/") + size);
        if (ours != reporter.times.end() && fftw != reporter.times.end() && fftw->second > 0.0)
            std::printf("FFT pair %s (width/height): ours / FFTW = %.2f\n", size, ours->second / fftw->second);
    }
    benchmark::Shutdown();
    return 0;
}
