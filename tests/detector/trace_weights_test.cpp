#include "TracingFixture.h"

#include <gtest/gtest.h>

using namespace velin_test;

TEST(TraceWeights, RefreshReadsPresentPositionsDropsConfidenceAndScalesByTheOverallMaximum) {
    auto d = makeDetector(8, 4);
    for (int x = 0; x < 8; ++x) d->responseImage.getRow(0)[x] = -static_cast<float>(x + 1);
    d->upperTraces = {traceOf({1, 2}), traceOf({3})};
    d->upperResponses = {ValueList{0.5f, 0.0f}, ValueList{0.2f}};
    d->lowerTraces = {traceOf({4}), traceOf({6})};
    d->lowerWeights = {ValueList{0.9f}, ValueList{0.1f}};
    d->refreshTraceWeights(10.0);
    // |-2/10| and |-4/10| over the maximum of both segments; a zero stays zero.
    EXPECT_FLOAT_EQ(d->upperResponses[0][0], 0.5f);
    EXPECT_EQ(d->upperResponses[0][1], 0.0f);
    EXPECT_EQ(d->upperResponses[1][0], 1.0f);
    // |-5/10| against |-7/10|: the old 0.9 and 0.1 no longer count.
    EXPECT_FLOAT_EQ(d->lowerWeights[0][0], 5.0f / 7.0f);
    EXPECT_EQ(d->lowerWeights[1][0], 1.0f);
    // Without a scale nothing changes.
    d->refreshTraceWeights(5e-7);
    EXPECT_FLOAT_EQ(d->upperResponses[0][0], 0.5f);
}
