// Every primitive reports bad arguments, in the order pointers, region, step, before it writes anything.

#include <Velin/Image/IppPrimitives.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace Orvan::Ipp;

namespace {

// Source and destination as raw bytes; each call casts them to its pixel type.
using Run = std::function<IppStatus(Ipp8u* src, Ipp8u* dst, int step, IppiSize size)>;
struct Call {
    const char* name;
    bool readsSrc, writesDst;
    Run run;
};

template <typename T>
T* as(Ipp8u* p) {
    return reinterpret_cast<T*>(p);
}

std::vector<Call> imageCalls() {
    static Ipp32f lo, hi;
    static Ipp64f sum;
    static Ipp32s hist[4], levels[5];
    using S = IppiSize;
    return {
        {"Set_8u", false, true, [](Ipp8u*, Ipp8u* d, int st, S z) { return ippiSet_8u_C1R(1, d, st, z); }},
        {"Copy_8u", true, true, [](Ipp8u* s, Ipp8u* d, int st, S z) { return ippiCopy_8u_C1R(s, st, d, st, z); }},
        {"Copy_32f", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, S z) { return ippiCopy_32f_C1R(as<Ipp32f>(s), st, as<Ipp32f>(d), st, z); }},
        {"Convert_8u32f", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, S z) { return ippiConvert_8u32f_C1R(s, st, as<Ipp32f>(d), st, z); }},
        {"Convert_32f8u", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, S z) { return ippiConvert_32f8u_C1R(as<Ipp32f>(s), st, d, st, z, ippRndZero); }},
        {"AddC", false, true, [](Ipp8u*, Ipp8u* d, int st, S z) { return ippiAddC_32f_C1IR(1, as<Ipp32f>(d), st, z); }},
        {"MinMax", true, false, [](Ipp8u* s, Ipp8u*, int st, S z) { return ippiMinMax_32f_C1R(as<Ipp32f>(s), st, z, &lo, &hi); }},
        {"Sum", true, false, [](Ipp8u* s, Ipp8u*, int st, S z) { return ippiSum_8u_C1R(s, st, z, &sum); }},
        {"HistogramEven", true, false,
         [](Ipp8u* s, Ipp8u*, int st, S z) { return ippiHistogramEven_8u_C1R(s, st, z, hist, levels, 5, 0, 256); }},
        {"Threshold", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, S z) { return ippiThreshold_LTValGTVal_8u_C1R(s, st, d, st, z, 1, 0, 2, 9); }},
        {"FilterGauss", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, S z) { return ippiFilterGauss_8u_C1R(s, st, d, st, z, ippMskSize3x3); }},
        {"FilterSobelVertMask", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, S z) {
             return ippiFilterSobelVertMask_32f_C1R(as<Ipp32f>(s), st, as<Ipp32f>(d), st, z, ippMskSize3x3);
         }},
        {"MulPack", true, true,
         [](Ipp8u* s, Ipp8u* d, int st, S z) { return ippiMulPack_32f_C1IR(as<Ipp32f>(s), st, as<Ipp32f>(d), st, z); }},
    };
}

}  // namespace

TEST(PrimitiveStatus, NullPointerBadSizeAndBadStepLeaveDestinationUntouched) {
    for (const Call& call : imageCalls()) {
        // 4x4 floats in rows of 32 bytes, two rows and two pixels in, so a 5x5 mask could read its frame.
        std::vector<Ipp8u> src(1024, 3), dst(1024, 0xAB);
        Ipp8u* s = src.data() + 2 * 32 + 8;
        Ipp8u* d = dst.data() + 2 * 32 + 8;
        if (call.writesDst) {
            EXPECT_EQ(call.run(s, nullptr, 32, {4, 4}), ippStsNullPtrErr) << call.name;
        }
        if (call.readsSrc) {
            EXPECT_EQ(call.run(nullptr, d, 32, {4, 4}), ippStsNullPtrErr) << call.name;
        }
        EXPECT_EQ(call.run(s, d, 32, {0, 4}), ippStsSizeErr) << call.name;
        EXPECT_EQ(call.run(s, d, 32, {4, -1}), ippStsSizeErr) << call.name;
        EXPECT_EQ(call.run(s, d, 0, {4, 4}), ippStsStepErr) << call.name;
        EXPECT_EQ(call.run(nullptr, nullptr, 0, {0, 0}), ippStsNullPtrErr) << call.name;
        EXPECT_EQ(dst, std::vector<Ipp8u>(1024, 0xAB)) << call.name;
        EXPECT_EQ(call.run(s, d, 32, {4, 4}), ippStsNoErr) << call.name;
    }
}

TEST(PrimitiveStatus, OutputPointersAndArgumentChecksOfTheirOwn) {
    Ipp8u img[64] = {}, dst[64];
    Ipp32f fimg[64] = {};
    Ipp32f mn = 0;
    Ipp32s hist[4] = {}, levels[5] = {};
    EXPECT_EQ(ippiMinMax_32f_C1R(fimg, 32, {4, 4}, &mn, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiSum_8u_C1R(img, 16, {4, 4}, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippiHistogramEven_8u_C1R(img, 16, {4, 4}, nullptr, levels, 5, 0, 256), ippStsNullPtrErr);
    EXPECT_EQ(ippiHistogramEven_8u_C1R(img, 16, {4, 4}, hist, levels, 1, 0, 256), ippStsHistoNofLevelsErr);

    std::fill(dst, dst + 64, 0xEE);
    EXPECT_EQ(ippiThreshold_LTValGTVal_8u_C1R(img, 8, dst, 8, {4, 4}, 100, 0, 99, 255), ippStsThresholdErr);
    EXPECT_EQ(dst[0], 0xEE);
    EXPECT_EQ(ippiFilterGauss_8u_C1R(img + 9, 8, dst, 8, {2, 2}, static_cast<IppiMaskSize>(44)), ippStsMaskSizeErr);
    EXPECT_EQ(ippiFilterSobelVertMask_32f_C1R(fimg + 9, 32, fimg, 32, {2, 2}, static_cast<IppiMaskSize>(3)),
              ippStsMaskSizeErr);

    Ipp16s v[4] = {1, 2, 3, 4}, out[4];
    EXPECT_EQ(ippsFilterMedian_16s(nullptr, out, 4, 3), ippStsNullPtrErr);
    EXPECT_EQ(ippsFilterMedian_16s(v, out, 0, 3), ippStsSizeErr);
    EXPECT_EQ(ippsFilterMedian_16s(v, out, 4, 0), ippStsMaskSizeErr);
}
