#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;

namespace {
constexpr int kWidth = 300;
constexpr int kHeight = 50;

// Zero response and a uniformly grey smoothed image, so limits stay put and no point is dark unless a test
// says otherwise.
struct RefineScene {
    VelinDetectorIpp detector;

    RefineScene() {
        detector.responseImage.allocate(kWidth, kHeight);
        detector.smoothImage.allocate(kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                detector.responseImage.getRow(y)[x] = 0.0f;
                detector.smoothImage.getRow(y)[x] = 100;
            }
        }
    }
    float* response(int row) { return detector.responseImage.getRow(row); }
    void grey(int row, int value) {
        for (int x = 0; x < kWidth; ++x) detector.smoothImage.getRow(row)[x] = static_cast<std::uint8_t>(value);
    }
    void segment(const std::vector<int>& aScans, const std::vector<int>& limits, const std::vector<float>& weights) {
        Segment s;
        for (std::size_t i = 0; i < aScans.size(); ++i)
            s.push_back(UpperPoint{20, aScans[i], limits[i], aScans[i], weights[i]});
        detector.upperSegments.push_back(s);
    }
    std::vector<int> limits(int segment) {
        std::vector<int> out;
        for (const UpperPoint& p : detector.upperSegments[segment]) out.push_back(p.limitDepth);
        return out;
    }
    std::vector<float> weights(int segment) {
        std::vector<float> out;
        for (const UpperPoint& p : detector.upperSegments[segment]) out.push_back(p.weight);
        return out;
    }
};
}  // namespace

TEST(RefineUpperPoints, LimitsMoveToTheFirstStrongestResponseWithinReach) {
    RefineScene scene;
    EXPECT_FALSE(scene.detector.refineUpperPoints());

    scene.response(10)[130] = scene.response(10)[140] = 5.0f;
    scene.response(10)[160] = -5.0f;
    for (int x = 0; x < kWidth; ++x) scene.response(11)[x] = static_cast<float>(-x);  // only falls
    scene.response(12)[299] = 9.0f;  // the last column is never scanned
    scene.response(12)[298] = 3.0f;
    scene.response(13)[200] = 9.0f;  // limitDepth + 100 lies just out of reach
    scene.segment({10, 11, 12, 13}, {100, 100, 250, 100}, {0, 0, 0, 0});
    EXPECT_TRUE(scene.detector.refineUpperPoints());
    EXPECT_EQ(scene.limits(0), (std::vector<int>{130, 100, 298, 100}));
    EXPECT_EQ(scene.detector.upperSegments[0][2].limitAScan, 12);
}

TEST(RefineUpperPoints, PointsDarkerThanFourFifthsOfTheAverageLoseTheirWeight) {
    // Layers between the response maximum (110) and minimum (120). Averages: 476 / 5 = 95 and 475 / 5 = 95;
    // 5 * 76 = 380 is not below 4 * 95 = 380, 5 * 75 = 375 is.
    RefineScene scene;
    for (int y = 0; y < 10; ++y) {
        scene.response(y)[110] = 5.0f;
        scene.response(y)[120] = -5.0f;
    }
    scene.grey(4, 76);
    scene.grey(9, 75);
    scene.segment({0, 1, 2, 3, 4}, {100, 100, 100, 100, 100}, {1, 1, 1, 1, 1});
    scene.segment({5, 6, 7, 8, 9}, {100, 100, 100, 100, 100}, {1, 1, 1, 1, 1});
    scene.detector.refineUpperPoints();
    EXPECT_EQ(scene.limits(0), (std::vector<int>{110, 110, 110, 110, 110}));
    EXPECT_EQ(scene.weights(0), (std::vector<float>{1, 1, 1, 1, 1}));
    EXPECT_EQ(scene.weights(1), (std::vector<float>{1, 1, 1, 1, 0}));
}

TEST(RefineUpperPoints, WeakRunsAreBridgedOverTheAScanDistanceOfTheirEnds) {
    RefineScene scene;
    scene.segment({10, 11, 12, 13, 14}, {100, 0, 0, 0, 110}, {1, 0, 0, 0, 1});
    scene.segment({20, 21, 22, 23, 28}, {100, 0, 0, 0, 110}, {1, 0, 0, 0, 1});
    scene.segment({40, 41, 42, 43, 44}, {100, 0, 0, 0, 90}, {1, 0, 0, 0, 1});
    scene.segment({30, 31, 32, 33, 34}, {50, 100, 100, 60, 70}, {0, 1, 1, 0, 0});
    scene.detector.refineUpperPoints();
    EXPECT_EQ(scene.limits(0), (std::vector<int>{100, 102, 105, 107, 110}));
    EXPECT_EQ(scene.limits(1), (std::vector<int>{100, 101, 102, 103, 110}));
    EXPECT_EQ(scene.limits(2), (std::vector<int>{100, 98, 95, 93, 90}));
    EXPECT_EQ(scene.limits(3), (std::vector<int>{50, 100, 100, 60, 70}));
    EXPECT_EQ(scene.weights(0), (std::vector<float>{1, 0, 0, 0, 1}));
}
