#include "UpperPreparationHelpers.h"

#include <memory>

#include <gtest/gtest.h>

using namespace Orvan::Velin;

namespace {
constexpr int kWidth = 300;

// Zero response and a uniformly grey smoothed image: limits stay and no point is dark unless a test says so.
struct RefineScene {
    std::unique_ptr<VelinDetectorIpp> d{new VelinDetectorIpp};
    RefineScene() {
        upper_test::fillImage(d->responseImage, kWidth, 50, 0.0f);
        upper_test::fillImage(d->smoothImage, kWidth, 50, 100);
    }
    void grey(int row, int value) {
        for (int x = 0; x < kWidth; ++x) d->smoothImage.getRow(row)[x] = static_cast<std::uint8_t>(value);
    }
    void segment(const std::vector<int>& aScans, const std::vector<int>& limits, const std::vector<float>& weights) {
        Segment s;
        for (std::size_t i = 0; i < aScans.size(); ++i) s.push_back(UpperPoint{20, aScans[i], limits[i], aScans[i], weights[i]});
        d->upperSegments.push_back(s);
    }
    std::vector<int> limits(int k) {
        std::vector<int> out;
        for (const UpperPoint& p : d->upperSegments[k]) out.push_back(p.limitDepth);
        return out;
    }
    std::vector<float> weights(int k) {
        std::vector<float> out;
        for (const UpperPoint& p : d->upperSegments[k]) out.push_back(p.weight);
        return out;
    }
};
using Ints = std::vector<int>;
using Floats = std::vector<float>;
}  // namespace

TEST(RefineUpperPoints, LimitsMoveToTheFirstStrongestResponseWithinReach) {
    RefineScene s;
    EXPECT_FALSE(s.d->refineUpperPoints());
    float* r = s.d->responseImage.getRow(10);
    r[130] = r[140] = 5.0f;
    r[160] = -5.0f;
    for (int x = 0; x < kWidth; ++x) s.d->responseImage.getRow(11)[x] = static_cast<float>(-x);  // only falls
    s.d->responseImage.getRow(12)[299] = 9.0f;  // the last column is never scanned
    s.d->responseImage.getRow(12)[298] = 3.0f;
    s.d->responseImage.getRow(13)[200] = 9.0f;  // limitDepth + 100 lies just out of reach
    s.segment({10, 11, 12, 13}, {100, 100, 250, 100}, {0, 0, 0, 0});
    EXPECT_TRUE(s.d->refineUpperPoints());
    EXPECT_EQ(s.limits(0), (Ints{130, 100, 298, 100}));
}

TEST(RefineUpperPoints, PointsDarkerThanFourFifthsOfTheAverageLoseTheirWeight) {
    // Layers between the response maximum (110) and minimum (120). Both averages are 95 (476 / 5, 475 / 5):
    // 5 * 76 = 380 is not below 4 * 95 = 380, but 5 * 75 = 375 is.
    RefineScene s;
    for (int y = 0; y < 10; ++y) {
        s.d->responseImage.getRow(y)[110] = 5.0f;
        s.d->responseImage.getRow(y)[120] = -5.0f;
    }
    s.grey(4, 76);
    s.grey(9, 75);
    s.segment({0, 1, 2, 3, 4}, {100, 100, 100, 100, 100}, {1, 1, 1, 1, 1});
    s.segment({5, 6, 7, 8, 9}, {100, 100, 100, 100, 100}, {1, 1, 1, 1, 1});
    s.d->refineUpperPoints();
    EXPECT_EQ(s.limits(0), (Ints{110, 110, 110, 110, 110}));
    EXPECT_EQ(s.weights(0), (Floats{1, 1, 1, 1, 1}));
    EXPECT_EQ(s.weights(1), (Floats{1, 1, 1, 1, 0}));
}

TEST(RefineUpperPoints, WeakRunsAreBridgedOverTheAScanDistanceOfTheirEnds) {
    RefineScene s;
    s.segment({10, 11, 12, 13, 14}, {100, 0, 0, 0, 110}, {1, 0, 0, 0, 1});
    s.segment({20, 21, 22, 23, 28}, {100, 0, 0, 0, 110}, {1, 0, 0, 0, 1});
    s.segment({40, 41, 42, 43, 44}, {100, 0, 0, 0, 90}, {1, 0, 0, 0, 1});
    s.segment({30, 31, 32, 33, 34}, {50, 100, 100, 60, 70}, {0, 1, 1, 0, 0});  // weak ends stay
    s.d->refineUpperPoints();
    EXPECT_EQ(s.limits(0), (Ints{100, 102, 105, 107, 110}));
    EXPECT_EQ(s.limits(1), (Ints{100, 101, 102, 103, 110}));
    EXPECT_EQ(s.limits(2), (Ints{100, 98, 95, 93, 90}));
    EXPECT_EQ(s.limits(3), (Ints{50, 100, 100, 60, 70}));
    EXPECT_EQ(s.weights(0), (Floats{1, 0, 0, 0, 1}));
}
