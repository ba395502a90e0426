// The C entry as a foreign host uses it: the shared library is loaded at run time and its functions are
// looked up by name. The exported class, linked in from the static engine (the same object files), gives
// the reference planes.

#include "LoadedLibrary.h"

#include <support/SyntheticVolume.h>

#include <Velin/VelinLayerSegment.h>

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr short kUntouched = 0x5A5A;
constexpr int kCountUntouched = -12345;

/// The arguments of one call; the defaults are a valid call on a volume too small to be segmented.
struct Call {
    const unsigned char* volume = nullptr;
    int numBScans = 9, numAScans = 8, depth = 16;
    int nullPlane = -1;  ///< index of a plane passed as null, or -1
    float gapScale = 100.0f, widthSelector = 5.0f, auxParameter = 0.0f;
    int optionFlag = 0;
};

/// Everything a call may write: the planes (pre-filled with kUntouched), the count and the progress reports.
struct Outcome {
    explicit Outcome(std::size_t size) : planes(4, std::vector<short>(size, kUntouched)) {}
    bool planesUntouched() const {
        for (const auto& plane : planes) {
            for (short v : plane) {
                if (v != kUntouched) return false;
            }
        }
        return true;
    }
    static void record(int done, int total, void* user) {
        auto* outcome = static_cast<Outcome*>(user);
        outcome->done.push_back(done);
        outcome->total.push_back(total);
    }
    int status = 1;
    int count = kCountUntouched;
    std::vector<std::vector<short>> planes;
    std::vector<int> done, total;
};

class CEntryTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        library = new velin_test::LoadedLibrary(VELIN_LIBRARY_PATH);
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

    static Outcome run(const Call& call, std::size_t planeSize = 64) {
        Outcome out(planeSize);
        short* p[4];
        for (int i = 0; i < 4; ++i) p[i] = i == call.nullPlane ? nullptr : out.planes[i].data();
        out.status = entry.segmentEx(call.volume, call.numBScans, call.numAScans, call.depth, p[0], p[1], p[2], p[3],
                                     call.gapScale, call.widthSelector, call.auxParameter, call.optionFlag,
                                     &Outcome::record, &out, &out.count);
        return out;
    }

    static velin_test::LoadedLibrary* library;
    static velin_test::CEntry entry;
};

velin_test::LoadedLibrary* CEntryTest::library = nullptr;
velin_test::CEntry CEntryTest::entry;

TEST_F(CEntryTest, VersionAndMessages) {
    EXPECT_STREQ(entry.version(), VELIN_EXPECTED_VERSION);
    const std::string unknown = entry.statusMessage(-1000);
    EXPECT_EQ(unknown, entry.statusMessage(1));
    std::set<std::string> seen;
    for (int status = VELIN_OK; status >= VELIN_ERR_INTERNAL; --status) {
        const char* message = entry.statusMessage(status);
        ASSERT_NE(message, nullptr);
        EXPECT_NE(message, unknown) << "status " << status;
        EXPECT_TRUE(seen.insert(message).second) << "status " << status << " repeats \"" << message << "\"";
    }
}

// Each rejected argument has its own code; arguments at the edge of what is accepted get past the checks
// and, with fewer than 10 B-scans, stop before the volume is read (so huge declared sizes are safe). Either
// way no plane element and no progress report is written; the count only once a run has completed.
TEST_F(CEntryTest, ArgumentChecksWriteNothing) {
    const std::vector<unsigned char> volume(9 * 8 * 16, 100);
    struct Case {
        const char* what;
        int expected;
        void (*change)(Call&);
    };
    const Case cases[] = {
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
        {"gapScale NaN", VELIN_ERR_BAD_GAP_SCALE,
         [](Call& c) { c.gapScale = std::numeric_limits<float>::quiet_NaN(); }},
        {"gapScale +inf", VELIN_ERR_BAD_GAP_SCALE,
         [](Call& c) { c.gapScale = std::numeric_limits<float>::infinity(); }},
        {"gapScale -inf", VELIN_ERR_BAD_GAP_SCALE,
         [](Call& c) { c.gapScale = -std::numeric_limits<float>::infinity(); }},
        {"gap limit past 32 bits", VELIN_ERR_BAD_GAP_SCALE, [](Call& c) { c.gapScale = 1e-8f; }},
        {"2^31-1 samples", VELIN_ERR_TOO_FEW_BSCANS,
         [](Call& c) { c.numBScans = 1, c.numAScans = 1, c.depth = std::numeric_limits<int>::max(); }},
        {"9 * 238609294 samples", VELIN_ERR_TOO_FEW_BSCANS, [](Call& c) { c.numAScans = 1, c.depth = 238609294; }},
        {"negative gapScale", VELIN_ERR_TOO_FEW_BSCANS, [](Call& c) { c.gapScale = -3.0f; }},
        {"gap limit just fits", VELIN_ERR_TOO_FEW_BSCANS, [](Call& c) { c.gapScale = -1e-7f; }},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        Call call;
        call.volume = volume.data();
        test.change(call);
        const Outcome out = run(call);
        EXPECT_EQ(out.status, test.expected) << entry.statusMessage(out.status);
        EXPECT_TRUE(out.planesUntouched());
        EXPECT_EQ(out.count, test.expected == VELIN_ERR_TOO_FEW_BSCANS ? 0 : kCountUntouched);
        EXPECT_TRUE(out.done.empty());
    }
}

TEST_F(CEntryTest, NothingSegmentedLeavesThePlanesAlone) {
    Call call;
    call.numBScans = 10, call.numAScans = 64, call.depth = 128;
    const std::vector<unsigned char> blank(10 * 64 * 128, 0);
    call.volume = blank.data();
    const Outcome out = run(call, 10 * 64);
    EXPECT_EQ(out.status, VELIN_ERR_NO_BSCAN_FOUND);
    EXPECT_TRUE(out.planesUntouched());
    EXPECT_EQ(out.count, 0);
    // Every B-scan was still attempted, in order.
    EXPECT_EQ(out.done, (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(out.total, std::vector<int>(10, 10));
}

// Both forms of the C entry give the exported class's planes bit for bit.
TEST_F(CEntryTest, PlanesEqualTheExportedClassBitForBit) {
    velin_test::SyntheticVolumeOptions options;
    options.seed = 7;
    const velin_test::SyntheticVolume volume = velin_test::makeLayeredVolume(options);
    Call call;
    call.volume = volume.samples.data();
    call.numBScans = volume.numBScans, call.numAScans = volume.numAScans, call.depth = volume.depth;
    call.gapScale = 40.0f, call.widthSelector = 12.0f, call.auxParameter = 0.5f, call.optionFlag = 1;
    const std::size_t size = static_cast<std::size_t>(volume.numBScans) * volume.numAScans;

    Outcome reference(size);
    CVelinLayerSegment().VelinLayerSegment(call.volume, call.numBScans, call.numAScans, call.depth,
                                           reference.planes[0].data(), reference.planes[1].data(),
                                           reference.planes[2].data(), reference.planes[3].data(), call.gapScale,
                                           call.widthSelector, call.auxParameter, call.optionFlag);
    ASSERT_FALSE(reference.planesUntouched()) << "the synthetic volume was not segmented at all";

    const Outcome viaEx = run(call, size);
    ASSERT_EQ(viaEx.status, VELIN_OK);
    EXPECT_GT(viaEx.count, 0);
    EXPECT_LE(viaEx.count, volume.numBScans);
    EXPECT_EQ(viaEx.done.size(), static_cast<std::size_t>(volume.numBScans));
    EXPECT_EQ(viaEx.planes, reference.planes);

    Outcome plain(size);
    ASSERT_EQ(entry.segment(call.volume, call.numBScans, call.numAScans, call.depth, plain.planes[0].data(),
                            plain.planes[1].data(), plain.planes[2].data(), plain.planes[3].data(), call.gapScale,
                            call.widthSelector, call.auxParameter, call.optionFlag),
              VELIN_OK);
    EXPECT_EQ(plain.planes, reference.planes);
}

}  // namespace
