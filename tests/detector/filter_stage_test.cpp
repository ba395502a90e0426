#include "DetectorTestHelpers.h"

#include <gtest/gtest.h>

#include <functional>

using namespace velin_test;

namespace {

using Region = std::function<bool(int x, int y)>;

std::vector<int> pixels(const ippImage8u& image) {
    std::vector<int> out;
    for (int y = 0; y < image.getHeight(); ++y)
        for (int x = 0; x < image.getWidth(); ++x) out.push_back(image.getRow(y)[x]);
    return out;
}

// 20 A-scans of 200 samples: grey 20 with a band of grey 200 from depth 90 on, `bandWidth` samples wide, in
// the smoothed and the intensity image alike. The raw data span the whole depth.
std::unique_ptr<VelinDetectorIpp> filterCase(int bandWidth, int fewScans) {
    auto d = std::make_unique<VelinDetectorIpp>();
    for (ippImage8u* image : {&d->rawImage, &d->smoothImage, &d->intensityImage, &d->maskImage, &d->componentImage})
        fillImage(*image, 200, 20, [&](int x, int) { return x >= 90 && x < 90 + bandWidth ? 200 : 20; });
    d->fewScansMode = fewScans;
    d->dataFirstDepth = d->dataLastDepth = -7;
    return d;
}

// A mask of `width` depth samples by `height` A-scans set to 1 inside `region`; data range first..last.
std::unique_ptr<VelinDetectorIpp> maskCase(int width, int height, const Region& region, int first, int last,
                                           int fewScans = 0) {
    auto d = std::make_unique<VelinDetectorIpp>();
    fillImage(d->maskImage, width, height, [&](int x, int y) { return region(x, y) ? 1 : 0; });
    fillImage(d->componentImage, width, height, 0);
    d->dataFirstDepth = first;
    d->dataLastDepth = last;
    d->fewScansMode = fewScans;
    return d;
}

Region block(int x0, int x1, int y0, int y1) {
    return [=](int x, int y) { return x >= x0 && x <= x1 && y >= y0 && y <= y1; };
}

// 10 A-scans of 120 samples, where a component needs 100 pixels.
bool clean(const Region& region, int first = 0, int last = 119, std::unique_ptr<VelinDetectorIpp>* out = nullptr) {
    auto d = maskCase(120, 10, region, first, last);
    const bool kept = d->cleanMask(d->maskImage);
    if (out) *out = std::move(d);
    return kept;
}

// 150 A-scans (unless given) of 100 samples with tissue from depth edge(y) down (none where edge(y) < 0).
struct Layer {
    std::unique_ptr<VelinDetectorIpp> d;
    Trace points;
    Layer(const std::function<int(int)>& edge, int fewScans = 0, int first = 0, int height = 150)
        : d(maskCase(
              100, height, [&](int x, int y) { return edge(y) >= 0 && x >= edge(y); }, first, 99, fewScans)) {}
    bool check(bool strict = true) {
        points.clear();
        return d->checkMaskLayer(points, strict);
    }
};

// Edge depth `depths[i]` on the rows below `ends[i]`.
std::function<int(int)> steps(const Ints& ends, const Ints& depths) {
    return [=](int y) {
        std::size_t i = 0;
        while (i < ends.size() && y >= ends[i]) ++i;
        return depths[i];
    };
}

}  // namespace

// The path shows in the mask: the histogram selectors keep pixels equal to the threshold (20) at their value,
// the blended path thresholds to 0 and 1 only.
TEST(FilterStage, ChoosesItsPathByTheShareOfBrightTissue) {
    auto wide = filterCase(40, 0);  // 20 % bright: Otsu
    EXPECT_TRUE(wide->runFilterStage());
    EXPECT_EQ(wide->maskImage.getRow(5)[50], 20);
    EXPECT_EQ(wide->maskImage.getRow(5)[100], 1);
    EXPECT_EQ(Ints({wide->dataFirstDepth, wide->dataLastDepth}), Ints({0, 199}));
    EXPECT_EQ(wide->filterStageMark, 0);

    auto blended = filterCase(15, 0);  // 7.5 %: blend, accepted by the layer check
    EXPECT_TRUE(blended->runFilterStage());
    EXPECT_EQ(blended->maskImage.getRow(5)[50], 0);
    EXPECT_EQ(blended->maskImage.getRow(5)[95], 1);
    EXPECT_EQ(blended->filterStageMark, 0);

    auto sparse = filterCase(8, 1);  // 4 % in a few-scans volume: minimum error, and the mark
    EXPECT_TRUE(sparse->runFilterStage());
    EXPECT_EQ(sparse->filterStageMark, 1);
    EXPECT_EQ(sparse->maskImage.getRow(5)[50], 20);

    // The same band in a normal volume goes the blended way; every attempt leaves too small a region.
    auto sparseBlended = filterCase(8, 0);
    EXPECT_FALSE(sparseBlended->runFilterStage());
    EXPECT_EQ(sparseBlended->filterStageMark, 1);

    // Fewer bright pixels than A-scans: given up before anything is written.
    auto dark = filterCase(0, 0);
    for (int y = 0; y < 19; ++y) dark->smoothImage.getRow(y)[3] = 80;
    dark->maskImage.getRow(4)[4] = 9;
    EXPECT_FALSE(dark->runFilterStage());
    EXPECT_EQ(dark->dataFirstDepth, -7);
    EXPECT_EQ(dark->maskImage.getRow(4)[4], 9);
    dark->smoothImage.getRow(19)[3] = 80;
    dark->runFilterStage();
    EXPECT_EQ(dark->dataFirstDepth, 0);
}

// Three quarters of the pixels at 50, one quarter at 200: every split between the levels separates the same
// classes, and both criteria keep the first, so the threshold is the dark level itself.
TEST(ThresholdSelection, TwoLevelHistogramGivesTheDarkLevelAndKeepsItInTheMask) {
    VelinDetectorIpp detector;
    ippImage8u source, mask;
    fillImage(source, 8, 4, [](int x, int) { return x < 6 ? 50 : 200; });
    fillImage(mask, 8, 4, 7);
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 7, false), 50);
    EXPECT_EQ(pixels(mask), std::vector<int>(32, 7));
    // Pixels equal to the threshold keep their grey value in a selector's mask, but become 0 in applyThreshold.
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 7, true), 50);
    EXPECT_EQ(mask.getRow(2)[0] * 10 + mask.getRow(2)[7], 501);
    detector.applyThreshold(source, mask, 50);
    EXPECT_EQ(mask.getRow(2)[0] * 10 + mask.getRow(2)[7], 1);

    // Grey levels 91 (2 pixels), 207 (8) and 248 (6). With the class-2 log term the minimum-error criterion
    // would choose 91, as Otsu does; without it, the split above 207 has the smaller criterion.
    fillImage(source, 8, 2, [](int x, int y) { return y * 8 + x < 2 ? 91 : y * 8 + x < 10 ? 207 : 248; });
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 7, false), 207);
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 7, false), 91);
}

TEST(ThresholdSelection, OnlyTheGivenColumnsCountAndABadRangeGivesZeroWithoutWriting) {
    VelinDetectorIpp detector;
    ippImage8u source, mask;
    // Columns 0..3 hold a 40/120 split; columns 4..7 are bright and must not shift it.
    fillImage(source, 8, 4, [](int x, int y) { return x >= 4 ? 250 : (y < 2 ? 40 : 120); });
    fillImage(mask, 8, 4, 9);
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 3, false), 40);
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 3, false), 40);
    EXPECT_EQ(detector.selectThresholdB(source, mask, 5, 3, true), 0);
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 8, true), 0);
    EXPECT_EQ(detector.selectThresholdB(source, mask, -1, 3, true), 0);
    EXPECT_EQ(pixels(mask), std::vector<int>(32, 9));

    // A flat image has no split at all: T = 0, and the mask still gets written.
    fillImage(source, 8, 4, 77);
    EXPECT_EQ(detector.selectThresholdB(source, mask, 0, 7, true), 0);
    EXPECT_EQ(detector.selectThresholdA(source, mask, 0, 7, false), 0);
    EXPECT_EQ(pixels(mask), std::vector<int>(32, 1));
}

TEST(DataDepthRange, FirstNonEmptyAScanAloneDecides) {
    VelinDetectorIpp detector;
    ippImage8u image;
    const struct {
        Region data;
        bool found;
        int first, last;
    } cases[] = {{[](int, int) { return false; }, false, 0, 9},
                 {[](int x, int y) { return (y == 1 && x >= 2 && x <= 6) || (y == 2 && x <= 8); }, true, 2, 6},
                 {[](int x, int y) { return y == 3 && x == 4; }, false, 4, 4}};
    for (const auto& c : cases) {
        int first = -5, last = -5;
        fillImage(image, 10, 4, [&](int x, int y) { return c.data(x, y) ? 5 : 0; });
        EXPECT_EQ(detector.findDataDepthRange(image, first, last), c.found);
        EXPECT_EQ(Ints({first, last}), Ints({c.first, c.last}));
    }
}

// Columns 31..50 of rows 1..5 make 100 pixels of mean depth 40, just enough.
TEST(CleanMask, KeepsOnlyComponentsOfTenPixelsPerScanFortyOrMoreFromBothDataEnds) {
    std::unique_ptr<VelinDetectorIpp> d;
    EXPECT_TRUE(clean(block(31, 50, 1, 5), 0, 80, &d));
    EXPECT_EQ(d->maskImage.getRow(5)[50], 1);
    EXPECT_FALSE(clean([](int x, int y) { return block(31, 50, 1, 5)(x, y) && !(x == 50 && y == 5); }, 0, 80, &d));
    EXPECT_EQ(d->maskImage.getRow(1)[31], 0);
    EXPECT_FALSE(clean(block(31, 50, 1, 5), 0, 79));
    // Mean depth 49 lies 39 from the first data sample at 10 (the range start counts, not column 0).
    EXPECT_FALSE(clean(block(40, 59, 1, 5), 10, 119, &d));
    EXPECT_EQ(d->maskImage.getRow(3)[45], 0);
}

TEST(CleanMask, JudgesEachFourConnectedComponentAndLeavesTheFrame) {
    std::unique_ptr<VelinDetectorIpp> d;
    EXPECT_TRUE(clean(
        [](int x, int y) {
            return block(51, 70, 2, 8)(x, y)     // 140 pixels, mean depth 60: kept
                   || (x == 50 && y == 5)        // joined to it through a side
                   || (x == 71 && y == 1)        // touching it only at a corner: a component of its own
                   || block(72, 80, 2, 4)(x, y)  // separate and too small
                   || y == 0 || x == 0;          // the frame lies outside the search
        },
        0, 119, &d));
    auto at = [&](int x, int y) { return d->maskImage.getRow(y)[x]; };
    EXPECT_EQ(at(60, 4) + at(50, 5), 2);
    EXPECT_EQ(at(71, 1) + at(75, 3), 0);
    EXPECT_EQ(at(60, 0) + at(0, 5), 2);
    // Fewer mask pixels than A-scans: given up before any search.
    EXPECT_FALSE(clean(block(50, 58, 3, 3), 0, 119, &d));
    EXPECT_EQ(at(50, 3), 1);
}

TEST(MaskLayerCheck, NeedsFifteenEdgePointsBelowTwoHundredScansAndThirtyFromThere) {
    for (int height : {150, 200}) {
        const int needed = height < 200 ? 15 : 30;
        Layer few([&](int y) { return y < needed ? 30 : -1; }, 0, 0, height);  // rows 1 .. needed - 1
        EXPECT_FALSE(few.check());
        EXPECT_EQ(few.d->minPointCount, needed);
        Layer enough([&](int y) { return y <= needed ? 30 : -1; }, 0, 0, height);
        EXPECT_TRUE(enough.check());
        ASSERT_EQ(enough.points.size(), static_cast<std::size_t>(needed));
        EXPECT_EQ(Ints({enough.points[0].depth, enough.points[0].aScan}), Ints({30, 1}));
    }
}

TEST(MaskLayerCheck, MeanEdgeDepthMustLieMoreThanNineteenFromTheDataEnds) {
    EXPECT_FALSE(Layer([](int) { return 19; }).check());
    Layer at20([](int) { return 20; });
    EXPECT_TRUE(at20.check());
    at20.d->dataLastDepth = 39;
    EXPECT_FALSE(at20.check());
    // 74 rows at 20 and 74 at 21 average 20.5, truncated to 20: 19 from the first data sample.
    EXPECT_FALSE(Layer([](int y) { return 20 + y % 2; }, 0, 1).check());
}

TEST(MaskLayerCheck, EdgesBelowTissueOrAtTheTopAreNotPoints) {
    // Tissue at columns 0..lastAbove over an edge at 23: 20 pixels in columns 2..21 exclude the point.
    for (int lastAbove : {20, 21}) {
        Layer c([](int) { return 23; });
        for (int y = 1; y < 149; ++y)
            for (int x = 0; x <= lastAbove; ++x) c.d->maskImage.getRow(y)[x] = 1;
        c.check();
        EXPECT_EQ(c.points.size(), lastAbove == 20 ? 148u : 0u);
    }
    // Edges at column 1 lie at the first data sample: not points, but rows at the top (39 x 4 > 109; 19 x 4 <= 129).
    Layer top(steps({40}, {1, 50}), 0, 1);
    EXPECT_FALSE(top.check());
    EXPECT_EQ(top.points.size(), 109u);
    EXPECT_TRUE(Layer(steps({20}, {1, 50}), 0, 1).check());
}

TEST(MaskLayerCheck, FewScansStrictModeRejectsMoreThanTwoJumps) {
    // Edge depth steps of 50 between row blocks: 30 -> 80 -> 30 is two jumps, a further -> 80 the third.
    EXPECT_TRUE(Layer(steps({50, 90}, {30, 80, 30}), 1).check());
    Layer three(steps({50, 90, 130}, {30, 80, 30, 80}), 1);
    EXPECT_FALSE(three.check());
    EXPECT_TRUE(three.check(false));
    three.d->fewScansMode = 0;
    EXPECT_TRUE(three.check());

    // Steps of more than 40 A-scans between consecutive points are jumps too.
    Layer gaps(steps({6, 47, 53, 94, 100, 141}, {30, -1, 30, -1, 30, -1, 30}), 1);
    EXPECT_FALSE(gaps.check());
    EXPECT_EQ(gaps.points.size(), 25u);

    Layer empty([](int) { return -1; });
    EXPECT_FALSE(empty.check());
    empty.d->fewScansMode = 1;
    EXPECT_DEATH(empty.check(), "out of range");
}
