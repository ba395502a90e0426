#include "DetectorTestHelpers.h"

namespace {

using Region = std::function<bool(int x, int y)>;

Ints pixels(const ippImage8u& image) {
    Ints out;
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

// Tissue from depth edge(y) down in A-scan y (none where edge(y) < 0).
Region below(const std::function<int(int)>& edge) {
    return [=](int x, int y) { return edge(y) >= 0 && x >= edge(y); };
}
// Edge depth `depths[i]` on the rows below `ends[i]`.
Region steps(const Ints& ends, const Ints& depths) {
    return below([=](int y) {
        std::size_t i = 0;
        while (i < ends.size() && y >= ends[i]) ++i;
        return depths[i];
    });
}

}  // namespace

// The path shows in the mask: the histogram selectors keep pixels equal to the threshold (20) at their value,
// the blended path thresholds to 0 and 1 only.
TEST(FilterStage, ChoosesItsPathByTheShareOfBrightTissue) {
    // clang-format off
    const struct { int band, fewScans; bool accepted; int mark; std::vector<std::pair<int, int>> mask; } cases[] = {
        {40, 0, true, 0, {{50, 20}, {100, 1}}},  // 20 % bright: Otsu
        {15, 0, true, 0, {{50, 0}, {95, 1}}},    // 7.5 %: blend, accepted by the layer check
        {8, 1, true, 1, {{50, 20}}},             // 4 % in a few-scans volume: minimum error, and the mark
        {8, 0, false, 1, {}}};                   // in a normal volume: blended, every attempt too small a region
    // clang-format on
    for (const auto& c : cases) {
        auto d = filterCase(c.band, c.fewScans);
        EXPECT_EQ(d->runFilterStage(), c.accepted) << c.band;
        EXPECT_EQ(Ints({d->filterStageMark, d->dataFirstDepth, d->dataLastDepth}), Ints({c.mark, 0, 199})) << c.band;
        for (const auto& p : c.mask) EXPECT_EQ(d->maskImage.getRow(5)[p.first], p.second) << c.band << ": " << p.first;
    }
    // Fewer bright pixels than A-scans: given up before anything is written.
    auto dark = filterCase(0, 0);
    for (int y = 0; y < 19; ++y) dark->smoothImage.getRow(y)[3] = 80;
    dark->maskImage.getRow(4)[4] = 9;
    EXPECT_FALSE(dark->runFilterStage());
    EXPECT_EQ(Ints({dark->dataFirstDepth, dark->maskImage.getRow(4)[4]}), Ints({-7, 9}));
    dark->smoothImage.getRow(19)[3] = 80;
    dark->runFilterStage();
    EXPECT_EQ(dark->dataFirstDepth, 0);
}

// The blended path: 254 of 4000 smoothed pixels bright (6.35 %), no mark. The intensity profiles run along depth,
// alike in every A-scan but in the fourth case; the data span all columns. A mask pixel is 1 above the threshold.
TEST(FilterStage, BlendedPathBlendsClampsRetriesAtOtsuLessTenAndFallsBackToMinimumError) {
    using Profile = std::function<int(int x, int y)>;
    using Pixels = std::vector<std::array<int, 3>>;  // column, row, mask value
    // clang-format off
    const struct { const char* what; Profile intensity; Ints thresholds; bool accepted; Pixels mask; } cases[] = {
        // (1460 * 20 + 2540 * 100) / 4000 = 70.8, truncated: 71 is tissue, 70 is not.
        {"blend", [](int x, int) { return x < 37 ? 20 : x == 37 ? 70 : x == 38 ? 71 : x < 89 ? 100 : 250; },
         {20, 100}, true, {{37, 5, 0}, {38, 5, 1}}},
        // The blend of 207 and 91 (133) is raised to 207, leaving only the 248 band.
        {"clamp", [](int x, int) { return x < 25 ? 91 : x < 75 ? 207 : x < 150 ? 248 : 207; },
         {207, 91}, true, {{50, 5, 0}, {100, 5, 1}}},
        // At 70 a stripe of 80 from column 2 puts the layer's edge at the first data sample; the retry at
        // 100 - 10 leaves it out and keeps the 91 beside the layer.
        {"retry", [](int x, int) { return x < 2 ? 20 : x < 22 ? 80 : x == 22 ? 91 : x < 91 ? 100 : 250; },
         {20, 100}, true, {{10, 5, 0}, {22, 5, 1}}},
        // One sample per A-scan above 50 - 10: the retry's layer check passes, its cleaning (fewer pixels than
        // A-scans) fails, and that is the result.
        {"retry result",
         [](int x, int y) { return x != 100 || y < 1 || y > 18 ? 10 : y == 18 ? 41 : y <= 5 ? 50 : 250; },
         {10, 50}, false, {{100, 18, 1}}},
        // The 248 band's edge lies 10 from the first data sample and everything lies above 91 - 10: both checks
        // fail, and the band alone, above tA, is cleaned and kept.
        {"fallback", [](int x, int) { return x < 10 ? 91 : x < 85 ? 248 : x < 185 ? 207 : 91; },
         {207, 91}, true, {{50, 5, 1}, {100, 5, 0}}}};
    // clang-format on
    for (const auto& c : cases) {
        VelinDetectorIpp d;
        fillImage(d.rawImage, 200, 20, 1);
        fillImage(d.smoothImage, 200, 20, [](int x, int y) { return y * 200 + x < 254 ? 200 : 0; });
        fillImage(d.intensityImage, 200, 20, c.intensity);
        fillImage(d.maskImage, 200, 20, 0);
        fillImage(d.componentImage, 200, 20, 0);
        EXPECT_EQ(Ints({d.selectThresholdA(d.intensityImage, d.maskImage, 0, 199, false),
                        d.selectThresholdB(d.intensityImage, d.maskImage, 0, 199, false)}),
                  c.thresholds)
            << c.what;
        EXPECT_EQ(d.runFilterStage(), c.accepted) << c.what;
        for (const auto& p : c.mask) EXPECT_EQ(d.maskImage.getRow(p[1])[p[0]], p[2]) << c.what << ": " << p[0];
    }
}

TEST(ThresholdSelection, MinimumErrorAndOtsuOnHandMadeHistograms) {
    VelinDetectorIpp detector;
    ippImage8u source, mask;
    auto both = [&](int first, int last, bool write) {
        return Ints({detector.selectThresholdA(source, mask, first, last, write),
                     detector.selectThresholdB(source, mask, first, last, write)});
    };
    // Three quarters of the pixels at 50, one quarter at 200: every split between the levels separates the same
    // classes, and both criteria keep the first, so the threshold is the dark level itself.
    fillImage(source, 8, 4, [](int x, int) { return x < 6 ? 50 : 200; });
    fillImage(mask, 8, 4, 7);
    EXPECT_EQ(both(0, 7, false), Ints({50, 50}));
    EXPECT_EQ(pixels(mask), Ints(32, 7));
    // Pixels equal to the threshold keep their grey value in a selector's mask, but become 0 in applyThreshold.
    detector.selectThresholdB(source, mask, 0, 7, true);
    EXPECT_EQ(Ints({mask.getRow(2)[0], mask.getRow(2)[7]}), Ints({50, 1}));
    detector.applyThreshold(source, mask, 50);
    EXPECT_EQ(Ints({mask.getRow(2)[0], mask.getRow(2)[7]}), Ints({0, 1}));

    // Grey levels 91 (2 pixels), 207 (8) and 248 (6). With the class-2 log term the minimum-error criterion
    // would choose 91, as Otsu does; without it, the split above 207 has the smaller criterion.
    fillImage(source, 8, 2, [](int x, int y) { return y * 8 + x < 2 ? 91 : y * 8 + x < 10 ? 207 : 248; });
    EXPECT_EQ(both(0, 7, false), Ints({207, 91}));

    // Columns 0..3 hold a 40/120 split; columns 4..7 are bright and must not shift it. A bad column range
    // gives 0 without writing.
    fillImage(source, 8, 4, [](int x, int y) { return x >= 4 ? 250 : (y < 2 ? 40 : 120); });
    fillImage(mask, 8, 4, 9);
    EXPECT_EQ(both(0, 3, false), Ints({40, 40}));
    for (const auto& r : {std::pair<int, int>{5, 3}, {0, 8}, {-1, 3}})
        EXPECT_EQ(both(r.first, r.second, true), Ints({0, 0}));
    EXPECT_EQ(pixels(mask), Ints(32, 9));
    // A flat image has no split at all: T = 0, and the mask still gets written.
    fillImage(source, 8, 4, 77);
    EXPECT_EQ(both(0, 7, true), Ints({0, 0}));
    EXPECT_EQ(pixels(mask), Ints(32, 1));
}

TEST(DataDepthRange, FirstNonEmptyAScanAloneDecides) {
    VelinDetectorIpp detector;
    ippImage8u image;
    auto range = [&](const Region& data) {  // found, first, last
        int first = -5, last = -5;
        fillImage(image, 10, 4, [&](int x, int y) { return data(x, y) ? 5 : 0; });
        const bool found = detector.findDataDepthRange(image, first, last);
        return Ints({found, first, last});
    };
    EXPECT_EQ(range([](int, int) { return false; }), Ints({0, 0, 9}));
    EXPECT_EQ(range([](int x, int y) { return (y == 1 && x >= 2 && x <= 6) || (y == 2 && x <= 8); }), Ints({1, 2, 6}));
    EXPECT_EQ(range([](int x, int y) { return y == 3 && x == 4; }), Ints({0, 4, 4}));
}

// Masks of 10 A-scans by 120 samples, in which a component needs 100 pixels, with the data range first..last.
TEST(CleanMask, KeepsFourConnectedComponentsOfTenPixelsPerScanFortyFromBothDataEndsAndLeavesTheFrame) {
    const Region minimal = block(31, 50, 1, 5);  // 100 pixels of mean depth 40, just enough
    // clang-format off
    const struct { Region mask; int first, last; bool kept; std::vector<std::array<int, 3>> pixels; } cases[] = {
        {minimal, 0, 80, true, {{50, 5, 1}}},
        {[=](int x, int y) { return minimal(x, y) && !(x == 50 && y == 5); }, 0, 80, false, {{31, 1, 0}}},
        {minimal, 0, 79, false, {}},
        // Mean depth 49 lies 39 from the first data sample at 10 (the range start counts, not column 0).
        {block(40, 59, 1, 5), 10, 119, false, {{45, 3, 0}}},
        // A block of 140 pixels at mean depth 60 with a pixel joined through a side, one touching it only at a
        // corner (a component of its own), a separate small block, and the frame, which lies outside the search.
        {[](int x, int y) { return block(51, 70, 2, 8)(x, y) || (x == 50 && y == 5) || (x == 71 && y == 1) ||
                                   block(72, 80, 2, 4)(x, y) || y == 0 || x == 0; },
         0, 119, true, {{60, 4, 1}, {50, 5, 1}, {71, 1, 0}, {75, 3, 0}, {60, 0, 1}, {0, 5, 1}}},
        // Fewer mask pixels than A-scans: given up before any search.
        {block(50, 58, 3, 3), 0, 119, false, {{50, 3, 1}}}};
    // clang-format on
    for (const auto& c : cases) {
        auto d = maskCase(120, 10, c.mask, c.first, c.last);
        EXPECT_EQ(d->cleanMask(d->maskImage), c.kept) << c.first << ".." << c.last;
        for (const auto& p : c.pixels) EXPECT_EQ(d->maskImage.getRow(p[1])[p[0]], p[2]) << p[0] << "," << p[1];
    }
}

// Masks of 100 depth samples by `height` A-scans, with the data range first..last.
TEST(MaskLayerCheck, VerdictsOnPointCountDistanceFromTheDataEndsTissueAboveAndJumps) {
    const Region threeJumps = steps({50, 90, 130}, {30, 80, 30, 80});
    auto tissueAbove = [](int last) -> Region {
        return [=](int x, int y) { return x >= 23 || (y > 0 && y < 149 && x <= last); };
    };
    // The number of points is checked where it is not -1.
    // clang-format off
    const struct { const char* what; Region tissue; int height, first, last, fewScans; bool strict, verdict;
                   int points; } cases[] = {
        {"14 points of 15", steps({15}, {30, -1}), 150, 0, 99, 0, true, false, -1},
        {"15 points", steps({16}, {30, -1}), 150, 0, 99, 0, true, true, 15},
        {"29 points of 30 from 200 A-scans on", steps({30}, {30, -1}), 200, 0, 99, 0, true, false, -1},
        {"30 points", steps({31}, {30, -1}), 200, 0, 99, 0, true, true, 30},
        {"mean edge 19 from the first sample", steps({}, {19}), 150, 0, 99, 0, true, false, -1},
        {"mean edge 20 from the first sample", steps({}, {20}), 150, 0, 99, 0, true, true, -1},
        {"mean edge 19 from the last sample", steps({}, {20}), 150, 0, 39, 0, true, false, -1},
        // 74 rows at 20 and 74 at 21 average 20.5, truncated to 20: 19 from the first data sample.
        {"truncated mean", below([](int y) { return 20 + y % 2; }), 150, 1, 99, 0, true, false, -1},
        // Tissue at columns 0..lastAbove over an edge at 23: 20 pixels in columns 2..21 exclude the point.
        {"19 pixels above", tissueAbove(20), 150, 0, 99, 0, true, true, 148},
        {"20 pixels above", tissueAbove(21), 150, 0, 99, 0, true, false, 0},
        // Edges at the first data sample are no points, but rows at the top (39 x 4 > 109; 19 x 4 <= 129).
        {"39 rows at the top", steps({40}, {1, 50}), 150, 1, 99, 0, true, false, 109},
        {"19 rows at the top", steps({20}, {1, 50}), 150, 1, 99, 0, true, true, -1},
        // Edge depth steps of 50 between row blocks; a few-scans volume allows two jumps when strict.
        {"two jumps", steps({50, 90}, {30, 80, 30}), 150, 0, 99, 1, true, true, -1},
        {"three jumps", threeJumps, 150, 0, 99, 1, true, false, -1},
        {"three jumps, not strict", threeJumps, 150, 0, 99, 1, false, true, -1},
        {"three jumps, normal volume", threeJumps, 150, 0, 99, 0, true, true, -1},
        // Steps of more than 40 A-scans between consecutive points are jumps too.
        {"three gaps", steps({6, 47, 53, 94, 100, 141}, {30, -1, 30, -1, 30, -1, 30}), 150, 0, 99, 1, true, false, 25}};
    // clang-format on
    for (const auto& c : cases) {
        auto d = maskCase(100, c.height, c.tissue, c.first, c.last, c.fewScans);
        Trace points;
        EXPECT_EQ(d->checkMaskLayer(points, c.strict), c.verdict) << c.what;
        EXPECT_EQ(c.points < 0 ? -1 : static_cast<int>(points.size()), c.points) << c.what;
        EXPECT_TRUE(c.points != 15 || (d->minPointCount == 15 && points[0].depth == 30 && points[0].aScan == 1));
    }
    // In a few-scans volume an empty layer reads past the end of its point list: a fatal fault, never a silent read.
    auto empty = maskCase(100, 150, steps({}, {100}), 0, 99, 1);
    Trace points;
    EXPECT_DEATH(empty->checkMaskLayer(points, true), "out of range");
}
