#include "DetectorTestHelpers.h"

namespace {

constexpr int kWidth = 400;
enum class Profile { Layered, FlatValley, NoSecondBand, NoDarkValley, NarrowValley, Even, EvenDip, EvenOn, Ramp, Zero };

// Filtered A-scans below upper points at depth ~50: a top layer peaking at 60 and, in the layered profiles,
// a second band at 250..269 with a dark valley between (dipping to 5 at 200 in Layered). NarrowValley is
// bright down to the band but for a short valley at 200..210; its band is brightest at its top (250) and dips
// deeper than the valley at 260. Even lies evenly and exactly at the valley threshold, 0.35 * (80 + 100) = 63,
// from 71 to 239, above a band brightest at its top (80 at 240) and ending at 269 (72), with 63 again at 250;
// EvenDip dips to 5 at 250 instead; EvenOn stays at 63 below the band. Ramp rises to 74 at 74 with a single
// bright sample at 75.
float profileAt(Profile profile, int x) {
    if (profile == Profile::Zero) return 0.0f;
    if (profile == Profile::Ramp) return x < 75 ? static_cast<float>(x) : x == 75 ? 1000.0f : 0.0f;
    if (x == 60) return 100.0f;
    if (x >= 55 && x < (profile == Profile::NoDarkValley ? 250 : 71)) return 80.0f;
    if (profile == Profile::NarrowValley && x > 70 && x < 270)
        return x >= 200 && x <= 210 ? 5.0f : x == 250 ? 95.0f : x == 260 ? 2.0f : x < 250 ? 80.0f : 90.0f;
    if (profile == Profile::EvenOn && x >= 270) return 63.0f;
    if ((profile == Profile::Even || profile == Profile::EvenDip || profile == Profile::EvenOn) && x > 70 && x < 270) {
        if (x == 250) return profile == Profile::EvenDip ? 5.0f : 63.0f;
        return x < 240 ? 63.0f : x == 240 ? 80.0f : x == 269 ? 72.0f : 75.0f;
    }
    if (profile != Profile::NoSecondBand && x >= 250 && x < 270) return 90.0f;
    return profile == Profile::Layered && x == 200 ? 5.0f : 10.0f;
}

// 30 A-scans of `all` except where `rows` says otherwise.
struct SegmentScene {
    VelinDetectorIpp d;
    explicit SegmentScene(Profile all, const std::vector<std::pair<int, Profile>>& rows = {}) {
        fillImage(d.filteredImage, kWidth, 30, [&](int x, int y) {
            for (const auto& r : rows)
                if (r.first == y) return profileAt(r.second, x);
            return profileAt(all, x);
        });
        d.minPointCount = 1;
    }
    // A chain of points at `depth` in the rows first..last, then (optionally) in the rows first2..last2.
    void chain(int first, int last, int depth, int first2 = 1, int last2 = 0, int depth2 = 0) {
        Trace t;
        for (int y = first; y <= last; ++y) t.push_back(BoundaryPoint{depth, y});
        for (int y = first2; y <= last2; ++y) t.push_back(BoundaryPoint{depth2, y});
        d.upperTraces.push_back(t);
    }
};

// A segment of points at depth 20 with the given A-scans, limit depths and weights.
void addSegment(VelinDetectorIpp& d, const Ints& aScans, const Ints& limits, const Floats& weights) {
    Segment s;
    for (std::size_t i = 0; i < aScans.size(); ++i)
        s.push_back(UpperPoint{20, aScans[i], limits[i], aScans[i], weights[i]});
    d.upperSegments.push_back(s);
}

}  // namespace

TEST(BuildUpperSegments, LimitsFollowThePeakTheSecondBandAndTheValley) {
    for (int minimum : {14, 16}) {
        SegmentScene s(Profile::Layered, {{4, Profile::FlatValley}, {5, Profile::NoSecondBand},
                                          {6, Profile::NoDarkValley}, {7, Profile::NarrowValley},
                                          {8, Profile::Even}, {9, Profile::EvenDip}});
        s.chain(0, 11, 50);
        s.d.minPointCount = minimum;
        // Rows 1..10 give records, 7 of them strong: enough for 14 but not for 16 as the minimum count.
        ASSERT_EQ(s.d.buildUpperSegments(), minimum == 14);
        if (minimum == 16) continue;
        // The run leaves out the last record (row 10). A valley this short, under a band almost as bright as
        // the top layer, gives way to the darkest sample down to the band's deepest bright sample (row 7).
        // Samples at the threshold are not dark: without a darker one the limit goes to the first dark sample
        // past the band (row 8), but as the valley's minimum they still make the point reliable (row 9).
        const Segment& seg = s.d.upperSegments[0];
        const Ints rows{1, 2, 3, 4, 5, 6, 7, 8, 9};
        EXPECT_TRUE(fieldOf(seg, &UpperPoint::aScan) == rows && fieldOf(seg, &UpperPoint::limitAScan) == rows);
        EXPECT_EQ(fieldOf(seg, &UpperPoint::limitDepth), (Ints{200, 200, 200, 249, 60, 369, 260, 369, 239}));
        EXPECT_EQ(fieldOf(seg, &UpperPoint::weight), (Floats{1, 1, 1, 1, 0, 0, 1, 0, 1}));
    }
    // Without a valley below the threshold and without a dark sample past the band, the limit stays at the band's
    // brightest sample's valley minimum (239) and the point is reliable, but not strong: it counts toward no segment.
    for (int minimum : {0, 2}) {
        SegmentScene s(Profile::EvenOn);
        s.chain(0, 11, 50);
        s.d.minPointCount = minimum;
        ASSERT_EQ(s.d.buildUpperSegments(), minimum == 0) << minimum;
        if (minimum == 0) {
            EXPECT_EQ(fieldOf(s.d.upperSegments[0], &UpperPoint::limitDepth), Ints(9, 239));
            EXPECT_EQ(fieldOf(s.d.upperSegments[0], &UpperPoint::weight), Floats(9, 1));
        }
    }
}

TEST(BuildUpperSegments, RunsBreakOnlyOnJumpsInBothDepthAndAScanAndAShrunkWindowIsCarriedOn) {
    // Rows 1..8 at depth 50, then rows 11..19 at depth 53 (a break) or 51 (no break). Records cover rows
    // 2..8 (6 steps: too short) and 11..18 (7 steps: kept, but for its last record).
    SegmentScene s(Profile::Layered);
    s.chain(1, 8, 50, 11, 19, 53);
    s.chain(1, 8, 50, 11, 19, 51);
    s.chain(3, 3, 50);  // chains of one or two points are ignored
    s.chain(5, 6, 50);
    ASSERT_TRUE(s.d.buildUpperSegments());
    ASSERT_EQ(s.d.upperSegments.size(), 2u);
    const Segment& broken = s.d.upperSegments[0];
    EXPECT_EQ(Ints({int(broken.size()), broken.front().aScan, broken.back().aScan}), Ints({7, 11, 17}));
    EXPECT_EQ(Ints({int(s.d.upperSegments[1].size()), s.d.upperSegments[1].front().aScan}), Ints({14, 2}));

    // Alone, the chain at depth 50 finds the peak at 75 within the window of 100. After a point at depth 360
    // the window is 400 - 360 - 2 = 38, so the peak is sought only up to 50 + 19 and found at 68.
    for (bool deepChainFirst : {false, true}) {
        SegmentScene s(Profile::Ramp, {{25, Profile::Zero}});
        if (deepChainFirst) s.chain(24, 26, 360);
        s.chain(0, 11, 50);
        ASSERT_TRUE(s.d.buildUpperSegments());
        for (const UpperPoint& p : s.d.upperSegments[0]) EXPECT_EQ(p.limitDepth, deepChainFirst ? 68 : 75);
    }
}

TEST(RefineUpperPoints, LimitsMoveToTheStrongestResponseDarkPointsLoseWeightAndWeakRunsAreBridged) {
    // Zero response and a uniformly grey smoothed image: no point is dark unless set up so.
    auto d = makeDetector(300, 50);
    EXPECT_FALSE(d->refineUpperPoints());
    // The first of two strongest responses; none but falls (the limit stays); the last column is never scanned;
    // limitDepth + 100 lies just out of reach, so a flat row moves the limit one sample: the first sample sets
    // the least and is never a greatest, the second becomes the greatest.
    fillImage(d->responseImage, 300, 50, [](int x, int y) {
        if (y == 10) return x == 130 || x == 140 ? 5.0f : x == 160 ? -5.0f : 0.0f;
        if (y == 12) return x == 299 ? 9.0f : x == 298 ? 3.0f : 0.0f;
        return y == 11 ? -static_cast<float>(x) : y == 13 && x == 200 ? 9.0f : 0.0f;
    });
    addSegment(*d, {10, 11, 12, 13}, {100, 100, 250, 100}, {0, 0, 0, 0});
    EXPECT_TRUE(d->refineUpperPoints());
    EXPECT_EQ(fieldOf(d->upperSegments[0], &UpperPoint::limitDepth), (Ints{130, 100, 298, 101}));

    // Layers between the response maximum (110) and minimum (120). Both averages are 95 (476 / 5, 475 / 5):
    // 5 * 76 = 380 is not below 4 * 95 = 380, but 5 * 75 = 375 is. In the third segment the last point's minimum
    // (105) lies above its maximum: mean 0, still counted (average 374 / 5 = 74); the smoothed minimum of
    // point 3 meets the maximum at 110, a one-sample mean of 74 that stays.
    d = makeDetector(300, 50);
    fillImage(d->responseImage, 300, 50, [](int x, int y) {
        return x == 110 ? 5.0f : x == (y == 14 ? 105 : 120) ? -5.0f : 0.0f;
    });
    fillImage(d->smoothImage, 300, 50, [](int, int y) {
        return y == 4 ? 76 : y == 9 ? 75 : y == 13 ? 74 : y == 18 ? 70 : 100;
    });
    for (int a = 0; a < 15; a += 5) addSegment(*d, {a, a + 1, a + 2, a + 3, a + 4}, Ints(5, 100), Floats(5, 1));
    // A weak point does not count toward the average: 370 / 4 = 92 makes the mean of 70 dark (over 5 points it
    // would be 74, and 70 would stay).
    addSegment(*d, {15, 16, 17, 18, 19}, Ints(5, 100), {1, 1, 1, 1, 0});
    d->refineUpperPoints();
    EXPECT_EQ(fieldOf(d->upperSegments[0], &UpperPoint::limitDepth), Ints(5, 110));
    for (int k = 0; k < 4; ++k)
        EXPECT_EQ(fieldOf(d->upperSegments[k], &UpperPoint::weight),
                  (Floats{1, 1, 1, k < 3 ? 1.0f : 0.0f, k ? 0.0f : 1.0f}))
            << k;

    // Flat response: every limit first moves one sample down, then weak runs are bridged over the A-scan distance.
    d = makeDetector(300, 50);
    addSegment(*d, {10, 11, 12, 13, 14}, {100, 0, 0, 0, 110}, {1, 0, 0, 0, 1});
    addSegment(*d, {20, 21, 22, 23, 28}, {100, 0, 0, 0, 110}, {1, 0, 0, 0, 1});
    addSegment(*d, {40, 41, 42, 43, 44}, {100, 0, 0, 0, 90}, {1, 0, 0, 0, 1});
    addSegment(*d, {30, 31, 32, 33, 34}, {50, 100, 100, 60, 70}, {0, 1, 1, 0, 0});  // weak ends stay
    addSegment(*d, {49, 48, 47, 46, 45}, {100, 0, 0, 0, 110}, {1, 0, 0, 0, 1});     // A-scans decreasing
    d->refineUpperPoints();
    const Ints limits[] = {{101, 103, 106, 108, 111},
                           {101, 102, 103, 104, 111},
                           {101, 99, 96, 94, 91},
                           {51, 101, 101, 61, 71},
                           {101, 103, 106, 108, 111}};
    for (int k = 0; k < 5; ++k) EXPECT_EQ(fieldOf(d->upperSegments[k], &UpperPoint::limitDepth), limits[k]) << k;
    EXPECT_EQ(fieldOf(d->upperSegments[0], &UpperPoint::weight), (Floats{1, 0, 0, 0, 1}));
}
