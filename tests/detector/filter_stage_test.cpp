#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

using namespace Orvan::Velin;

namespace {

// 20 A-scans of 200 samples: grey 20 with a band of grey 200 from depth 90 on, `bandWidth` samples wide, in
// the smoothed and the intensity image alike. The raw data span the whole depth.
struct FilterCase {
    VelinDetectorIpp detector;

    FilterCase(int bandWidth, int fewScans) {
        for (ippImage8u* image : {&detector.rawImage, &detector.smoothImage, &detector.intensityImage,
                                  &detector.maskImage, &detector.componentImage}) {
            image->allocate(200, 20);
            for (int y = 0; y < 20; ++y)
                for (int x = 0; x < 200; ++x) image->getRow(y)[x] = x >= 90 && x < 90 + bandWidth ? 200 : 20;
        }
        detector.fewScansMode = fewScans;
        detector.dataFirstDepth = detector.dataLastDepth = -7;
    }
    int mask(int x, int y) const { return detector.maskImage.getRow(y)[x]; }
};

}  // namespace

// The path shows in the mask: the histogram selectors keep pixels equal to the threshold (20) at their value,
// the blended path thresholds to 0 and 1 only.
TEST(FilterStage, ChoosesItsPathByTheShareOfBrightTissue) {
    FilterCase wide(40, 0);  // 20 % bright: Otsu
    EXPECT_TRUE(wide.detector.runFilterStage());
    EXPECT_EQ(wide.mask(50, 5), 20);
    EXPECT_EQ(wide.mask(100, 5), 1);
    EXPECT_EQ(wide.detector.dataFirstDepth, 0);
    EXPECT_EQ(wide.detector.dataLastDepth, 199);
    EXPECT_EQ(wide.detector.filterStageMark, 0);

    FilterCase blended(15, 0);  // 7.5 %: blend, accepted by the layer check
    EXPECT_TRUE(blended.detector.runFilterStage());
    EXPECT_EQ(blended.mask(50, 5), 0);
    EXPECT_EQ(blended.mask(95, 5), 1);
    EXPECT_EQ(blended.detector.filterStageMark, 0);

    FilterCase sparse(8, 1);  // 4 % in a few-scans volume: minimum error, and the mark
    EXPECT_TRUE(sparse.detector.runFilterStage());
    EXPECT_EQ(sparse.detector.filterStageMark, 1);
    EXPECT_EQ(sparse.mask(50, 5), 20);

    // The same band in a normal volume goes the blended way; every attempt leaves too small a region.
    FilterCase sparseBlended(8, 0);
    EXPECT_FALSE(sparseBlended.detector.runFilterStage());
    EXPECT_EQ(sparseBlended.detector.filterStageMark, 1);
}

TEST(FilterStage, GivesUpUntouchedWithFewerBrightPixelsThanScans) {
    FilterCase dark(0, 0);
    for (int y = 0; y < 19; ++y) dark.detector.smoothImage.getRow(y)[3] = 80;
    dark.detector.maskImage.getRow(4)[4] = 9;
    EXPECT_FALSE(dark.detector.runFilterStage());
    EXPECT_EQ(dark.detector.dataFirstDepth, -7);
    EXPECT_EQ(dark.mask(4, 4), 9);
    dark.detector.smoothImage.getRow(19)[3] = 80;
    dark.detector.runFilterStage();
    EXPECT_EQ(dark.detector.dataFirstDepth, 0);
}
