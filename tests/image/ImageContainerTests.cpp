// Image containers: the row-step rule, row addressing per pixel type, and copyFrom keeping its own size.

#include <Velin/Image/IppPrimitives.h>
#include <Velin/Image/ippImage16s.h>
#include <Velin/Image/ippImage32f.h>
#include <Velin/Image/ippImage8u.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Orvan::Ipp;

namespace {

std::ptrdiff_t bytesFrom(const void* from, const void* to) {
    return static_cast<const std::uint8_t*>(to) - static_cast<const std::uint8_t*>(from);
}

}  // namespace

TEST(ImageContainer, StepIsRowBytesRoundedUpTo32AndOnlyTheShortImageCountsItInElements) {
    int steps[7];
    void* const p[7] = {ippiMalloc_8u_C1(1, 3, &steps[0]),  ippiMalloc_8u_C1(32, 3, &steps[1]),
                        ippiMalloc_8u_C1(33, 3, &steps[2]), ippiMalloc_16s_C1(17, 3, &steps[3]),
                        ippiMalloc_32f_C1(9, 3, &steps[4]), ippiMalloc_8u_C1(0, 5, &steps[5]),
                        ippiMalloc_32f_C1(5, -2, &steps[6])};
    EXPECT_EQ(std::vector<int>(steps, steps + 7), (std::vector<int>{32, 32, 64, 64, 64, 0, 0}));
    EXPECT_TRUE(p[4] != nullptr && p[5] == nullptr && p[6] == nullptr);
    for (void* q : p) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(q) % 32, 0u);
        ippiFree(q);
    }

    ippImage8u a;
    a.allocate(33, 4);
    EXPECT_TRUE(a.getStep() == 64 && a.getOwnsData());
    EXPECT_EQ(bytesFrom(a.getData(), a.getRow(3)), 3 * 64);
    EXPECT_EQ(bytesFrom(a.getData(), a.getPixel(5, 2)), 2 * 64 + 5);

    // Setup allocates exactly the images whose width is still -1.
    ippImage32f f;
    EXPECT_TRUE(f.getWidth() == -1 && f.getHeight() == -1 && f.getStep() == -1 && f.getData() == nullptr);
    f.allocate(10, 6);
    EXPECT_EQ(bytesFrom(f.getData(), f.getRow(5)), 5 * 64);
    EXPECT_EQ(bytesFrom(f.getData(), f.getPixel(3, 2)), 2 * 64 + 4 * 3);
    EXPECT_EQ(bytesFrom(f.getData(), f.getRoiOrigin(1)), 64 + 4);
    EXPECT_TRUE(f.getRoiSize(1).width == 8 && f.getRoiSize(1).height == 4);

    // Row y of the 16-bit image starts 2*y*step bytes in, and getPixel agrees.
    ippImage16s s(16, 3);
    EXPECT_EQ(s.getStep(), 32);
    EXPECT_EQ(bytesFrom(s.getData(), s.getRow(2)), 2 * 2 * 32);
    EXPECT_EQ(bytesFrom(s.getData(), s.getPixel(3, 1)), 2 * (32 + 3));
    s.fill(-7);
    EXPECT_EQ(*reinterpret_cast<Ipp16s*>(reinterpret_cast<Ipp8u*>(s.getData()) + 2 * 32 + 8), -7);
}

TEST(ImageContainer, CopyFromKeepsTheTargetSize) {
    ippImage8u big, small;
    big.allocate(40, 6);
    small.allocate(9, 3);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 40; ++x) *big.getPixel(x, y) = static_cast<Ipp8u>(y * 40 + x);
    small.copyFrom(big);
    EXPECT_TRUE(small.getSize().width == 9 && small.getSize().height == 3 && small.getStep() == 32);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 9; ++x) EXPECT_EQ(*small.getPixel(x, y), y * 40 + x);
    EXPECT_EQ(small.getRow(2), small.getPixel(0, 2));
}
