// The refinement's building blocks: the shortest path through a band against exhaustive search, sub-sample
// peak placement, bridging of runs, shadow weights and the agreement of neighbouring B-scans.

#include <Velin/Refine/BandPath.h>
#include <Velin/Refine/CrossScanAgreement.h>
#include <Velin/Refine/EdgeDetector.h>
#include <Velin/Refine/RunBridging.h>
#include <Velin/Refine/ShadowWeights.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace Orvan::Velin::Refine;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

double pathCost(const BandImage& cost, const std::vector<int>& rows, double penalty) {
    double total = 0.0;
    for (int a = 0; a < cost.columns(); ++a) {
        total += cost.at(a, rows[a]);
        if (a > 0) total += penalty * std::abs(rows[a] - rows[a - 1]);
    }
    return total;
}

// The cheapest cost over every path that keeps its steps within maxStep; infinity when there is none.
double exhaustiveCheapest(const BandImage& cost, int maxStep, double penalty, std::vector<int>& rows, int a = 0) {
    if (a == cost.columns()) return pathCost(cost, rows, penalty);
    double best = std::numeric_limits<double>::infinity();
    for (int r = cost.first(a); r < cost.end(a); ++r) {
        if (a > 0 && std::abs(r - rows[a - 1]) > maxStep) continue;
        rows[a] = r;
        best = std::min(best, exhaustiveCheapest(cost, maxStep, penalty, rows, a + 1));
    }
    return best;
}

}  // namespace

TEST(BandPath, FindsTheCheapestPathThatExhaustiveSearchFinds) {
    std::mt19937 random(11);
    PathWorkspace workspace;
    int compared = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const int columns = 1 + static_cast<int>(random() % 6), maxStep = 1 + static_cast<int>(random() % 2);
        std::vector<int> first(columns), count(columns);
        for (int a = 0; a < columns; ++a) first[a] = static_cast<int>(random() % 4), count[a] = 1 + random() % 4;
        BandImage cost;
        cost.layout(first, count);
        for (int a = 0; a < columns; ++a)
            for (int i = 0; i < count[a]; ++i) cost.column(a)[i] = static_cast<float>(random() % 100) / 10.0f;
        std::vector<int> rows(columns);
        const double best = exhaustiveCheapest(cost, maxStep, 0.7, rows);
        if (!std::isfinite(best)) continue;  // bands out of each other's reach: pieces, tested below
        const std::vector<int> path = cheapestPath(cost, maxStep, 0.7, workspace);
        for (int a = 1; a < columns; ++a) ASSERT_LE(std::abs(path[a] - path[a - 1]), maxStep) << trial;
        for (int a = 0; a < columns; ++a) ASSERT_TRUE(cost.contains(a, path[a])) << trial;
        EXPECT_NEAR(pathCost(cost, path, 0.7), best, 1e-4) << trial;
        ++compared;
    }
    EXPECT_GT(compared, 200);
}

// A column without rows, or one its predecessor cannot reach, starts a new piece; ties go to the shallower row.
TEST(BandPath, PiecesAreCheapestOnTheirOwnAndTiesGoShallower) {
    PathWorkspace workspace;
    BandImage cost;
    cost.layout({0, 0, 0, 20, 20}, {3, 0, 3, 3, 3});
    const float values[5][3] = {{5, 0, 5}, {}, {0, 5, 5}, {5, 5, 0}, {1, 1, 1}};
    for (int a = 0; a < 5; ++a)
        for (int i = 0; i < cost.count(a); ++i) cost.column(a)[i] = values[a][i];
    EXPECT_EQ(cheapestPath(cost, 2, 0.1, workspace), (std::vector<int>{1, -1, 0, 22, 22}));
    BandImage flat;
    flat.layout({4, 4}, {3, 3});
    EXPECT_EQ(cheapestPath(flat, 1, 0.0, workspace), (std::vector<int>{4, 4}));
}

TEST(EdgePlacement, GaussianPeaksAreExactParabolasServeElsewhereAndFitsStayWithinHalfASample) {
    struct Case {
        const char* what;
        std::vector<float> responses;  // boundaries 10, 11, ...
        int start;
        double expected;
    };
    std::vector<float> gaussian;
    for (int z = 10; z < 17; ++z)
        gaussian.push_back(static_cast<float>(3.0 * std::exp(-0.5 * std::pow((z - 13.3) / 1.2, 2))));
    const Case cases[] = {
        {"Gaussian peak, found from two samples away", gaussian, 11, 13.3},
        {"a neighbour below zero: parabola", {0, -1, 4, 2, 0}, 12, 12.0 + 0.5 * (-1.0 - 2.0) / (-1.0 - 8.0 + 2.0)},
        {"peak at the band's end: no fit", {1, 2, 3}, 11, 12.0},
        {"plateau: stays", {1, 2, 2, 1}, 11, 11.5},
    };
    for (const Case& c : cases) {
        const PlacedEdge edge =
            placeEdge(c.responses.data(), 10, 10 + static_cast<int>(c.responses.size()) - 1, c.start);
        EXPECT_NEAR(edge.depth, c.expected, 1e-4) << c.what;
    }
    // An ideal step answers its own height at its own boundary, whatever the detector's width.
    for (double sigma : {1.0, 2.5}) {
        const EdgeDetector detector(sigma);
        std::vector<float> step(40, 10.0f);
        std::fill(step.begin() + 20, step.end(), 110.0f);
        float response = 0.0f;
        detector.responses(step.data(), 0, 20, 1, 1.0f, &response);
        EXPECT_NEAR(response, 100.0f, 1e-3) << sigma;
    }
}

// A bridged column's confidence is the smaller of its anchors' times 1 - run length / (limit + 1).
TEST(RunBridging, ShortRunsAreInterpolatedEndsExtendedAndLongRunsLeftUnknown) {
    struct Case {
        const char* what;
        std::vector<float> values, confidence;
        std::vector<std::uint8_t> reliable;
        std::vector<float> expected, expectedConfidence;
    } const cases[] = {
        {"interior run",
         {10, 0, 0, 16},
         {1, 0.9f, 0.9f, 0.5f},
         {1, 0, 0, 1},
         {10, 12, 14, 16},
         {1, 0.5f / 3, 0.5f / 3, 0.5f}},
        {"run at the start", {0, 0, 7, 9}, {0.9f, 0.9f, 0.6f, 1}, {0, 0, 1, 1}, {7, 7, 7, 9}, {0.2f, 0.2f, 0.6f, 1}},
        {"run longer than the limit",
         {1, 0, 0, 0, 5},
         {1, 1, 1, 1, 1},
         {1, 0, 0, 0, 1},
         {1, kNaN, kNaN, kNaN, 5},
         {1, 0, 0, 0, 1}},
        {"nothing reliable", {3, 4}, {1, 1}, {0, 0}, {kNaN, kNaN}, {0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<float> values = c.values, confidence = c.confidence;
        bridgeRuns(values, c.reliable, 2, &confidence);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (std::isnan(c.expected[i]))
                EXPECT_TRUE(std::isnan(values[i])) << i;
            else
                EXPECT_FLOAT_EQ(values[i], c.expected[i]) << i;
            EXPECT_FLOAT_EQ(confidence[i], c.expectedConfidence[i]) << i;
        }
    }
}

// Columns whose slab is darker than the columns around it are in shadow: weight 0 at 80 % of the
// neighbourhood's median brightness or less, 1 at 95 % or more, linear between.
TEST(ShadowWeights, SlabsDarkerThanTheirNeighbourhoodAreShadowed) {
    constexpr int kColumns = 21, kDepth = 10;
    const std::uint8_t levels[] = {100, 80, 100, 87, 150};  // column 10, and columns 5, 15, 19 differ
    std::vector<std::uint8_t> bscan(kColumns * kDepth, levels[0]);
    auto setColumn = [&](int a, std::uint8_t v) { std::fill(&bscan[a * kDepth], &bscan[(a + 1) * kDepth], v); };
    setColumn(10, levels[1]);
    setColumn(5, levels[3]);
    setColumn(15, levels[4]);
    std::vector<int> start(kColumns, 2), end(kColumns, 8);
    end[19] = 2;  // an empty slab: not measured
    const std::vector<float> w = shadowWeights(bscan.data(), kColumns, kDepth, start, end, 4);
    EXPECT_FLOAT_EQ(w[10], 0.0f);
    EXPECT_NEAR(w[5], (0.87f - 0.8f) / 0.15f, 1e-5);
    EXPECT_FLOAT_EQ(w[15], 1.0f);
    EXPECT_FLOAT_EQ(w[0], 1.0f);
    EXPECT_FLOAT_EQ(w[19], 0.0f);
}

TEST(CrossScanAgreement, NeighboursFillGapsOverruleStraysAndSmoothButOnlyWhereTheyAgree) {
    // Five B-scans of one A-scan, top at 100; thicknesses per B-scan and the expected result.
    struct Case {
        const char* what;
        std::vector<float> thickness, expected;
    } const cases[] = {
        {"smoothing (t- + 2t + t+) / 4", {10, 10, 12, 12, 12}, {10, 10.5f, 11.5f, 12, 12}},
        {"a gap is filled", {10, 10, kNaN, 12, 12}, {10, 10, 11, 12, 12}},
        {"a stray point is overruled", {10, 10, 30, 10, 10}, {10, 10, 10, 10, 10}},
        {"neighbours that disagree decide nothing", {10, 30, kNaN, 10, 30}, {10, 30, kNaN, 10, 30}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<float> upper(5, 100.0f), lower(5), upperConfidence(5, 1.0f), lowerConfidence(5, 0.8f);
        for (int b = 0; b < 5; ++b) lower[b] = 100.0f + c.thickness[b];
        agreeAcrossBScans({5, 1, upper.data(), lower.data(), upperConfidence.data(), lowerConfidence.data()}, 4.0);
        for (int b = 0; b < 5; ++b) {
            if (std::isnan(c.expected[b]))
                EXPECT_TRUE(std::isnan(lower[b])) << b;
            else
                EXPECT_FLOAT_EQ(lower[b] - 100.0f, c.expected[b]) << b;
        }
        // A value taken from the neighbours has half their confidence.
        const bool taken = std::isnan(c.thickness[2]) || c.thickness[2] == 30;
        EXPECT_FLOAT_EQ(lowerConfidence[2], taken && !std::isnan(c.expected[2]) ? 0.4f : 0.8f);
    }
}
