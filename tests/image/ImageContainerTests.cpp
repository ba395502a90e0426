// Image containers: the row-step rule, row addressing per pixel type, and copyFrom keeping its own size.

#include <Velin/Image/IppPrimitives.h>
#include <Velin/Image/ippImage16s.h>
#include <Velin/Image/ippImage32f.h>
#include <Velin/Image/ippImage8u.h>

#include <gtest/gtest.h>

#include <cstdint>

using namespace Orvan::Ipp;

namespace {

std::ptrdiff_t bytesFrom(const void* from, const void* to) {
    return static_cast<const std::uint8_t*>(to) - static_cast<const std::uint8_t*>(from);
}

}  // namespace

TEST(ImageContainer, MallocStepIsRowBytesRoundedUpTo32) {
    struct Case {
        int width, elem, step;
    };
    for (Case c : {Case{33, 1, 64}, Case{32, 1, 32}, Case{1, 1, 32}, Case{8, 4, 32}, Case{9, 4, 64}, Case{16, 2, 32},
                   Case{17, 2, 64}}) {
        int step = -1;
        void* p = c.elem == 1   ? static_cast<void*>(ippiMalloc_8u_C1(c.width, 3, &step))
                  : c.elem == 2 ? static_cast<void*>(ippiMalloc_16s_C1(c.width, 3, &step))
                                : static_cast<void*>(ippiMalloc_32f_C1(c.width, 3, &step));
        EXPECT_EQ(step, c.step) << "width " << c.width << " element " << c.elem;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 32, 0u);
        ippiFree(p);
    }
    int step = -1;
    EXPECT_EQ(ippiMalloc_8u_C1(0, 5, &step), nullptr);
    EXPECT_EQ(step, 0);
    EXPECT_EQ(ippiMalloc_32f_C1(5, -2, &step), nullptr);
    ippiFree(nullptr);
}

TEST(ImageContainer, FreshThenAllocatedByteAndFloatImagesAddressByByteStep) {
    ippImage8u a;
    EXPECT_EQ(a.getSize().width, -1);
    EXPECT_EQ(a.getSize().height, -1);
    EXPECT_EQ(a.getStep(), -1);
    a.allocate(33, 4);
    EXPECT_EQ(a.getStep(), 64);
    EXPECT_TRUE(a.getOwnsData());
    EXPECT_EQ(bytesFrom(a.getData(), a.getRow(3)), 3 * 64);
    EXPECT_EQ(bytesFrom(a.getData(), a.getPixel(5, 2)), 2 * 64 + 5);

    ippImage32f f;
    f.allocate(10, 6);
    EXPECT_EQ(bytesFrom(f.getData(), f.getRow(5)), 5 * 64);
    EXPECT_EQ(bytesFrom(f.getData(), f.getPixel(3, 2)), 2 * 64 + 4 * 3);
    EXPECT_EQ(f.getRoiSize(1).width, 8);
    EXPECT_EQ(f.getRoiSize(1).height, 4);
    EXPECT_EQ(bytesFrom(f.getData(), f.getRoiOrigin(1)), f.getStep() + 4);
}

TEST(ImageContainer, ShortImageCountsTheByteStepInElements) {
    // Row y of the 16-bit image starts 2*y*step bytes in, and getPixel agrees.
    ippImage16s s(16, 3);
    EXPECT_EQ(s.getStep(), 32);
    EXPECT_EQ(bytesFrom(s.getData(), s.getRow(2)), 2 * 2 * 32);
    EXPECT_EQ(bytesFrom(s.getData(), s.getPixel(3, 1)), 2 * (32 + 3));
    s.fill(-7);
    EXPECT_EQ(*reinterpret_cast<Ipp16s*>(reinterpret_cast<Ipp8u*>(s.getData()) + 2 * s.getStep() + 8), -7);
}

TEST(ImageContainer, CopyFromKeepsTheTargetSize) {
    ippImage8u big, small;
    big.allocate(40, 6);
    small.allocate(9, 3);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 40; ++x) *big.getPixel(x, y) = static_cast<Ipp8u>(y * 40 + x);
    small.copyFrom(big);
    EXPECT_EQ(small.getSize().width, 9);
    EXPECT_EQ(small.getSize().height, 3);
    EXPECT_EQ(small.getStep(), 32);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 9; ++x) EXPECT_EQ(*small.getPixel(x, y), y * 40 + x);
    EXPECT_EQ(small.getRow(2), small.getPixel(0, 2));
}
