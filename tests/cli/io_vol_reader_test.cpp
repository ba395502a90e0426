// The .vol export reader on files built byte by byte here, and on the real sample when it is present.

#include "io/VolumeFile.h"
#include "io_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using velin::io::Volume;
using velin::io::VolumeFileError;
using velin::io::readVolume;

namespace {

template <typename T>
void put(std::vector<std::uint8_t>& bytes, std::size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

struct VolSpec {
    std::uint32_t sizeX = 4, numBScans = 3, sizeZ = 5, sloX = 8, sloY = 6, headerSize = 300;
    std::int32_t pattern = 3;
    const char* eye = "OS";
};

// Pixel value of B-scan block i at (row z, column x): a reflectivity whose fourth root is known.
float reflectivity(std::uint32_t i, std::uint32_t z, std::uint32_t x) {
    const double root = (i * 20 + z * 3 + x) / 255.0;
    return static_cast<float>(root * root * root * root);
}

std::vector<std::uint8_t> buildVol(const VolSpec& s, const std::vector<double>& startY) {
    const std::size_t block = s.headerSize + s.sizeX * s.sizeZ * 4;
    std::vector<std::uint8_t> bytes(2048 + s.sloX * s.sloY + s.numBScans * block, 0);
    std::memcpy(bytes.data(), "HSF-OCT-103", 12);
    put(bytes, 12, s.sizeX);
    put(bytes, 16, s.numBScans);
    put(bytes, 20, s.sizeZ);
    put(bytes, 24, 0.0118206);   // ScaleX, mm
    put(bytes, 32, 0.125);       // Distance, mm
    put(bytes, 40, 0.00387167);  // ScaleZ, mm
    put(bytes, 48, s.sloX);
    put(bytes, 52, s.sloY);
    std::memcpy(bytes.data() + 84, s.eye, std::strlen(s.eye));
    put(bytes, 96, s.pattern);
    put(bytes, 100, s.headerSize);
    for (std::uint32_t i = 0; i < s.numBScans; ++i) {
        const std::size_t at = 2048 + s.sloX * s.sloY + i * block;
        std::memcpy(bytes.data() + at, "HSF-BS-103", 11);
        put(bytes, at + 12, s.headerSize);
        put(bytes, at + 24, startY[i]);
        for (std::uint32_t z = 0; z < s.sizeZ; ++z)
            for (std::uint32_t x = 0; x < s.sizeX; ++x)
                put(bytes, at + s.headerSize + (z * s.sizeX + x) * 4, reflectivity(i, z, x));
    }
    return bytes;
}

std::string readError(const std::string& path) {
    try {
        readVolume(path, {});
    } catch (const VolumeFileError& e) {
        return e.what();
    }
    return "";
}

}  // namespace

TEST(IoVolReader, DecodesHeaderPixelsAndOrdersVolumeScansSuperiorFirst) {
    io_test::ScratchDir dir;
    VolSpec spec;
    // Stored inferior first (larger fundus y), as these exports do.
    io_test::writeBytes(dir.file("scan.vol"), buildVol(spec, {2.0, 1.5, 1.0}));
    const Volume v = readVolume(dir.file("scan.vol"), {});
    ASSERT_EQ(v.numBScans, 3);
    ASSERT_EQ(v.numAScans, 4);
    ASSERT_EQ(v.depth, 5);
    EXPECT_EQ(v.eye, "OS");
    EXPECT_NEAR(v.spacingAScanUm, 11.8206, 1e-9);
    EXPECT_NEAR(v.spacingBScanUm, 125.0, 1e-9);
    EXPECT_NEAR(v.spacingDepthUm, 3.87167, 1e-9);
    for (int b = 0; b < 3; ++b) {
        const std::uint32_t block = static_cast<std::uint32_t>(2 - b);
        for (std::uint32_t a = 0; a < 4; ++a)
            for (std::uint32_t d = 0; d < 5; ++d)
                EXPECT_EQ(v.samples[(static_cast<std::size_t>(b) * 4 + a) * 5 + d], block * 20 + d * 3 + a)
                    << "b=" << b << " a=" << a << " d=" << d;
    }

    // Other scan patterns keep the file's order.
    spec.pattern = 5;
    io_test::writeBytes(dir.file("radial.vol"), buildVol(spec, {2.0, 1.5, 1.0}));
    EXPECT_EQ(readVolume(dir.file("radial.vol"), {}).samples[0], 0);
}

TEST(IoVolReader, TrailingGridDataIsAcceptedButMissingBytesAndBadMarkersAreNot) {
    io_test::ScratchDir dir;
    VolSpec spec;
    std::vector<std::uint8_t> bytes = buildVol(spec, {0.0, 1.0, 2.0});
    std::vector<std::uint8_t> withGrid = bytes;
    withGrid.resize(withGrid.size() + 132, 1);
    io_test::writeBytes(dir.file("grid.vol"), withGrid);
    EXPECT_EQ(readVolume(dir.file("grid.vol"), {}).numBScans, 3);

    std::vector<std::uint8_t> cut(bytes.begin(), bytes.end() - 1);
    io_test::writeBytes(dir.file("cut.vol"), cut);
    const std::string truncated = readError(dir.file("cut.vol"));
    EXPECT_NE(truncated.find("truncated"), std::string::npos) << truncated;
    EXPECT_NE(truncated.find(std::to_string(bytes.size())), std::string::npos) << truncated;
    EXPECT_NE(truncated.find(std::to_string(cut.size())), std::string::npos) << truncated;

    io_test::writeBytes(dir.file("short.vol"), std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 100));
    EXPECT_NE(readError(dir.file("short.vol")).find("2048-byte header"), std::string::npos);

    std::vector<std::uint8_t> wrongMagic = bytes;
    wrongMagic[0] = 'X';
    io_test::writeBytes(dir.file("magic.vol"), wrongMagic);
    EXPECT_NE(readError(dir.file("magic.vol")).find("XSF-OCT-"), std::string::npos);

    std::vector<std::uint8_t> wrongBlock = bytes;
    wrongBlock[2048 + spec.sloX * spec.sloY + spec.headerSize + spec.sizeX * spec.sizeZ * 4] = 'Q';
    io_test::writeBytes(dir.file("block.vol"), wrongBlock);
    EXPECT_NE(readError(dir.file("block.vol")).find("B-scan 1"), std::string::npos);

    // Absurd sizes in the header are refused before anything large is allocated.
    std::vector<std::uint8_t> absurd = bytes;
    put(absurd, 16, std::uint32_t{0xFFFFFFFFu});
    io_test::writeBytes(dir.file("absurd.vol"), absurd);
    EXPECT_NE(readError(dir.file("absurd.vol")).find("too large"), std::string::npos);
    put(absurd, 16, std::uint32_t{3});
    put(absurd, 48, std::uint32_t{0xFFFFFFFFu});
    put(absurd, 52, std::uint32_t{0xFFFFFFFFu});
    io_test::writeBytes(dir.file("slo.vol"), absurd);
    EXPECT_NE(readError(dir.file("slo.vol")).find("truncated"), std::string::npos);
}

TEST(IoVolReader, ReadsTheRealOpticNerveHeadSample) {
    const std::string path = std::string(VELIN_SHARED_DATA_DIR) + "/vol/onh.vol";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "sample file absent: " << path;
    const std::vector<std::uint8_t> before = io_test::readBytes(path);
    const Volume v = readVolume(path, {});
    EXPECT_EQ(v.numBScans, 1);
    EXPECT_EQ(v.numAScans, 768);
    EXPECT_EQ(v.depth, 496);
    EXPECT_EQ(v.eye, "OD");
    EXPECT_NEAR(v.spacingDepthUm, 3.87167, 1e-4);
    EXPECT_NEAR(v.spacingAScanUm, 15.6126, 1e-3);
    EXPECT_DOUBLE_EQ(v.spacingBScanUm, 0.0);  // a single B-scan has no spacing between B-scans

    // The vitreous at the top is dark and the deepest bright band lies well below it.
    double top = 0.0, middle = 0.0;
    for (int a = 0; a < 768; ++a) {
        for (int d = 0; d < 20; ++d) top += v.samples[static_cast<std::size_t>(a) * 496 + d];
        for (int d = 200; d < 300; ++d) middle += v.samples[static_cast<std::size_t>(a) * 496 + d];
    }
    EXPECT_LT(top / (768 * 20), middle / (768 * 100));
    EXPECT_EQ(io_test::readBytes(path), before);
}
