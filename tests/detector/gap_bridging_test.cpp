#include <Velin/Entry/FillShortGaps.h>
#include <Velin/Entry/ResultPlanes.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Orvan::Velin;
using Orvan::MathPackage::Matrix;

namespace {

std::vector<std::int16_t> bridged(std::vector<std::int16_t> values, int maxGap) {
    fillShortGaps(values.data(), static_cast<int>(values.size()), maxGap);
    return values;
}

using V = std::vector<std::int16_t>;

// One list entry with the given rows; boundary rows are (A-scan, depth, B-scan), value rows add the value.
Matrix rows(std::uint32_t columns, const std::vector<std::vector<double>>& values) {
    Matrix m(static_cast<std::uint32_t>(values.size()), columns);
    for (std::uint32_t r = 0; r < values.size(); ++r)
        for (std::uint32_t c = 0; c < columns; ++c) m(r, c) = values[r][c];
    return m;
}

}  // namespace

TEST(FillShortGaps, InterpolatesWithIntegerTruncationOnlyBelowTheLimit) {
    EXPECT_EQ(bridged({10, -1, -1, 20}, 4), (V{10, 13, 16, 20}));
    EXPECT_EQ(bridged({10, -1, -1, 20}, 3), (V{10, -1, -1, 20}));
    EXPECT_EQ(bridged({20, -1, -1, 10}, 4), (V{20, 16, 13, 10}));
    EXPECT_EQ(bridged({0, -1, 3, -1, -1, -1, 9}, 5), (V{0, 1, 3, 4, 6, 7, 9}));
}

TEST(FillShortGaps, LeavesOpenEndsAndOtherNegativeValuesAlone) {
    EXPECT_EQ(bridged({-1, -1, 5, 6, -1, -1}, 100), (V{-1, -1, 5, 6, -1, -1}));
    EXPECT_EQ(bridged({-1}, 100), (V{-1}));
    // -5 is neither a gap cell nor an end point.
    EXPECT_EQ(bridged({10, -1, -5, 20}, 100), (V{10, -1, -5, 20}));
    EXPECT_EQ(bridged({-5, -1, 20}, 100), (V{-5, -1, 20}));
    EXPECT_EQ(bridged({10, -1, -5}, 100), (V{10, -1, -5}));
}

TEST(GapLimit, RoundsHalfUpAndAddsFive) {
    EXPECT_EQ(gapLimit(100.0f), 6);
    EXPECT_EQ(gapLimit(40.0f), 8);
    EXPECT_EQ(gapLimit(1000.0f), 5);
    // A zero scale converts like the hardware does (INT32_MIN) and then bridges nothing.
    EXPECT_LT(gapLimit(0.0f), 0);
    EXPECT_EQ(bridged({10, -1, 20}, gapLimit(0.0f)), (V{10, -1, 20}));
    EXPECT_EQ(truncateToInt32(-2.9), -2);
}

TEST(ResultPlanes, WritesDepthsAndTruncatedValuesAtTheUpperRowsPositions) {
    ShortPlane p1(3, 4), p2(3, 4), p3(3, 4), p4(3, 4);
    MatrixList b1{rows(3, {{1, 40.7, 0}, {2, 41, 0}})};
    // The lower row points elsewhere; its value still lands at the upper row's position.
    MatrixList b2{rows(3, {{3, 60, 2}, {0, 61, 1}})};
    MatrixList v1{rows(4, {{9, 9, 9, 0.567}, {9, 9, 9, -0.567}})};
    MatrixList v2{rows(4, {{9, 9, 9, 1.0}, {9, 9, 9, 0.999}})};
    fillResultPlanes(b1, b2, v1, v2, 6, p1, p2, p3, p4);

    EXPECT_EQ(p1[0][1], 40);
    EXPECT_EQ(p1[0][2], 41);
    EXPECT_EQ(p1[0][0], -1);
    EXPECT_EQ(p2[2][3], 60);
    EXPECT_EQ(p2[1][0], 61);
    EXPECT_EQ(p3[0][1], 56);
    EXPECT_EQ(p3[0][2], -56);
    EXPECT_EQ(p4[0][1], 100);
    EXPECT_EQ(p4[0][2], 99);
    EXPECT_EQ(p3[1][1], 0);
    EXPECT_EQ(p4[2][3], 0);
}

TEST(ResultPlanes, BridgesAcrossBScansOnlyBetweenWrittenRows) {
    // A-scan 0 is found in B-scans 0 and 3, A-scan 1 only in B-scan 5.
    MatrixList b1, v1;
    for (int b = 0; b < 6; ++b) {
        std::vector<std::vector<double>> points;
        if (b == 0) points.push_back({0, 10, 0});
        if (b == 3) points.push_back({0, 19, 3});
        if (b == 5) points.push_back({1, 7, 5});
        b1.push_back(rows(3, points));
        for (auto& p : points) p.push_back(0.5);
        v1.push_back(rows(4, points));
    }
    for (int maxGap : {3, 4}) {
        ShortPlane p1(6, 2), p2(6, 2), p3(6, 2), p4(6, 2);
        fillResultPlanes(b1, b1, v1, v1, maxGap, p1, p2, p3, p4);
        const V column0{p1[0][0], p1[1][0], p1[2][0], p1[3][0], p1[4][0], p1[5][0]};
        EXPECT_EQ(column0, (maxGap == 4 ? V{10, 13, 16, 19, -1, -1} : V{10, -1, -1, 19, -1, -1}));
        EXPECT_EQ(p2[2][0], maxGap == 4 ? 16 : -1);
        EXPECT_EQ(p1[4][1], -1);
        EXPECT_EQ(p3[1][0], 0);  // bridged positions get no value
        EXPECT_EQ(p3[3][0], 50);
    }
}
