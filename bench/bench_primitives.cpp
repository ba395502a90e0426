// Timing of the image primitives the detector spends its time in: the forward+inverse FFT pair at the
// B-scan sizes, and the 3x3 Gaussian and Sobel filters. With FFTW available, its single-precision r2c/c2r
// pair is timed on the same sizes and the ratio ours/FFTW is printed at the end.

#include "BenchSupport.h"

#include <Velin/Image/FftBand.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

using namespace Orvan::Ipp;

namespace {

using velin_bench::randomPixels;

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

// The low-pass as the engine runs it on a 1024 x 512 B-scan: forward transform, product with the mask,
// inverse transform. Whole (live 0) or with the transforms limited to the columns the engine's usual mask
// keeps (109 of 512 with the default width selector): what skipping the masked columns saves.
void BM_LowPass(benchmark::State& state) {
    const int W = 1024, H = 512, live = static_cast<int>(state.range(0));
    int step = 0;
    Ipp32f* src = ippiMalloc_32f_C1(W, H, &step);
    Ipp32f* spectrum = ippiMalloc_32f_C1(W, H, &step);
    Ipp32f* mask = ippiMalloc_32f_C1(W, H, &step);
    const std::vector<float> pixels = randomPixels(static_cast<std::size_t>(step / 4) * H);
    std::copy(pixels.begin(), pixels.end(), src);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) mask[static_cast<std::size_t>(y) * (step / 4) + x] = x < 2 * 109 ? 0.5f : 0.0f;
    IppiFFTSpec_R_32f* fft = nullptr;
    ippiFFTInitAlloc_R_32f(&fft, 10, 9, IPP_FFT_DIV_BY_SQRTN, ippAlgHintAccurate);
    for (auto _ : state) {
        if (live > 0) {
            fftForwardLowBand(src, step, spectrum, step, fft, live);
            ippiMulPack_32f_C1IR(mask, step, spectrum, step, IppiSize{W, H});
            fftInverseLowBand(spectrum, step, spectrum, step, fft, live);
        } else {
            ippiFFTFwd_RToPack_32f_C1R(src, step, spectrum, step, fft, nullptr);
            ippiMulPack_32f_C1IR(mask, step, spectrum, step, IppiSize{W, H});
            ippiFFTInv_PackToR_32f_C1R(spectrum, step, spectrum, step, fft, nullptr);
        }
        benchmark::ClobberMemory();
    }
    ippiFFTFree_R_32f(fft);
    ippiFree(mask);
    ippiFree(spectrum);
    ippiFree(src);
}
BENCHMARK(BM_LowPass)->ArgName("live")->Arg(0)->Arg(109)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    velin_bench::registerFftPairs();
    benchmark::Initialize(&argc, argv);
    velin_bench::MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    // Processor time: steadier than wall time on a shared machine, and the pair runs on one thread.
    for (const char* size : {"1024/512/1", "1024/256/1"}) {
        const double ours = reporter.cpu(std::string("BM_FftPair/") + size);
        const double fftw = reporter.cpu(std::string("BM_FftwPair/") + size);
        if (ours > 0.0 && fftw > 0.0)
            std::printf("FFT pair %s (width/height/pairs): ours / FFTW = %.2f\n", size, ours / fftw);
    }
    std::printf("%s; load average %s\n", velin_bench::processorModel().c_str(), velin_bench::loadAverage().c_str());
    benchmark::Shutdown();
    return 0;
}
