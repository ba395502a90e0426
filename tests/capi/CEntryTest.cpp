// The C entry as a foreign host uses it: the shared library is loaded at run time and its functions are
// looked up by name. The exported class, linked in from the static engine (the same object files), gives
// the reference planes.

#include "LoadedLibrary.h"

#include <support/SyntheticVolume.h>

#include <Velin/VelinLayerSegment.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr short kUntouched = 0x5A5A, kCountUntouched = -12345;

/// The arguments of one call; the defaults are a valid call on a volume too small to be segmented.
struct Call {
    const unsigned char* volume = nullptr;
    int numBScans = 9, numAScans = 8, depth = 16;
    int nullPlane = -1, optionFlag = 0;  ///< nullPlane: index of a plane passed as null, or -1
    float gapScale = 100.0f, widthSelector = 5.0f, auxParameter = 0.0f;
};

/// Everything a call may write: the planes (pre-filled with kUntouched), the count and the progress reports.
struct Outcome {
    explicit Outcome(std::size_t size) : planes(4, std::vector<short>(size, kUntouched)) {}
    bool planesUntouched() const { return planes == Outcome(planes[0].size()).planes; }
    int status = 1, count = kCountUntouched;
    std::vector<std::vector<short>> planes;
    std::vector<int> done, total;
};

const velin_test::CEntry& entry() {
    static std::string error;
    static const velin_test::CEntry loaded = velin_test::loadCEntry(VELIN_LIBRARY_PATH, error);
    EXPECT_TRUE(loaded.complete()) << error;
    return loaded;
}

// A call of velin_segment_ex, or of velin_segment_with_options when `options` is given (its pointer may be
// null).
Outcome run(const Call& call, std::size_t planeSize = 64, const velin_options* const* options = nullptr) {
    Outcome out(planeSize);
    short* p[4];
    for (int i = 0; i < 4; ++i) p[i] = i == call.nullPlane ? nullptr : out.planes[i].data();
    const auto record = [](int done, int total, void* user) {
        static_cast<Outcome*>(user)->done.push_back(done);
        static_cast<Outcome*>(user)->total.push_back(total);
    };
    if (options != nullptr)
        out.status = entry().segmentWithOptions(call.volume, call.numBScans, call.numAScans, call.depth, p[0], p[1],
                                                p[2], p[3], call.gapScale, call.widthSelector, call.auxParameter,
                                                call.optionFlag, record, &out, &out.count, *options);
    else
        out.status = entry().segmentEx(call.volume, call.numBScans, call.numAScans, call.depth, p[0], p[1], p[2], p[3],
                                       call.gapScale, call.widthSelector, call.auxParameter, call.optionFlag, record,
                                       &out, &out.count);
    return out;
}

TEST(CEntry, VersionAndADistinctMessageForEveryStatus) {
    ASSERT_TRUE(entry().complete());
    EXPECT_STREQ(entry().version(), VELIN_EXPECTED_VERSION);
    const std::string unknown = entry().statusMessage(-1000);
    EXPECT_EQ(unknown, entry().statusMessage(1));
    std::set<std::string> seen = {unknown};
    for (int status = VELIN_OK; status >= VELIN_ERR_STOPPED; --status)
        EXPECT_TRUE(seen.insert(entry().statusMessage(status)).second) << "status " << status << " repeats a message";
}

// Each rejected argument has its own code; arguments at the edge of what is accepted get past the checks
// and, with fewer than 10 B-scans, stop before the volume is read (so huge declared sizes are safe). Either
// way no plane element and no progress report is written; the count only once a run has completed.
TEST(CEntry, ArgumentChecksWriteNothing) {
    ASSERT_TRUE(entry().complete());
    const std::vector<unsigned char> volume(9 * 8 * 16, 100);
    constexpr float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    struct Case {
        const char* what;
        int expected;
        void (*change)(Call&);
    } const cases[] = {
        {"null volume", VELIN_ERR_NULL_VOLUME, [](Call& c) { c.volume = nullptr; }},
        {"null volume before bad size", VELIN_ERR_NULL_VOLUME, [](Call& c) { c.volume = nullptr, c.depth = 0; }},
        {"null plane 1", VELIN_ERR_NULL_PLANE, [](Call& c) { c.nullPlane = 0; }},
        {"null plane 4", VELIN_ERR_NULL_PLANE, [](Call& c) { c.nullPlane = 3; }},
        {"zero B-scans", VELIN_ERR_BAD_SIZE, [](Call& c) { c.numBScans = 0; }},
        {"negative A-scans", VELIN_ERR_BAD_SIZE, [](Call& c) { c.numAScans = -1; }},
        {"zero depth", VELIN_ERR_BAD_SIZE, [](Call& c) { c.depth = 0; }},
        {"bad size before overflow", VELIN_ERR_BAD_SIZE, [](Call& c) { c.numAScans = 1 << 30, c.depth = -1; }},
        {"9 * 238609295 > 2^31-1", VELIN_ERR_SIZE_OVERFLOW, [](Call& c) { c.numAScans = 1, c.depth = 238609295; }},
        {"plane count past 32 bits", VELIN_ERR_SIZE_OVERFLOW,
         [](Call& c) { c.numBScans = 40000, c.numAScans = 60000, c.depth = 1; }},
        {"gapScale 0", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = 0.0f; }},
        {"gapScale -0", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = -0.0f; }},
        {"gapScale NaN", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = nan; }},
        {"gapScale +inf", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = inf; }},
        {"gapScale -inf", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = -inf; }},
        {"gap limit past 32 bits", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = 1e-8f; }},
        // The final pass's step count 10 * (optionFlag + 1) overflows at the largest int; 1000 is the limit.
        {"optionFlag past the limit", VELIN_ERR_BAD_OPTIONS, [](Call& c) { c.optionFlag = 1001; }},
        {"optionFlag 2^31-1", VELIN_ERR_BAD_OPTIONS, [](Call& c) { c.optionFlag = std::numeric_limits<int>::max(); }},
        {"widthSelector NaN", VELIN_ERR_BAD_OPTIONS, [](Call& c) { c.widthSelector = nan; }},
        {"auxParameter -inf", VELIN_ERR_BAD_OPTIONS, [](Call& c) { c.auxParameter = -inf; }},
        {"gap scale before option", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = nan, c.optionFlag = 1001; }},
        {"2^31-1 samples", VELIN_ERR_TOO_FEW_BSCANS,
         [](Call& c) { c.numBScans = 1, c.numAScans = 1, c.depth = std::numeric_limits<int>::max(); }},
        {"9 * 238609294 samples", VELIN_ERR_TOO_FEW_BSCANS, [](Call& c) { c.numAScans = 1, c.depth = 238609294; }},
        {"negative gapScale", VELIN_ERR_TOO_FEW_BSCANS, [](Call& c) { c.gapScale = -3.0f; }},
        {"gap limit just fits", VELIN_ERR_TOO_FEW_BSCANS, [](Call& c) { c.gapScale = -1e-7f; }},
        {"optionFlag at the limit", VELIN_ERR_TOO_FEW_BSCANS, [](Call& c) { c.optionFlag = 1000; }},
        {"negative optionFlag counts as 0", VELIN_ERR_TOO_FEW_BSCANS,
         [](Call& c) { c.optionFlag = std::numeric_limits<int>::min(); }},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        Call call;
        call.volume = volume.data();
        test.change(call);
        const Outcome out = run(call);
        EXPECT_EQ(out.status, test.expected) << entry().statusMessage(out.status);
        EXPECT_TRUE(out.planesUntouched());
        EXPECT_EQ(out.count, test.expected == VELIN_ERR_TOO_FEW_BSCANS ? 0 : kCountUntouched);
        EXPECT_TRUE(out.done.empty());
    }
}

TEST(CEntry, NothingSegmentedLeavesThePlanesAloneAfterTryingEveryBScanInOrder) {
    ASSERT_TRUE(entry().complete());
    const std::vector<unsigned char> blank(10 * 64 * 128, 0);
    Call call;
    call.volume = blank.data(), call.numBScans = 10, call.numAScans = 64, call.depth = 128;
    const Outcome out = run(call, 10 * 64);
    EXPECT_EQ(out.status, VELIN_ERR_NO_BSCAN_FOUND);
    EXPECT_TRUE(out.planesUntouched());
    EXPECT_EQ(out.count, 0);
    EXPECT_EQ(out.done, (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(out.total, std::vector<int>(10, 10));
}

// Both forms of the C entry give the exported class's planes bit for bit.
TEST(CEntry, PlanesEqualTheExportedClassBitForBit) {
    ASSERT_TRUE(entry().complete());
    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume({16, 256, 512, 7});
    // All four tuning arguments away from their defaults.
    const Call call{volume.samples.data(), 16, 256, 512, -1, 1, 40.0f, 12.0f, 0.5f};
    const std::size_t size = static_cast<std::size_t>(volume.numBScans) * volume.numAScans;

    Outcome reference(size), plain(size);
    std::vector<short>* r = reference.planes.data();
    CVelinLayerSegment().VelinLayerSegment(call.volume, call.numBScans, call.numAScans, call.depth, r[0].data(),
                                           r[1].data(), r[2].data(), r[3].data(), call.gapScale, call.widthSelector,
                                           call.auxParameter, call.optionFlag);
    ASSERT_FALSE(reference.planesUntouched()) << "the synthetic volume was not segmented at all";
    const Outcome viaEx = run(call, size);
    ASSERT_EQ(viaEx.status, VELIN_OK);
    EXPECT_TRUE(viaEx.count > 0 && viaEx.count <= volume.numBScans) << viaEx.count;
    EXPECT_EQ(viaEx.done.size(), static_cast<std::size_t>(volume.numBScans));
    EXPECT_EQ(viaEx.planes, reference.planes);

    std::vector<short>* p = plain.planes.data();
    ASSERT_EQ(
        entry().segment(call.volume, call.numBScans, call.numAScans, call.depth, p[0].data(), p[1].data(), p[2].data(),
                        p[3].data(), call.gapScale, call.widthSelector, call.auxParameter, call.optionFlag),
        VELIN_OK);
    EXPECT_EQ(plain.planes, reference.planes);
}

// Options with a size the library does not know, or a negative thread count, are refused after the other
// arguments and before anything is written; a stop function ends the call after the B-scan it answers;
// the thread count never changes the planes, on a volume whose
// transform is larger than its B-scans (200 A-scans, 256 transform rows) where part of each B-scan's
// transform carries into the next.
TEST(CEntry, OptionsAreCheckedAndTheThreadCountLeavesThePlanesAsTheyAre) {
    ASSERT_TRUE(entry().complete());
    velin_options defaults;
    defaults.size = 0, defaults.threads = -5;
    entry().optionsInit(&defaults);
    EXPECT_EQ(defaults.size, static_cast<int>(sizeof(velin_options)));
    EXPECT_EQ(defaults.threads, 0);

    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume({12, 200, 512, 3});
    const std::size_t size = static_cast<std::size_t>(volume.numBScans) * volume.numAScans;
    Call call{volume.samples.data(), 12, 200, 512};
    struct Refused {
        const char* what;
        int size, threads, expected;
        bool badGapScale;
    } const refused[] = {
        {"size 0", 0, 1, VELIN_ERR_BAD_OPTIONS, false},
        {"size of a later, longer layout", static_cast<int>(sizeof(velin_options)) + 4, 1, VELIN_ERR_BAD_OPTIONS,
         false},
        {"negative thread count", static_cast<int>(sizeof(velin_options)), -1, VELIN_ERR_BAD_OPTIONS, false},
        {"thread count past 1024", static_cast<int>(sizeof(velin_options)), 1025, VELIN_ERR_BAD_OPTIONS, false},
        {"a bad argument is reported first", 0, -1, VELIN_ERR_BAD_GAP_SCALE, true},
    };
    for (const Refused& test : refused) {
        SCOPED_TRACE(test.what);
        velin_options options{test.size, test.threads, nullptr, nullptr};
        const velin_options* pointer = &options;
        Call bad = call;
        if (test.badGapScale) bad.gapScale = 0.0f;
        const Outcome out = run(bad, size, &pointer);
        EXPECT_EQ(out.status, test.expected);
        EXPECT_TRUE(out.planesUntouched());
        EXPECT_EQ(out.count, kCountUntouched);
        EXPECT_TRUE(out.done.empty());
    }

    const velin_options* none = nullptr;
    const Outcome reference = run(call, size, &none);
    ASSERT_EQ(reference.status, VELIN_OK);
    for (int threads : {1, 2, 3}) {
        SCOPED_TRACE(std::to_string(threads) + " threads");
        velin_options options;
        entry().optionsInit(&options);
        options.threads = threads;
        const velin_options* pointer = &options;
        const Outcome out = run(call, size, &pointer);
        EXPECT_EQ(out.status, VELIN_OK);
        EXPECT_EQ(out.planes, reference.planes);
        EXPECT_EQ(out.count, reference.count);
        EXPECT_EQ(out.done, (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));

        // A caller built with the first layout, which ended after the thread count, set no stop function.
        options.size = 2 * static_cast<int>(sizeof(int));
        options.stop = [](void*) { return 1; };
        const Outcome first = run(call, size, &pointer);
        EXPECT_EQ(first.status, VELIN_OK);
        EXPECT_EQ(first.planes, reference.planes);

        // A stop asked for after the first B-scan's report ends the call there: no further report, nothing
        // written, whether the other threads were busy or not.
        entry().optionsInit(&options);
        options.threads = threads;
        int asked = 0;
        options.stop = [](void* user) {
            ++*static_cast<int*>(user);
            return 1;
        };
        options.stopUser = &asked;
        const Outcome stopped = run(call, size, &pointer);
        EXPECT_EQ(stopped.status, VELIN_ERR_STOPPED);
        EXPECT_EQ(asked, 1);
        EXPECT_EQ(stopped.done, std::vector<int>{1});
        EXPECT_TRUE(stopped.planesUntouched());
        EXPECT_EQ(stopped.count, kCountUntouched);
    }
}

// The refinement's own checks: each rejected argument has its code and leaves every output as it was.
TEST(CEntry, RefineArgumentChecksWriteNothing) {
    ASSERT_TRUE(entry().complete());
    struct RefineCall {
        std::vector<unsigned char> volume = std::vector<unsigned char>(2 * 3 * 8, 50);
        std::vector<short> start = std::vector<short>(6, 2);
        int numBScans = 2, numAScans = 3, depth = 8;
        double spacing[3] = {0.0, 0.0, 0.0};
        int threads = 1;
        bool nullVolume = false, nullStart = false, nullOutput = false;
    };
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    struct Case {
        const char* what;
        int expected;
        void (*change)(RefineCall&);
    } const cases[] = {
        {"null volume", VELIN_ERR_NULL_VOLUME, [](RefineCall& c) { c.nullVolume = true; }},
        {"null start", VELIN_ERR_NULL_PLANE, [](RefineCall& c) { c.nullStart = true; }},
        {"null output", VELIN_ERR_NULL_PLANE, [](RefineCall& c) { c.nullOutput = true; }},
        {"zero depth", VELIN_ERR_BAD_SIZE, [](RefineCall& c) { c.depth = 0; }},
        {"samples past 32 bits", VELIN_ERR_SIZE_OVERFLOW, [](RefineCall& c) { c.depth = 1 << 30; }},
        {"negative depth spacing", VELIN_ERR_BAD_SPACING, [](RefineCall& c) { c.spacing[0] = -1.0; }},
        {"NaN A-scan spacing", VELIN_ERR_BAD_SPACING, [](RefineCall& c) { c.spacing[1] = nan; }},
        {"infinite B-scan spacing", VELIN_ERR_BAD_SPACING, [](RefineCall& c) { c.spacing[2] = inf; }},
        // Its rules are sized in samples from the spacings: 60 um over 1e-300 um is no integer.
        {"depth spacing below 0.1 um", VELIN_ERR_BAD_SPACING, [](RefineCall& c) { c.spacing[0] = 1e-300; }},
        {"B-scans over 10 mm apart", VELIN_ERR_BAD_SPACING, [](RefineCall& c) { c.spacing[2] = 10001.0; }},
        {"negative thread count", VELIN_ERR_BAD_OPTIONS, [](RefineCall& c) { c.threads = -1; }},
        {"thread count past 1024", VELIN_ERR_BAD_OPTIONS, [](RefineCall& c) { c.threads = 1025; }},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        RefineCall call;
        test.change(call);
        std::vector<float> planes[4];
        for (auto& plane : planes) plane.assign(6, 7.0f);
        const int status = entry().refineBoundaries(
            call.nullVolume ? nullptr : call.volume.data(), call.numBScans, call.numAScans, call.depth,
            call.start.data(), call.nullStart ? nullptr : call.start.data(), call.spacing[0], call.spacing[1],
            call.spacing[2], planes[0].data(), call.nullOutput ? nullptr : planes[1].data(), planes[2].data(),
            planes[3].data(), call.threads);
        EXPECT_EQ(status, test.expected) << entry().statusMessage(status);
        for (const auto& plane : planes) EXPECT_EQ(plane, std::vector<float>(6, 7.0f));
    }
}

// The refined boundaries do not depend on the thread count, and confidences are optional.
TEST(CEntry, RefinedBoundariesAreTheSameOnAnyThreadCount) {
    ASSERT_TRUE(entry().complete());
    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume({16, 256, 512, 7});
    const std::size_t size = static_cast<std::size_t>(volume.numBScans) * volume.numAScans;
    std::vector<short> planes[4];
    for (auto& plane : planes) plane.assign(size, 0);
    ASSERT_EQ(entry().segment(volume.samples.data(), 16, 256, 512, planes[0].data(), planes[1].data(), planes[2].data(),
                              planes[3].data(), 40.0f, 12.0f, 0.5f, 1),
              VELIN_OK);
    std::vector<float> serial[4], parallel[4];
    for (int i = 0; i < 4; ++i) serial[i].assign(size, 0.0f), parallel[i].assign(size, 0.0f);
    ASSERT_EQ(
        entry().refineBoundaries(volume.samples.data(), 16, 256, 512, planes[0].data(), planes[1].data(), 1.95, 11.7,
                                 47.0, serial[0].data(), serial[1].data(), serial[2].data(), serial[3].data(), 1),
        VELIN_OK);
    // 0 is one thread per processor core.
    for (int threads : {3, 0}) {
        ASSERT_EQ(
            entry().refineBoundaries(volume.samples.data(), 16, 256, 512, planes[0].data(), planes[1].data(), 1.95,
                                     11.7, 47.0, parallel[0].data(), parallel[1].data(), nullptr, nullptr, threads),
            VELIN_OK);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(std::memcmp(serial[i].data(), parallel[i].data(), size * sizeof(float)), 0) << threads;
    }
    // The synthetic layers' true boundaries are whole samples; the refined ones land on them.
    double error = 0.0;
    std::size_t found = 0;
    for (std::size_t i = 0; i < size; ++i) {
        if (std::isnan(serial[0][i])) continue;
        error += std::fabs(serial[0][i] - volume.top[i]);
        ++found;
    }
    EXPECT_GT(found, size * 95 / 100);
    EXPECT_LT(error / found, 0.25);
}

}  // namespace
