// The C entry as a foreign host uses it: the shared library is loaded at run time and its functions are
// looked up by name. The exported class, linked in from the static engine (the same object files), gives
// the reference planes.

#include "LoadedLibrary.h"

#include <support/SyntheticVolume.h>

#include <Velin/VelinLayerSegment.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace {

using velin_test::CEntry;
using velin_test::LoadedLibrary;

constexpr short kUntouched = 0x5A5A;
constexpr int kCountUntouched = -12345;

struct Planes {
    explicit Planes(std::size_t size)
        : p1(size, kUntouched), p2(size, kUntouched), p3(size, kUntouched), p4(size, kUntouched) {}
    bool untouched() const {
        for (const auto* plane : {&p1, &p2, &p3, &p4}) {
            for (short v : *plane) {
                if (v != kUntouched) {
                    return false;
                }
            }
        }
        return true;
    }
    std::vector<short> p1, p2, p3, p4;
};

struct ProgressLog {
    std::vector<int> done;
    std::vector<int> total;
    static void record(int done, int total, void* user) {
        auto* log = static_cast<ProgressLog*>(user);
        log->done.push_back(done);
        log->total.push_back(total);
    }
};

/// The arguments of one call; the defaults are a valid call on a volume too small to be segmented.
struct Call {
    const unsigned char* volume = nullptr;
    int numBScans = 9;
    int numAScans = 8;
    int depth = 16;
    bool nullPlane[4] = {false, false, false, false};
    float gapScale = 100.0f;
    float widthSelector = 5.0f;
    float auxParameter = 0.0f;
    int optionFlag = 0;
};

class CEntryTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        library = new LoadedLibrary(VELIN_LIBRARY_PATH);
        entry = velin_test::resolveCEntry(*library);
    }
    static void TearDownTestSuite() {
        delete library;
        library = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(library->loaded()) << library->error();
        ASSERT_TRUE(entry.complete()) << library->error();
    }

    /// Runs velin_segment_ex; the planes, the count and the progress log show what the call wrote.
    int run(const Call& call, Planes& planes, int& count, ProgressLog& log) {
        short* p[4] = {planes.p1.data(), planes.p2.data(), planes.p3.data(), planes.p4.data()};
        for (int i = 0; i < 4; ++i) {
            if (call.nullPlane[i]) {
                p[i] = nullptr;
            }
        }
        count = kCountUntouched;
        return entry.segmentEx(call.volume, call.numBScans, call.numAScans, call.depth, p[0], p[1], p[2], p[3],
                               call.gapScale, call.widthSelector, call.auxParameter, call.optionFlag,
                               &ProgressLog::record, &log, &count);
    }

    static LoadedLibrary* library;
    static CEntry entry;
    std::vector<unsigned char> smallVolume = std::vector<unsigned char>(9 * 8 * 16, 100);
};

LoadedLibrary* CEntryTest::library = nullptr;
CEntry CEntryTest::entry;

TEST_F(CEntryTest, VersionIsTheProjectVersion) {
    EXPECT_STREQ(entry.version(), VELIN_EXPECTED_VERSION);
}

TEST_F(CEntryTest, EveryStatusHasItsOwnMessage) {
    const std::string unknown = entry.statusMessage(-1000);
    EXPECT_EQ(unknown, entry.statusMessage(1));
    std::set<std::string> seen;
    for (int status = VELIN_OK; status >= VELIN_ERR_INTERNAL; --status) {
        const char* message = entry.statusMessage(status);
        ASSERT_NE(message, nullptr);
        EXPECT_NE(message, unknown) << "status " << status;
        EXPECT_TRUE(seen.insert(message).second) << "status " << status << " repeats \"" << message << "\"";
    }
    EXPECT_NE(std::string(entry.statusMessage(VELIN_ERR_TOO_FEW_BSCANS)).find("10 B-scans"), std::string::npos);
}

// Every rejected argument gives its own code, and the call writes nothing: no plane element, no count, no
// progress report.
TEST_F(CEntryTest, BadArgumentsReturnTheirCodeAndWriteNothing) {
    struct Case {
        const char* what;
        Call call;
        int expected;
    };
    std::vector<Case> cases;
    auto add = [&](const char* what, int expected, auto change) {
        Call call;
        call.volume = smallVolume.data();
        change(call);
        cases.push_back({what, call, expected});
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    add("null volume", VELIN_ERR_NULL_VOLUME, [](Call& c) { c.volume = nullptr; });
    add("null volume wins over a bad size", VELIN_ERR_NULL_VOLUME, [](Call& c) {
        c.volume = nullptr;
        c.depth = 0;
    });
    for (int i = 0; i < 4; ++i) {
        add("null plane", VELIN_ERR_NULL_PLANE, [i](Call& c) { c.nullPlane[i] = true; });
    }
    add("zero B-scans", VELIN_ERR_BAD_SIZE, [](Call& c) { c.numBScans = 0; });
    add("negative B-scans", VELIN_ERR_BAD_SIZE, [](Call& c) { c.numBScans = -20; });
    add("negative A-scans", VELIN_ERR_BAD_SIZE, [](Call& c) { c.numAScans = -1; });
    add("zero depth", VELIN_ERR_BAD_SIZE, [](Call& c) { c.depth = 0; });
    add("bad size wins over overflow", VELIN_ERR_BAD_SIZE, [](Call& c) {
        c.numAScans = 1 << 30;
        c.depth = -1;
    });
    add("volume just past 2^31-1", VELIN_ERR_SIZE_OVERFLOW, [](Call& c) {
        c.numBScans = 9;
        c.numAScans = 1;
        c.depth = 238609295;  // 9 * 238609295 = 2147483655
    });
    add("volume of 2^31", VELIN_ERR_SIZE_OVERFLOW, [](Call& c) {
        c.numAScans = 65536;
        c.depth = 32768;
        c.numBScans = 1;
    });
    add("plane count past 32 bits", VELIN_ERR_SIZE_OVERFLOW, [](Call& c) {
        c.numBScans = 40000;
        c.numAScans = 60000;
        c.depth = 1;
    });
    add("gapScale 0", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = 0.0f; });
    add("gapScale -0", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = -0.0f; });
    add("gapScale NaN", VELIN_ERR_BAD_GAP_SCALE, [nan](Call& c) { c.gapScale = nan; });
    add("gapScale +inf", VELIN_ERR_BAD_GAP_SCALE, [inf](Call& c) { c.gapScale = inf; });
    add("gapScale -inf", VELIN_ERR_BAD_GAP_SCALE, [inf](Call& c) { c.gapScale = -inf; });
    add("gapScale so small the gap limit overflows", VELIN_ERR_BAD_GAP_SCALE,
        [](Call& c) { c.gapScale = 1e-8f; });
    add("gapScale smallest subnormal", VELIN_ERR_BAD_GAP_SCALE,
        [](Call& c) { c.gapScale = std::numeric_limits<float>::denorm_min(); });

    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        Planes planes(64);
        ProgressLog log;
        int count = 0;
        EXPECT_EQ(run(test.call, planes, count, log), test.expected);
        EXPECT_TRUE(planes.untouched());
        EXPECT_EQ(count, kCountUntouched);
        EXPECT_TRUE(log.done.empty());
    }
}

// Arguments at the edge of what is accepted get past the checks; with fewer than 10 B-scans the run then
// stops before it reads the volume, so huge declared sizes are safe here.
TEST_F(CEntryTest, EdgeArgumentsPassTheChecks) {
    struct Case {
        const char* what;
        int numBScans, numAScans, depth;
        float gapScale;
    };
    const Case cases[] = {
        {"volume of exactly 2^31-1 samples", 1, 1, std::numeric_limits<int>::max(), 100.0f},
        {"9 B-scans just under the limit", 9, 1, 238609294, 100.0f},
        {"negative gapScale switches bridging off", 9, 8, 16, -3.0f},
        {"small gapScale whose limit still fits", 9, 8, 16, 1e-7f},
        {"tiny negative gapScale whose limit still fits", 9, 8, 16, -1e-7f},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        Call call;
        call.volume = smallVolume.data();
        call.numBScans = test.numBScans;
        call.numAScans = test.numAScans;
        call.depth = test.depth;
        call.gapScale = test.gapScale;
        Planes planes(64);
        ProgressLog log;
        int count = 0;
        EXPECT_EQ(run(call, planes, count, log), VELIN_ERR_TOO_FEW_BSCANS);
        EXPECT_TRUE(planes.untouched());
        EXPECT_EQ(count, 0);
        EXPECT_TRUE(log.done.empty());
    }
}

TEST_F(CEntryTest, NothingSegmentedLeavesThePlanesAlone) {
    const int numBScans = 10, numAScans = 64, depth = 128;
    const std::vector<unsigned char> blank(static_cast<std::size_t>(numBScans) * numAScans * depth, 0);
    Call call;
    call.volume = blank.data();
    call.numBScans = numBScans;
    call.numAScans = numAScans;
    call.depth = depth;
    Planes planes(static_cast<std::size_t>(numBScans) * numAScans);
    ProgressLog log;
    int count = 0;
    EXPECT_EQ(run(call, planes, count, log), VELIN_ERR_NO_BSCAN_FOUND);
    EXPECT_TRUE(planes.untouched());
    EXPECT_EQ(count, 0);
    // Every B-scan was still attempted, in order.
    std::vector<int> expectedDone;
    for (int b = 1; b <= numBScans; ++b) {
        expectedDone.push_back(b);
    }
    EXPECT_EQ(log.done, expectedDone);
    EXPECT_EQ(log.total, std::vector<int>(numBScans, numBScans));
}

// The C entry, both forms, gives the exported class's planes bit for bit, and reports progress and count.
TEST_F(CEntryTest, PlanesEqualTheExportedClassBitForBit) {
    velin_test::SyntheticVolumeOptions options;
    options.numBScans = 16;
    options.numAScans = 256;
    options.depth = 512;
    options.seed = 7;
    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume(options);
    const std::size_t size = static_cast<std::size_t>(volume.numBScans) * volume.numAScans;
    const float gapScale = 40.0f, widthSelector = 12.0f, auxParameter = 0.5f;
    const int optionFlag = 1;

    Planes reference(size);
    CVelinLayerSegment segmenter;
    segmenter.VelinLayerSegment(volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth,
                                reference.p1.data(), reference.p2.data(), reference.p3.data(),
                                reference.p4.data(), gapScale, widthSelector, auxParameter, optionFlag);
    ASSERT_FALSE(reference.untouched()) << "the synthetic volume was not segmented at all";

    Call call;
    call.volume = volume.samples.data();
    call.numBScans = volume.numBScans;
    call.numAScans = volume.numAScans;
    call.depth = volume.depth;
    call.gapScale = gapScale;
    call.widthSelector = widthSelector;
    call.auxParameter = auxParameter;
    call.optionFlag = optionFlag;
    Planes viaEx(size);
    ProgressLog log;
    int count = 0;
    ASSERT_EQ(run(call, viaEx, count, log), VELIN_OK);
    EXPECT_GT(count, 0);
    EXPECT_LE(count, volume.numBScans);
    EXPECT_EQ(log.done.size(), static_cast<std::size_t>(volume.numBScans));
    EXPECT_EQ(log.done.back(), volume.numBScans);

    Planes plain(size);
    ASSERT_EQ(entry.segment(volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth,
                            plain.p1.data(), plain.p2.data(), plain.p3.data(), plain.p4.data(), gapScale,
                            widthSelector, auxParameter, optionFlag),
              VELIN_OK);

    for (const Planes* planes : {&viaEx, &plain}) {
        EXPECT_EQ(planes->p1, reference.p1);
        EXPECT_EQ(planes->p2, reference.p2);
        EXPECT_EQ(planes->p3, reference.p3);
        EXPECT_EQ(planes->p4, reference.p4);
    }
}

}  // namespace
