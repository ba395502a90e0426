#include "TracingFixture.h"

#include <gtest/gtest.h>

using namespace velin_test;
using Orvan::Velin::CheckedList;
using Orvan::Velin::ValueList;

TEST(TraceWeights, RefreshReadsPresentPositionsDropsConfidenceAndScalesEachListToOne) {
    auto d = makeDetector(8, 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 8; ++x) d->responseImage.getRow(y)[x] = -static_cast<float>((x + 1) * (y + 1));
    }
    d->upperTraces = {traceOf({1, 2}), traceOf({3})};
    d->upperResponses = {ValueList{0.5f, 0.0f}, ValueList{0.2f}};
    d->lowerTraces = {traceOf({4, 5}), traceOf({6})};
    d->lowerWeights = {ValueList{0.9f, 0.0f}, ValueList{0.1f}};

    d->refreshTraceWeights(10.0);

    // Upper: |-2/10| and |-4/10| over the maximum 0.4 of both segments; a zero stays zero.
    EXPECT_FLOAT_EQ(d->upperResponses[0][0], 0.5f);
    EXPECT_EQ(d->upperResponses[0][1], 0.0f);
    EXPECT_EQ(d->upperResponses[1][0], 1.0f);
    // Lower: the old 0.9 and 0.1 do not matter, only |-5/10| against |-7/10|.
    EXPECT_FLOAT_EQ(d->lowerWeights[0][0], 5.0f / 7.0f);
    EXPECT_EQ(d->lowerWeights[0][1], 0.0f);
    EXPECT_EQ(d->lowerWeights[1][0], 1.0f);
}

TEST(TraceWeights, NothingChangesWithoutScaleOrWithAZeroMaximum) {
    auto d = makeDetector(8, 4, -3.0f);
    d->upperTraces = {traceOf({1})};
    d->upperResponses = {ValueList{0.25f}};
    d->lowerTraces = {traceOf({2})};
    d->lowerWeights = {ValueList{0.5f}};
    d->refreshTraceWeights(5e-7);
    EXPECT_EQ(d->upperResponses[0][0], 0.25f);
    EXPECT_EQ(d->lowerWeights[0][0], 0.5f);

    CheckedList<ValueList> values{ValueList{0.0f, -2.0f}, ValueList{}};
    d->normaliseToMaximum(values);
    EXPECT_EQ(values[0][0], 0.0f);
    EXPECT_EQ(values[0][1], -2.0f);
}
