// The .vol export reader on files built byte by byte here, and on the real sample when it is present.

#include <Velin/Io/VolumeFile.h>
#include "io_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

using velin::io::readVolume;
using velin::io::Volume;

namespace {

template <typename T>
void put(std::vector<std::uint8_t>& bytes, std::size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

// 3 B-scans of 4 A-scans x 5 samples after the 2048-byte header and an 8 x 6 SLO image; each B-scan block is a
// 320-byte header and float32 pixels.
constexpr std::size_t kFirstBlock = 2048 + 8 * 6, kHeader = 320, kBlock = kHeader + 4 * 5 * 4;

// The device's line L of block i at A-scan x: 1.25 + i + 0.5 x + L; block 1 has no ILM point at A-scan 2.
float deviceLine(std::uint32_t line, std::uint32_t block, std::uint32_t x) {
    if (line == 0 && block == 1 && x == 2) return std::numeric_limits<float>::max();
    return 1.25f + static_cast<float>(block) + 0.5f * static_cast<float>(x) + static_cast<float>(line);
}

// Block i holds at (row z, column x) a reflectivity whose fourth root is (i * 20 + z * 3 + x) / 255, and
// `lines` lines of the device's segmentation at offset 256 of its header.
std::vector<std::uint8_t> buildVol(std::int32_t pattern, const std::vector<double>& startY, std::uint32_t lines = 3) {
    std::vector<std::uint8_t> bytes(kFirstBlock + 3 * kBlock, 0);
    std::memcpy(bytes.data(), "HSF-OCT-103", 12);
    put(bytes, 12, 4u), put(bytes, 16, 3u), put(bytes, 20, 5u);                    // A-scans, B-scans, depth
    put(bytes, 24, 0.0118206), put(bytes, 32, 0.125), put(bytes, 40, 0.00387167);  // spacings in mm
    put(bytes, 48, 8u), put(bytes, 52, 6u);                                        // SLO size
    std::memcpy(bytes.data() + 84, "OS", 2);
    put(bytes, 96, pattern), put(bytes, 100, static_cast<std::uint32_t>(kHeader));
    for (std::uint32_t i = 0; i < 3; ++i) {
        const std::size_t at = kFirstBlock + i * kBlock;
        std::memcpy(bytes.data() + at, "HSF-BS-103", 11);
        put(bytes, at + 12, static_cast<std::uint32_t>(kHeader)), put(bytes, at + 24, startY[i]);
        put(bytes, at + 48, lines), put(bytes, at + 52, 256u);
        for (std::uint32_t line = 0; line < std::min(lines, 3u); ++line)
            for (std::uint32_t x = 0; x < 4; ++x) put(bytes, at + 256 + (line * 4 + x) * 4, deviceLine(line, i, x));
        for (std::uint32_t z = 0; z < 5; ++z)
            for (std::uint32_t x = 0; x < 4; ++x) {
                const double root = (i * 20 + z * 3 + x) / 255.0;
                put(bytes, at + kHeader + (z * 4 + x) * 4, static_cast<float>(root * root * root * root));
            }
    }
    return bytes;
}

}  // namespace

TEST(IoVolReader, DecodesHeaderPixelsAndOrdersVolumeScansSuperiorFirst) {
    io_test::ScratchDir dir;
    // Stored inferior first (larger fundus y), as these exports do.
    const Volume v = readVolume(dir.write("scan.vol", buildVol(3, {2.0, 1.5, 1.0})), {});
    ASSERT_EQ(std::vector<int>({v.numBScans, v.numAScans, v.depth}), std::vector<int>({3, 4, 5}));
    EXPECT_EQ(v.eye, "OS");
    EXPECT_NEAR(v.spacingAScanUm, 11.8206, 1e-9);
    EXPECT_NEAR(v.spacingBScanUm, 125.0, 1e-9);
    EXPECT_NEAR(v.spacingDepthUm, 3.87167, 1e-9);
    for (std::uint32_t b = 0; b < 3; ++b)
        for (std::uint32_t a = 0; a < 4; ++a)
            for (std::uint32_t d = 0; d < 5; ++d)
                ASSERT_EQ(v.samples[(b * 4 + a) * 5 + d], (2 - b) * 20 + d * 3 + a) << b << "," << a << "," << d;
    // Other scan patterns keep the file's order.
    EXPECT_EQ(readVolume(dir.write("radial.vol", buildVol(5, {2.0, 1.5, 1.0})), {}).samples[0], 0);
}

// The device's own ILM (line 0) and RNFL (line 2) come with their B-scans, in the volume's order and flips;
// points it did not segment are NaN, and lines that would reach into the pixels are not read at all.
TEST(IoVolReader, DeviceLinesFollowTheirBScansAndFlips) {
    io_test::ScratchDir dir;
    const std::string path = dir.write("lines.vol", buildVol(3, {2.0, 1.5, 1.0}));
    const Volume v = readVolume(path, {});
    ASSERT_EQ(v.deviceIlm.size(), 12u);
    ASSERT_EQ(v.deviceRnfl.size(), 12u);
    for (std::uint32_t b = 0; b < 3; ++b)
        for (std::uint32_t a = 0; a < 4; ++a) {
            const float ilm = deviceLine(0, 2 - b, a), rnfl = deviceLine(2, 2 - b, a);  // stored inferior first
            const std::size_t at = b * 4 + a;
            if (ilm > 1e30f)
                EXPECT_TRUE(std::isnan(v.deviceIlm[at])) << at;
            else
                EXPECT_FLOAT_EQ(v.deviceIlm[at], ilm) << at;
            EXPECT_FLOAT_EQ(v.deviceRnfl[at], rnfl) << at;
        }
    velin::io::ReadOptions flipped;
    flipped.flip = "DA";
    const Volume f = readVolume(path, flipped);
    EXPECT_FLOAT_EQ(f.deviceRnfl[0], 5.0f - v.deviceRnfl[3]);  // depth 5: a boundary at z lies at 5 - z

    // 20 lines of 16 bytes after offset 256 exceed the 320-byte header: no lines, pixels as before.
    const Volume noLines = readVolume(dir.write("many.vol", buildVol(3, {2.0, 1.5, 1.0}, 20)), {});
    EXPECT_TRUE(noLines.deviceIlm.empty() && noLines.deviceRnfl.empty());
    EXPECT_EQ(noLines.samples, v.samples);
}

TEST(IoVolReader, TrailingGridDataIsAcceptedButMissingBytesAndBadMarkersAreNot) {
    io_test::ScratchDir dir;
    const std::vector<std::uint8_t> good = buildVol(3, {0.0, 1.0, 2.0});
    std::vector<std::uint8_t> bytes = good;
    bytes.resize(bytes.size() + 132, 1);
    EXPECT_EQ(readVolume(dir.write("grid.vol", bytes), {}).numBScans, 3);

    struct Case {
        std::vector<std::string> expected;
        void (*damage)(std::vector<std::uint8_t>&);
    } const cases[] = {
        {{"truncated", std::to_string(good.size()), std::to_string(good.size() - 1)}, [](auto& b) { b.pop_back(); }},
        {{"2048-byte header"}, [](auto& b) { b.resize(100); }},
        {{"XSF-OCT-"}, [](auto& b) { b[0] = 'X'; }},
        {{"B-scan 1"}, [](auto& b) { b[kFirstBlock + kBlock] = 'Q'; }},
        // Absurd sizes in the header are refused before anything large is allocated.
        {{"too large"}, [](auto& b) { put(b, 16, ~0u); }},
        {{"truncated"}, [](auto& b) { put(b, 48, ~0u), put(b, 52, ~0u); }},
    };
    for (const Case& c : cases) {
        bytes = good;
        c.damage(bytes);
        const std::string message = io_test::readError(dir.write("bad.vol", bytes));
        for (const std::string& part : c.expected) EXPECT_TRUE(io_test::contains(message, part));
    }
}

TEST(IoVolReader, ReadsTheRealOpticNerveHeadSample) {
    const std::string path = std::string(VELIN_SHARED_DATA_DIR) + "/vol/onh.vol";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "sample file absent: " << path;
    const std::vector<std::uint8_t> before = io_test::readBytes(path);
    const Volume v = readVolume(path, {});
    EXPECT_EQ(std::vector<int>({v.numBScans, v.numAScans, v.depth}), std::vector<int>({1, 768, 496}));
    EXPECT_EQ(v.eye, "OD");
    EXPECT_NEAR(v.spacingDepthUm, 3.87167, 1e-4);
    EXPECT_NEAR(v.spacingAScanUm, 15.6126, 1e-3);
    EXPECT_DOUBLE_EQ(v.spacingBScanUm, 0.0);  // a single B-scan has no spacing between B-scans
    // The device's lines: the top of the retina above the nerve-fibre layer's lower boundary, inside the scan.
    ASSERT_EQ(v.deviceIlm.size(), 768u);
    for (std::size_t a = 0; a < 768; ++a) {
        EXPECT_TRUE(v.deviceIlm[a] > 100.0f && v.deviceIlm[a] < v.deviceRnfl[a] && v.deviceRnfl[a] < 400.0f) << a;
    }
    // The vitreous at the top is dark and the deepest bright band lies well below it.
    double top = 0.0, middle = 0.0;
    for (std::size_t at = 0; at < v.samples.size(); at += 496) {
        top += std::accumulate(&v.samples[at], &v.samples[at + 20], 0.0) / 20;
        middle += std::accumulate(&v.samples[at + 200], &v.samples[at + 300], 0.0) / 100;
    }
    EXPECT_LT(top, middle);
    EXPECT_EQ(io_test::readBytes(path), before);
}

// A spacing no scan can have, as a damaged header gives it, is left unknown with a note naming the axis and
// the value; the other spacings stay. Such values once reached the thickness picture and the grids, where
// an infinite lateral spacing crashed the program and a huge B-scan distance asked for tens of gigabytes.
TEST(IoVolReader, ImplausibleSpacingsAreLeftUnknownWithANote) {
    io_test::ScratchDir dir;
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        std::size_t offset;  ///< ScaleX (A-scans), Distance (B-scans) or ScaleZ (depth), in mm
        double mm;
        std::string note;    ///< empty: the value is kept
    } const cases[] = {
        {24, inf, "spacing between A-scans in the file: inf um is outside 0.1 to 1000 um; taken as unknown"},
        {24, nan, "spacing between A-scans in the file: nan um"},
        {24, -0.0118, "spacing between A-scans in the file: -11.8 um"},
        {24, 0.00005, "spacing between A-scans in the file: 0.05 um"},
        {32, 1e6, "spacing between B-scans in the file: 1e+09 um is outside 0.1 to 10000 um"},
        {32, 10.0, ""},   // 10 mm between B-scans: sparse, but possible
        {32, 0.0, ""},    // 0: unknown, as single-line and circle scans give it
        {40, 2.0, "depth spacing in the file: 2000 um is outside 0.1 to 1000 um"},
    };
    for (const Case& c : cases) {
        std::vector<std::uint8_t> bytes = buildVol(3, {0.0, 1.0, 2.0});
        put(bytes, c.offset, c.mm);
        const Volume v = readVolume(dir.write("scan.vol", bytes), {});
        const double* spacing = c.offset == 24 ? &v.spacingAScanUm : c.offset == 32 ? &v.spacingBScanUm : &v.spacingDepthUm;
        if (c.note.empty()) {
            EXPECT_TRUE(v.notes.empty()) << c.mm;
            EXPECT_DOUBLE_EQ(*spacing, c.mm * 1000.0);
            continue;
        }
        ASSERT_EQ(v.notes.size(), 1u) << c.mm;
        EXPECT_TRUE(io_test::contains(v.notes[0], c.note));
        EXPECT_EQ(*spacing, 0.0);
        // The two other spacings are those of the header.
        EXPECT_EQ((v.spacingAScanUm > 0) + (v.spacingBScanUm > 0) + (v.spacingDepthUm > 0), 2);
    }
}
