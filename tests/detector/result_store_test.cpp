#include <Velin/VelinDetectorIpp.h>

#include <gtest/gtest.h>

using namespace Orvan::Velin;

namespace {

// Two segments of 3 and 2 points; the lower points lie 10 samples deeper.
void fillTwoSegments(VelinDetectorIpp& detector) {
    detector.upperTraces = {Trace{{30, 4}, {31, 5}, {32, 6}}, Trace{{50, 9}, {51, 10}}};
    detector.lowerTraces = {Trace{{40, 4}, {41, 5}, {42, 6}}, Trace{{60, 9}, {61, 10}}};
    detector.upperResponses = {ValueList{0.5f, 0.25f, 1.0f}, ValueList{0.75f, 0.125f}};
    detector.lowerWeights = {ValueList{2.0f, 0.0f, 3.0f}, ValueList{4.0f, 5.0f}};
}

}  // namespace

TEST(ResultStore, RowsFollowSegmentOrderWithAScanBeforeDepth) {
    VelinDetectorIpp detector;
    fillTwoSegments(detector);
    detector.storeResults(7);

    const Matrix& upper = detector.boundaryList1[0];
    ASSERT_EQ(upper.getRowCount(), 5u);
    ASSERT_EQ(upper.getColumnCount(), 3u);
    const double expectedUpper[5][3] = {{4, 30, 7}, {5, 31, 7}, {6, 32, 7}, {9, 50, 7}, {10, 51, 7}};
    for (std::uint32_t r = 0; r < 5; ++r)
        for (std::uint32_t c = 0; c < 3; ++c) EXPECT_EQ(upper(r, c), expectedUpper[r][c]) << r << "," << c;
    EXPECT_EQ(detector.boundaryList2[0](3, 1), 60.0);

    const Matrix& responses = detector.valueList1[0];
    ASSERT_EQ(responses.getColumnCount(), 4u);
    EXPECT_EQ(responses(1, 1), 31.0);
    EXPECT_EQ(responses(4, 3), 0.125);
    const Matrix& weights = detector.valueList2[0];
    EXPECT_EQ(weights(3, 1), 60.0);
    EXPECT_EQ(weights(4, 3), 5.0);
}

TEST(ResultStore, EveryBScanAddsOneEntryEmptyWhenNothingWasTraced) {
    VelinDetectorIpp detector;
    fillTwoSegments(detector);
    detector.storeResults(0);
    detector.lowerWeights.clear();
    detector.storeResults(1);
    detector.upperTraces.clear();
    detector.lowerTraces.clear();
    detector.storeResults(2);

    for (const MatrixList* list :
         {&detector.boundaryList1, &detector.boundaryList2, &detector.valueList1, &detector.valueList2}) {
        ASSERT_EQ(list->size(), 3u);
        EXPECT_EQ((*list)[0].getRowCount(), 5u);
        EXPECT_EQ((*list)[1].getRowCount() + (*list)[1].getColumnCount(), 0u);
        EXPECT_EQ((*list)[2].getRowCount() + (*list)[2].getColumnCount(), 0u);
    }
}

TEST(ResultStore, SurplusValuesLeaveZeroRowsAndMissingOnesAreFatal) {
    VelinDetectorIpp detector;
    fillTwoSegments(detector);
    detector.upperResponses[1].push_back(9.0f);
    detector.storeResults(3);
    const Matrix& responses = detector.valueList1[0];
    ASSERT_EQ(responses.getRowCount(), 6u);
    for (std::uint32_t c = 0; c < 4; ++c) EXPECT_EQ(responses(5, c), 0.0);

    // The responses are not part of the emptiness test: with none the store reads past the list's end.
    fillTwoSegments(detector);
    detector.upperResponses.clear();
    EXPECT_DEATH(detector.storeResults(4), "out of range");
}
