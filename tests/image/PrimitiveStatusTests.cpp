// Every primitive reports bad arguments before it writes anything.

#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace Orvan::Ipp;

namespace {

struct Call {
    const char* name;
    bool readsSrc, writesDst;
    std::function<IppStatus(Ipp8u* src, Ipp8u* dst, int step, IppiSize size)> run;
};

// Byte buffers large enough for a 4x4 float image with a two-pixel frame; calls address the interior.
struct Buffers {
    std::vector<Ipp8u> src = std::vector<Ipp8u>(1024, 3), dst = std::vector<Ipp8u>(1024, 0xAB);
    Ipp8u* s() { return src.data() + 2 * 32 + 8; }
    Ipp8u* d() { return dst.data() + 2 * 32 + 8; }
};

template <typename T>
T* as(Ipp8u* p) {
    return reinterpret_cast<T*>(p);
}

std::vector<Call> imageCalls() {
    static Ipp32f f1, f2;
    static Ipp64f sum;
    static Ipp32s hist[4], levels[5];
    return {
        {"Set_8u", false, true, [](Ipp8u*, Ipp8u* d, int st, IppiSize z) { return ippiSet_8u_C1R(1, d, st, z); }},
        {"Set_16s", false, true, [](Ipp8u*, Ipp8u* d, int st, IppiSize z) { return ippiSet_16s_C1R(1, as<Ipp16s>(d), st, z); }},
        {"Set_32f", false, true, [](Ipp8u*, Ipp8u* d, int st, IppiSize z) { return ippiSet_32f_C1R(1, as<Ipp32f>(d), st, z); }},
        {"Copy_8u", true, true, [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiCopy_8u_C1R(s, st, d, st, z); }},
        {"Copy_16s", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiCopy_16s_C1R(as<Ipp16s>(s), st, as<Ipp16s>(d), st, z); }},
        {"Copy_32f", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiCopy_32f_C1R(as<Ipp32f>(s), st, as<Ipp32f>(d), st, z); }},
        {"Convert_8u32f", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiConvert_8u32f_C1R(s, st, as<Ipp32f>(d), st, z); }},
        {"Convert_32f8u", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiConvert_32f8u_C1R(as<Ipp32f>(s), st, d, st, z, ippRndZero); }},
        {"AddC", false, true, [](Ipp8u*, Ipp8u* d, int st, IppiSize z) { return ippiAddC_32f_C1IR(1, as<Ipp32f>(d), st, z); }},
        {"MulC", false, true, [](Ipp8u*, Ipp8u* d, int st, IppiSize z) { return ippiMulC_32f_C1IR(2, as<Ipp32f>(d), st, z); }},
        {"MinMax", true, false, [](Ipp8u* s, Ipp8u*, int st, IppiSize z) { return ippiMinMax_32f_C1R(as<Ipp32f>(s), st, z, &f1, &f2); }},
        {"Sum", true, false, [](Ipp8u* s, Ipp8u*, int st, IppiSize z) { return ippiSum_8u_C1R(s, st, z, &sum); }},
        {"HistogramEven", true, false,
         [](Ipp8u* s, Ipp8u*, int st, IppiSize z) { return ippiHistogramEven_8u_C1R(s, st, z, hist, levels, 5, 0, 256); }},
        {"Threshold", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiThreshold_LTValGTVal_8u_C1R(s, st, d, st, z, 1, 0, 2, 9); }},
        {"FilterGauss", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiFilterGauss_8u_C1R(s, st, d, st, z, ippMskSize3x3); }},
        {"FilterSobelVertMask", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) {
             return ippiFilterSobelVertMask_32f_C1R(as<Ipp32f>(s), st, as<Ipp32f>(d), st, z, ippMskSize3x3);
         }},
        {"MulPack", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, IppiSize z) { return ippiMulPack_32f_C1IR(as<Ipp32f>(s), st, as<Ipp32f>(d), st, z); }},
    };
}

}  // namespace

TEST(PrimitiveStatus, NullPointerBadSizeAndBadStepLeaveDestinationUntouched) {
    for (const Call& call : imageCalls()) {
        Buffers b;
        const std::vector<Ipp8u> before = b.dst;
        if (call.writesDst) {
            EXPECT_EQ(call.run(b.s(), nullptr, 32, {4, 4}), ippStsNullPtrErr) << call.name;
        }
        if (call.readsSrc) {
            EXPECT_EQ(call.run(nullptr, b.d(), 32, {4, 4}), ippStsNullPtrErr) << call.name;
        }
        EXPECT_EQ(call.run(b.s(), b.d(), 32, {0, 4}), ippStsSizeErr) << call.name;
        EXPECT_EQ(call.run(b.s(), b.d(), 32, {4, -1}), ippStsSizeErr) << call.name;
        EXPECT_EQ(call.run(b.s(), b.d(), 0, {4, 4}), ippStsStepErr) << call.name;
        // A null pointer is reported before a bad size.
        EXPECT_EQ(call.run(nullptr, nullptr, 0, {0, 0}), ippStsNullPtrErr) << call.name;
        EXPECT_EQ(b.dst, before) << call.name;
        EXPECT_EQ(call.run(b.s(), b.d(), 32, {4, 4}), ippStsNoErr) << call.name;
    }
}

TEST(PrimitiveStatus, OutputPointersAndOwnArgumentChecks) {
    Ipp8u img[64] = {};
    Ipp32f fimg[64] = {};
    Ipp32f mn = 0;
    Ipp32s hist[4] = {}, levels[5] = {};
    Ipp64f sum = 0;
    EXPECT_EQ(ippiMinMax_32f_C1R(fimg, 32, {4, 4}, &mn, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiSum_8u_C1R(img, 16, {4, 4}, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiHistogramEven_8u_C1R(img, 16, {4, 4}, nullptr, levels, 5, 0, 256), ippStsNullPtrErr);
    EXPECT_EQ(ippiHistogramEven_8u_C1R(img, 16, {4, 4}, hist, levels, 1, 0, 256), ippStsHistoNofLevelsErr);
    EXPECT_EQ(ippiSum_8u_C1R(img, 16, {4, 4}, &sum), ippStsNoErr);

    Ipp8u dst[64];
    std::fill(dst, dst + 64, 0xEE);
    EXPECT_EQ(ippiThreshold_LTValGTVal_8u_C1R(img, 8, dst, 8, {4, 4}, 100, 0, 99, 255), ippStsThresholdErr);
    EXPECT_EQ(dst[0], 0xEE);
    EXPECT_EQ(ippiThreshold_LTValGTVal_8u_C1R(img, 8, dst, 8, {4, 4}, 100, 0, 100, 255), ippStsNoErr);

    EXPECT_EQ(ippiFilterGauss_8u_C1R(img + 9, 8, dst, 8, {2, 2}, static_cast<IppiMaskSize>(44)), ippStsMaskSizeErr);
    EXPECT_EQ(ippiFilterSobelVertMask_32f_C1R(fimg + 9, 32, fimg, 32, {2, 2}, static_cast<IppiMaskSize>(3)),
              ippStsMaskSizeErr);

    Ipp16s v[4] = {1, 2, 3, 4}, out[4];
    EXPECT_EQ(ippsFilterMedian_16s(nullptr, out, 4, 3), ippStsNullPtrErr);
    EXPECT_EQ(ippsFilterMedian_16s(v, out, 0, 3), ippStsSizeErr);
    EXPECT_EQ(ippsFilterMedian_16s(v, out, 4, 0), ippStsMaskSizeErr);
    EXPECT_EQ(ippsFilterMedian_16s(v, out, 4, -3), ippStsMaskSizeErr);
    EXPECT_EQ(ippStaticInit(), ippStsNoErr);
}
