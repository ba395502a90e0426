#include <Velin/Tracing/ResponseRange.h>

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

using Orvan::Velin::foldRange;

// The range is folded in lanes; it must equal one compare-and-select pass in order, for every length (the
// lanes take eight values at a time, the rest goes one by one), with NaN left out wherever it falls, and with
// the extremes placed in every lane and in the tail.
TEST(ResponseRange, EqualsOneOrderedPassForAnyLengthAndPosition) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> value(-50.0f, 50.0f);
    for (int count = 0; count <= 37; ++count) {
        for (int extreme = 0; extreme < count; ++extreme) {
            std::vector<float> v(static_cast<std::size_t>(count));
            for (float& x : v) x = value(rng);
            v[extreme] = -300.0f;
            v[count - 1 - extreme] = 300.0f;
            if (count > 2) v[(extreme + 1) % count] = nan;
            float least = 1e30f, greatest = -1e30f;
            foldRange(v.data(), count, least, greatest);
            float expectedLeast = 1e30f, expectedGreatest = -1e30f;
            for (const float x : v) {
                if (x <= expectedLeast) expectedLeast = x;
                if (x >= expectedGreatest) expectedGreatest = x;
            }
            ASSERT_EQ(std::make_pair(least, greatest), std::make_pair(expectedLeast, expectedGreatest))
                << count << " values, extreme at " << extreme;
        }
    }
    // Folding continues from the values passed in: values all NaN, or inside them, leave them alone.
    for (const float x : {nan, 2.5f}) {
        const std::vector<float> v(19, x);
        float least = 2.0f, greatest = 3.0f;
        foldRange(v.data(), 19, least, greatest);
        EXPECT_EQ(std::make_pair(least, greatest), std::make_pair(2.0f, 3.0f)) << x;
    }
}
