#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace Orvan::Velin;

namespace {

void paint(ippImage8u& image, int width, int height, const std::function<int(int, int)>& value) {
    if (image.getWidth() == -1) image.allocate(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image.getRow(y)[x] = static_cast<Orvan::Ipp::Ipp8u>(value(x, y));
}

std::vector<int> pixels(const ippImage8u& image) {
    std::vector<int> out;
    for (int y = 0; y < image.getHeight(); ++y)
        for (int x = 0; x < image.getWidth(); ++x) out.push_back(image.getRow(y)[x]);
    return out;
}

}  // namespace

// Three quarters of the pixels at 50, one quarter at 200: every split between the levels separates the same
// classes, and both criteria keep the first, so the threshold is the dark level itself.
TEST(ThresholdSelection, TwoLevelHistogramGivesTheDarkLevelAndKeepsItInTheMask) {
    VelinDetectorIpp detector;
    ippImage8u source, mask;
    paint(source, 8, 4, [](int x, int) { return x < 6 ? 50 : 200; });
    paint(mask, 8, 4, [](int, int) { return 7; });
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 7, false), 50);
    EXPECT_EQ(pixels(mask), std::vector<int>(32, 7));

    // Pixels equal to the threshold keep their grey value in a selector's mask, but become 0 in applyThreshold.
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 7, true), 50);
    EXPECT_EQ(mask.getRow(2)[0] * 10 + mask.getRow(2)[7], 501);
    detector.applyThreshold(source, mask, 50);
    EXPECT_EQ(mask.getRow(2)[0] * 10 + mask.getRow(2)[7], 1);
}

// Grey levels 91 (2 pixels), 207 (8) and 248 (6). With the class-2 log term the minimum-error criterion would
// choose 91, as Otsu does; without it, the split above 207 has the smaller criterion.
TEST(ThresholdSelection, MinimumErrorCriterionLacksTheSecondClassLogTerm) {
    VelinDetectorIpp detector;
    ippImage8u source, mask;
    paint(source, 8, 2, [](int x, int y) {
        const int i = y * 8 + x;
        return i < 2 ? 91 : i < 10 ? 207 : 248;
    });
    paint(mask, 8, 2, [](int, int) { return 0; });
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 7, false), 207);
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 7, false), 91);
}

TEST(ThresholdSelection, OnlyTheGivenColumnsCountAndABadRangeGivesZeroWithoutWriting) {
    VelinDetectorIpp detector;
    ippImage8u source, mask;
    // Columns 0..3 hold a 40/120 split; columns 4..7 are bright and must not shift it.
    paint(source, 8, 4, [](int x, int y) { return x >= 4 ? 250 : (y < 2 ? 40 : 120); });
    paint(mask, 8, 4, [](int, int) { return 9; });
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 3, false), 40);
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 3, false), 40);

    EXPECT_EQ(detector.selectThresholdB(source, mask, 5, 3, true), 0);
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 8, true), 0);
    EXPECT_EQ(detector.selectThresholdB(source, mask, -1, 3, true), 0);
    EXPECT_EQ(pixels(mask), std::vector<int>(32, 9));

    // A flat image has no split at all: T = 0, and the mask still gets written.
    paint(source, 8, 4, [](int, int) { return 77; });
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 7, true), 0);
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 7, false), 0);
    EXPECT_EQ(pixels(mask), std::vector<int>(32, 1));
}

TEST(DataDepthRange, FirstNonEmptyAScanAloneDecides) {
    VelinDetectorIpp detector;
    ippImage8u image;
    int first = -5, last = -5;
    paint(image, 10, 4, [](int, int) { return 0; });
    EXPECT_FALSE(detector.findDataDepthRange(image, first, last));
    EXPECT_EQ(first, 0);
    EXPECT_EQ(last, 9);

    paint(image, 10, 4, [](int x, int y) { return (y == 1 && x >= 2 && x <= 6) || (y == 2 && x <= 8) ? 5 : 0; });
    EXPECT_TRUE(detector.findDataDepthRange(image, first, last));
    EXPECT_EQ(first, 2);
    EXPECT_EQ(last, 6);

    paint(image, 10, 4, [](int x, int y) { return y == 3 && x == 4 ? 5 : 0; });
    EXPECT_FALSE(detector.findDataDepthRange(image, first, last));
    EXPECT_EQ(first, 4);
    EXPECT_EQ(last, 4);
}
