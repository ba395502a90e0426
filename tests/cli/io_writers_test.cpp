// The .npy and PNG writers, atomic output and the colour map.

#include "io/AtomicFile.h"
#include "io/ColourMap.h"
#include "io/NpyFile.h"
#include "io/PngFile.h"
#include "io_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace velin::io;

namespace {

std::string headerText(const std::vector<std::uint8_t>& bytes) {
    const std::size_t length = bytes[8] | (bytes[9] << 8);
    return std::string(bytes.begin() + 10, bytes.begin() + 10 + static_cast<std::ptrdiff_t>(length));
}

std::size_t entriesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

}  // namespace

TEST(IoNpyWriter, WritesHeadersNumpyAcceptsAndDataLittleEndian) {
    io_test::ScratchDir dir;
    const std::vector<std::int16_t> depths = {-1, 0, 1, 300, -300, 32767};
    writeNpy(dir.file("ilm.npy"), depths.data(), 2, 3);
    const std::vector<std::uint8_t> bytes = io_test::readBytes(dir.file("ilm.npy"));
    ASSERT_GT(bytes.size(), 10u);
    EXPECT_EQ(std::string(bytes.begin() + 1, bytes.begin() + 6), "NUMPY");
    EXPECT_EQ(bytes[6], 1);
    const std::string header = headerText(bytes);
    EXPECT_EQ(header.rfind("{'descr': '<i2', 'fortran_order': False, 'shape': (2, 3), }", 0), 0u) << header;
    EXPECT_EQ(header.back(), '\n');
    EXPECT_EQ((10 + header.size()) % 64, 0u);  // data aligned as numpy aligns it
    EXPECT_EQ(bytes.size(), 10 + header.size() + 12);
    EXPECT_EQ(bytes[10 + header.size()], 0xFF);  // -1, least significant byte first
    EXPECT_EQ(bytes[10 + header.size() + 6], 0x2C);  // 300 = 0x012C

    const NpyArray back = readNpy(dir.file("ilm.npy"));
    EXPECT_EQ(back.type, NpyType::Int16);
    EXPECT_EQ(back.shape, (std::vector<std::size_t>{2, 3}));
    EXPECT_EQ(back.toInt16(), depths);

    const std::vector<float> thickness = {0.5f, -2.25f, 1e6f, 0.0f};
    writeNpy(dir.file("thickness.npy"), thickness.data(), 1, 4);
    const NpyArray floats = readNpy(dir.file("thickness.npy"));
    EXPECT_EQ(floats.type, NpyType::Float32);
    EXPECT_EQ(floats.toFloat32(), thickness);

    Volume volume;
    volume.numBScans = 2;
    volume.numAScans = 2;
    volume.depth = 3;
    volume.samples = io_test::patternedSamples(2, 2, 3);
    writeNpy(dir.file("volume.npy"), volume);
    EXPECT_EQ(headerText(io_test::readBytes(dir.file("volume.npy"))).rfind("{'descr': '|u1', 'fortran_order': False, 'shape': (2, 2, 3), }", 0), 0u);
    EXPECT_EQ(readNpy(dir.file("volume.npy")).data, volume.samples);

    volume.samples.pop_back();
    EXPECT_THROW(writeNpy(dir.file("bad.npy"), volume), FileWriteError);
    EXPECT_FALSE(std::filesystem::exists(dir.file("bad.npy")));
}

TEST(IoAtomicFile, ReplacesOnlyWhenCompleteAndLeavesNoTemporaryFiles) {
    io_test::ScratchDir dir;
    const std::string path = dir.file("report.json");
    const std::string first = "first", second = "second content";
    writeFileAtomically(path, {{first.data(), first.size()}});
    writeFileAtomically(path, {{second.data(), 6}, {second.data() + 6, second.size() - 6}});
    const std::vector<std::uint8_t> bytes = io_test::readBytes(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), second);
    EXPECT_EQ(entriesIn(dir.path()), 1u);

    const std::string missingFolder = dir.file("no/such/folder/out.npy");
    try {
        writeFileAtomically(missingFolder, {{first.data(), first.size()}});
        FAIL() << "writing into a missing folder succeeded";
    } catch (const FileWriteError& e) {
        EXPECT_NE(std::string(e.what()).find(missingFolder), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find("does not exist"), std::string::npos) << e.what();
    }
    std::filesystem::create_directory(dir.file("taken"));
    EXPECT_THROW(writeFileAtomically(dir.file("taken"), {{first.data(), first.size()}}), FileWriteError);
    EXPECT_EQ(entriesIn(dir.path()), 2u);
}

TEST(IoPngWriter, GreyAndRgbPicturesRoundTrip) {
    io_test::ScratchDir dir;
    Picture grey(5, 3, 1);
    for (std::size_t i = 0; i < grey.pixels.size(); ++i) grey.pixels[i] = static_cast<std::uint8_t>(i * 17);
    writePng(dir.file("grey.png"), grey);
    const Picture greyBack = readPng(dir.file("grey.png"));
    EXPECT_EQ(greyBack.width, 5);
    EXPECT_EQ(greyBack.height, 3);
    EXPECT_EQ(greyBack.channels, 1);
    EXPECT_EQ(greyBack.pixels, grey.pixels);

    Picture rgb(2, 4, 3);
    for (std::size_t i = 0; i < rgb.pixels.size(); ++i) rgb.pixels[i] = static_cast<std::uint8_t>(250 - i * 9);
    rgb.at(1, 3)[0] = 7;
    writePng(dir.file("rgb.png"), rgb);
    const Picture rgbBack = readPng(dir.file("rgb.png"));
    EXPECT_EQ(rgbBack.channels, 3);
    EXPECT_EQ(rgbBack.pixels, rgb.pixels);
    EXPECT_EQ(rgbBack.at(1, 3)[0], 7);

    Picture inconsistent(4, 4, 3);
    inconsistent.pixels.resize(10);
    EXPECT_THROW(writePng(dir.file("bad.png"), inconsistent), FileWriteError);
    EXPECT_THROW(writePng(dir.file("empty.png"), Picture()), FileWriteError);
    EXPECT_THROW(writePng(dir.file("missing/x.png"), grey), FileWriteError);
    EXPECT_EQ(entriesIn(dir.path()), 2u);
}

TEST(IoColourMap, ViridisRunsFromDarkBlueToYellowWithRisingLightness) {
    EXPECT_EQ(viridis(0.0), (Rgb{{68, 1, 84}}));
    EXPECT_EQ(viridis(1.0), (Rgb{{253, 231, 37}}));
    EXPECT_EQ(viridis(-3.0), viridis(0.0));
    EXPECT_EQ(viridis(7.0), viridis(1.0));
    EXPECT_EQ(viridis(std::nan("")), (Rgb{{0, 0, 0}}));
    double previous = -1.0;
    for (int i = 0; i <= 100; ++i) {
        const Rgb c = viridis(i / 100.0);
        const double lightness = 0.2126 * c[0] + 0.7152 * c[1] + 0.0722 * c[2];
        EXPECT_GT(lightness, previous) << "t=" << i / 100.0;
        previous = lightness;
    }
}
