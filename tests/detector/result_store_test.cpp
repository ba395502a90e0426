#include <Velin/Entry/FillShortGaps.h>
#include <Velin/Entry/ResultPlanes.h>

#include "DetectorTestHelpers.h"

using Orvan::MathPackage::Matrix;

namespace {

using V = std::vector<std::int16_t>;
using Row = std::vector<double>;
using Rows = std::vector<Row>;

V bridged(V values, int maxGap) {
    fillShortGaps(values.data(), static_cast<int>(values.size()), maxGap);
    return values;
}

// One list entry with the given rows; boundary rows are (A-scan, depth, B-scan), value rows add the value,
// 0.5 where a row leaves it out.
Matrix rows(std::uint32_t columns, const Rows& values) {
    Matrix m(static_cast<std::uint32_t>(values.size()), columns);
    for (std::uint32_t r = 0; r < values.size(); ++r)
        for (std::uint32_t c = 0; c < columns; ++c) m(r, c) = c < values[r].size() ? values[r][c] : 0.5;
    return m;
}

Rows contents(const Matrix& m) {
    Rows out(m.getRowCount());
    for (std::uint32_t r = 0; r < m.getRowCount(); ++r)
        for (std::uint32_t c = 0; c < m.getColumnCount(); ++c) out[r].push_back(m(r, c));
    return out;
}

// Two segments of 3 and 2 points; the lower points lie 10 samples deeper.
void fillTwoSegments(VelinDetectorIpp& detector) {
    detector.upperTraces = {Trace{{30, 4}, {31, 5}, {32, 6}}, Trace{{50, 9}, {51, 10}}};
    detector.lowerTraces = {Trace{{40, 4}, {41, 5}, {42, 6}}, Trace{{60, 9}, {61, 10}}};
    detector.upperResponses = {ValueList{0.5f, 0.25f, 1.0f}, ValueList{0.75f, 0.125f}};
    detector.lowerWeights = {ValueList{2.0f, 0.0f, 3.0f}, ValueList{4.0f, 5.0f}};
}

}  // namespace

TEST(FillShortGaps, InterpolatesWithIntegerTruncationOnlyBelowTheLimitBetweenValidEnds) {
    // clang-format off
    const struct { V in; int maxGap; V out; } cases[] = {
        {{10, -1, -1, 20}, 4, {10, 13, 16, 20}},
        {{10, -1, -1, 20}, 3, {10, -1, -1, 20}},
        {{20, -1, -1, 10}, 4, {20, 16, 13, 10}},
        {{0, -1, 3, -1, -1, -1, 9}, 5, {0, 1, 3, 4, 6, 7, 9}},
        {{-1, -1, 5, 6, -1, -1}, 100, {-1, -1, 5, 6, -1, -1}},  // open ends stay
        {{10, -1, -5, 20}, 100, {10, -1, -5, 20}},  // -5 is neither a gap cell nor an end point
        {{-5, -1, 20}, 100, {-5, -1, 20}},
        // A zero scale converts like the hardware does (INT32_MIN) and then bridges nothing.
        {{10, -1, 20}, gapLimit(0.0f), {10, -1, 20}},
        // Negative scales: from about -28.6 up to 0 the limit stays below 3, which bridges nothing; below, it is 3
        // (one missing B-scan) to 5 (three).
        {{10, -1, 20}, gapLimit(-28.5f), {10, -1, 20}},
        {{10, -1, 20}, gapLimit(-28.6f), {10, 15, 20}},
        {{10, -1, -1, 20}, gapLimit(-40.0f), {10, -1, -1, 20}},
        {{10, -1, -1, -1, 20}, gapLimit(-100.0f), {10, 12, 15, 17, 20}}};
    // clang-format on
    for (const auto& c : cases) EXPECT_EQ(bridged(c.in, c.maxGap), c.out) << c.in.size() << " " << c.maxGap;
    // The limit rounds half up and adds five.
    EXPECT_EQ(Ints({gapLimit(100.0f), gapLimit(40.0f), gapLimit(1000.0f), gapLimit(-40.0f), gapLimit(-100.0f),
                    truncateToInt32(-2.9), gapLimit(0.0f) < 0}),
              Ints({6, 8, 5, 3, 5, -2, 1}));
}

TEST(ResultPlanes, WriteDepthsAndTruncatedValuesAtTheUpperRowsPositionsAndBridgeOnlyBetweenWrittenRows) {
    ShortPlane p1(3, 4), p2(3, 4), p3(3, 4), p4(3, 4);
    MatrixList b1{rows(3, {{1, 40.7, 0}, {2, 41, 0}})};
    // The lower row points elsewhere; its value still lands at the upper row's position.
    MatrixList b2{rows(3, {{3, 60, 2}, {0, 61, 1}})};
    MatrixList v1{rows(4, {{9, 9, 9, 0.567}, {9, 9, 9, -0.567}})};
    MatrixList v2{rows(4, {{9, 9, 9, 1.0}, {9, 9, 9, 0.999}})};
    fillResultPlanes(b1, b2, v1, v2, 6, p1, p2, p3, p4);
    EXPECT_EQ(V({p1[0][0], p1[0][1], p1[0][2]}), V({-1, 40, 41}));
    EXPECT_EQ(V({p2[2][3], p2[1][0]}), V({60, 61}));
    EXPECT_EQ(V({p3[0][1], p3[0][2], p3[1][1]}), V({56, -56, 0}));
    EXPECT_EQ(V({p4[0][1], p4[0][2], p4[2][3]}), V({100, 99, 0}));

    // A-scan 0 is found in B-scans 0 and 3, A-scan 1 only in B-scan 5.
    MatrixList boundaries, values;
    for (const Rows& points : std::vector<Rows>{{{0, 10, 0}}, {}, {}, {{0, 19, 3}}, {}, {{1, 7, 5}}}) {
        boundaries.push_back(rows(3, points));
        values.push_back(rows(4, points));
    }
    for (int maxGap : {3, 4}) {
        ShortPlane q1(6, 2), q2(6, 2), q3(6, 2), q4(6, 2);
        fillResultPlanes(boundaries, boundaries, values, values, maxGap, q1, q2, q3, q4);
        const V column0{q1[0][0], q1[1][0], q1[2][0], q1[3][0], q1[4][0], q1[5][0]};
        EXPECT_EQ(column0, (maxGap == 4 ? V{10, 13, 16, 19, -1, -1} : V{10, -1, -1, 19, -1, -1}));
        // The lower plane is bridged alike, A-scan 1 stays open, and bridged positions get no value.
        EXPECT_EQ(V({q2[2][0], q1[4][1], q3[1][0], q3[3][0]}), V({std::int16_t(maxGap == 4 ? 16 : -1), -1, 0, 50}));
    }
}

// Gaps are bridged as if after every entry. Bridging once at the end is the same when each entry keeps to its
// own B-scan's row (checked on random lists against bridging after every entry), and not otherwise: then the
// planes must still be bridged entry by entry.
TEST(ResultPlanes, BridgingAfterEveryEntryIsKeptWhenAnEntryWritesAnotherBScansRow) {
    const int numB = 12, numA = 5, maxGap = 6;
    std::srand(7);
    for (int trial = 0; trial < 50; ++trial) {
        MatrixList boundaries, values;
        ShortPlane expected(numB, numA);
        expected.fill(-1);
        for (int b = 0; b < numB; ++b) {
            Rows points;
            for (int a = 0; a < numA; ++a) {
                if (std::rand() % 3 == 0) continue;  // not found
                // Mostly depths, now and then -1 or -2, which bridging treats as a gap cell and as neither.
                const int roll = std::rand() % 10, depth = roll == 0 ? -1 : roll == 1 ? -2 : 20 + std::rand() % 50;
                points.push_back({double(a), double(depth), double(b)});
                expected[b][a] = static_cast<std::int16_t>(depth);
            }
            boundaries.push_back(rows(3, points));
            values.push_back(rows(4, points));
            for (int a = 0; a < numA; ++a) {
                V column(numB);
                for (int r = 0; r < numB; ++r) column[r] = expected[r][a];
                column = bridged(column, maxGap);
                for (int r = 0; r < numB; ++r) expected[r][a] = column[r];
            }
        }
        ShortPlane p1(numB, numA), p2(numB, numA), p3(numB, numA), p4(numB, numA);
        fillResultPlanes(boundaries, boundaries, values, values, maxGap, p1, p2, p3, p4);
        for (int b = 0; b < numB; ++b)
            for (int a = 0; a < numA; ++a) ASSERT_EQ(p1[b][a], expected[b][a]) << trial << " " << b << " " << a;
    }

    // Entry 0 also writes B-scan 3, so rows 1 and 2 are bridged at once; entry 2 then puts -2 into row 2, which
    // bridging once at the end would read as no gap at all.
    MatrixList boundaries, values;
    for (const Rows& points : std::vector<Rows>{{{0, 10, 0}, {0, 40, 3}}, {}, {{0, -2, 2}}, {}}) {
        boundaries.push_back(rows(3, points));
        values.push_back(rows(4, points));
    }
    ShortPlane q1(4, 1), q2(4, 1), q3(4, 1), q4(4, 1);
    fillResultPlanes(boundaries, boundaries, values, values, 4, q1, q2, q3, q4);
    EXPECT_EQ(V({q1[0][0], q1[1][0], q1[2][0], q1[3][0]}), V({10, 20, -2, 40}));
}

TEST(ResultStore, RowsFollowSegmentOrderAndEveryBScanAddsOneEntryToEachList) {
    VelinDetectorIpp detector;
    fillTwoSegments(detector);
    detector.upperResponses[1].push_back(9.0f);  // a surplus value leaves a row of zeros
    detector.storeResults(7);
    EXPECT_EQ(contents(detector.boundaryList1[0]), (Rows{{4, 30, 7}, {5, 31, 7}, {6, 32, 7}, {9, 50, 7}, {10, 51, 7}}));
    EXPECT_EQ(contents(detector.boundaryList2[0])[3], (Row{9, 60, 7}));
    EXPECT_EQ(contents(detector.valueList1[0])[4], (Row{10, 51, 7, 0.125}));
    EXPECT_EQ(contents(detector.valueList1[0])[5], (Row{0, 0, 0, 0}));
    EXPECT_EQ(contents(detector.valueList2[0])[3], (Row{9, 60, 7, 4.0}));
    // Without lower weights, or without traces, the entry is empty.
    detector.lowerWeights.clear();
    detector.storeResults(1);
    detector.upperTraces.clear();
    detector.lowerTraces.clear();
    detector.storeResults(2);
    for (const MatrixList* list :
         {&detector.boundaryList1, &detector.boundaryList2, &detector.valueList1, &detector.valueList2}) {
        ASSERT_EQ(list->size(), 3u);
        EXPECT_EQ((*list)[0].getRowCount(), list == &detector.valueList1 ? 6u : 5u);
        EXPECT_EQ((*list)[1].getRowCount() + (*list)[1].getColumnCount() + (*list)[2].getColumnCount(), 0u);
    }
    // The responses are not part of the emptiness test: with none the store reads past the list's end.
    fillTwoSegments(detector);
    detector.upperResponses.clear();
    EXPECT_DEATH(detector.storeResults(4), "out of range");
}

// Five B-scans (a few-scans volume) of which the first two or three can be segmented, the others are dark. Each
// leaves one entry in each list. Two successes count as found, but the consistency passes need three: only then
// do the lists differ from those of the B-scans run one by one. Each B-scan starts without the filter stage's mark.
TEST(VolumeDriver, ConsistencyPassesNeedThreeSegmentedBScansAndEveryBScanStartsUnmarked) {
    const SyntheticVolume layered = makeLayeredVolume({5, 64, 320});
    for (int segmented : {2, 3}) {
        std::vector<std::uint8_t> samples = layered.samples;
        std::fill(samples.begin() + segmented * 64 * 320, samples.end(), 0);
        VelinDetectorIpp whole, single;
        for (VelinDetectorIpp* d : {&whole, &single})
            d->setParameters(samples.data(), 64, 320, 5, 100.0f, 0.0f, 0.0f, 0);
        EXPECT_TRUE(whole.detectVolume());
        EXPECT_EQ(Ints({whole.fewScansMode, whole.successCount}), Ints({1, segmented}));
        single.fewScansMode = 1;
        ASSERT_TRUE(single.setupVolume());
        for (int b = 0; b < 5; ++b) {
            single.filterStageMark = 1;
            EXPECT_EQ(single.processBScan(b), b < segmented);
            EXPECT_EQ(single.filterStageMark, 0);
        }
        // The entries of all four lists, B-scan by B-scan; the dark B-scans' are empty.
        const auto entries = [](VelinDetectorIpp& d) {
            std::vector<Rows> out;
            for (const MatrixList* list : {&d.boundaryList1, &d.boundaryList2, &d.valueList1, &d.valueList2})
                for (const Matrix& m : *list) out.push_back(contents(m));
            return out;
        };
        const std::vector<Rows> found = entries(whole);
        ASSERT_EQ(found.size(), 20u);
        for (std::size_t k = 0; k < 20; ++k) EXPECT_EQ(found[k].empty(), int(k % 5) >= segmented) << k;
        EXPECT_EQ(found == entries(single), segmented == 2);
    }
}
