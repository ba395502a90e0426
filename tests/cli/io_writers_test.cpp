// The .npy and PNG writers, atomic output and the colour map.

#include <Velin/Io/AtomicFile.h>
#include <Velin/Io/ColourMap.h>
#include <Velin/Io/NpyFile.h>
#include <Velin/Io/PngFile.h>
#include "io_test_support.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace velin::io;

namespace {

std::size_t entriesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

}  // namespace

TEST(IoNpyWriter, WritesWhatNumpyWritesLittleEndian) {
    io_test::ScratchDir dir;
    const std::vector<std::int16_t> depths = {-1, 0, 1, 300, -300, 32767};
    writeNpy(dir.file("ilm.npy"), depths.data(), 2, 3);
    // Version 1, the header padded with spaces so that the data starts at a multiple of 64.
    EXPECT_EQ(io_test::readBytes(dir.file("ilm.npy")),
              io_test::npyBytes("{'descr': '<i2', 'fortran_order': False, 'shape': (2, 3), }",
                                {0xFF, 0xFF, 0, 0, 1, 0, 0x2C, 0x01, 0xD4, 0xFE, 0xFF, 0x7F}));
    EXPECT_EQ(readNpy(dir.file("ilm.npy")).toInt16(), depths);

    const std::vector<float> thickness = {0.5f, -2.25f, 1e6f, 0.0f};
    writeNpy(dir.file("thickness.npy"), thickness.data(), 1, 4);
    EXPECT_EQ(readNpy(dir.file("thickness.npy")).toFloat32(), thickness);

    Volume volume;
    volume.numBScans = volume.numAScans = 2;
    volume.depth = 3;
    volume.samples = io_test::patternedSamples(2, 2, 3);
    writeNpy(dir.file("volume.npy"), volume);
    EXPECT_EQ(io_test::readBytes(dir.file("volume.npy")),
              io_test::npyBytes("{'descr': '|u1', 'fortran_order': False, 'shape': (2, 2, 3), }", volume.samples));
    volume.samples.pop_back();
    EXPECT_THROW(writeNpy(dir.file("bad.npy"), volume), FileWriteError);
    EXPECT_FALSE(std::filesystem::exists(dir.file("bad.npy")));
}

TEST(IoAtomicFile, ReplacesOnlyWhenCompleteAndLeavesNoTemporaryFiles) {
    io_test::ScratchDir dir;
    const std::string path = dir.file("report.json"), missingFolder = dir.file("no/such/folder/out.npy");
    const std::string first = "first", second = "second content";
    writeFileAtomically(path, {{first.data(), first.size()}});
    writeFileAtomically(path, {{second.data(), 6}, {second.data() + 6, second.size() - 6}});
    EXPECT_EQ(io_test::readBytes(path), std::vector<std::uint8_t>(second.begin(), second.end()));
    EXPECT_EQ(entriesIn(dir.path()), 1u);

    const std::string message = io_test::messageOf<FileWriteError>([&] {
        writeFileAtomically(missingFolder, {{first.data(), first.size()}});
    });
    EXPECT_TRUE(io_test::contains(message, missingFolder));
    EXPECT_TRUE(io_test::contains(message, "does not exist"));
    std::filesystem::create_directory(dir.file("taken"));
    EXPECT_THROW(writeFileAtomically(dir.file("taken"), {{first.data(), first.size()}}), FileWriteError);
    EXPECT_EQ(entriesIn(dir.path()), 2u);
}

TEST(IoPngWriter, GreyAndRgbPicturesRoundTripAndBadOnesLeaveNoFile) {
    io_test::ScratchDir dir;
    Picture grey(5, 3, 1), rgb(2, 4, 3), inconsistent(4, 4, 3);
    for (std::size_t i = 0; i < grey.pixels.size(); ++i) grey.pixels[i] = static_cast<std::uint8_t>(i * 17);
    for (std::size_t i = 0; i < rgb.pixels.size(); ++i) rgb.pixels[i] = static_cast<std::uint8_t>(250 - i * 9);
    for (const Picture* picture : {&grey, &rgb}) {
        writePng(dir.file("picture.png"), *picture);
        const Picture back = readPng(dir.file("picture.png"));
        EXPECT_EQ(std::vector<int>({back.width, back.height, back.channels}),
                  std::vector<int>({picture->width, picture->height, picture->channels}));
        EXPECT_EQ(back.pixels, picture->pixels);
    }
    inconsistent.pixels.resize(10);
    EXPECT_THROW(writePng(dir.file("bad.png"), inconsistent), FileWriteError);
    EXPECT_THROW(writePng(dir.file("empty.png"), Picture()), FileWriteError);
    EXPECT_THROW(writePng(dir.file("missing/x.png"), grey), FileWriteError);
    EXPECT_EQ(entriesIn(dir.path()), 1u);
}

TEST(IoColourMap, ViridisRunsFromDarkBlueToYellowWithRisingLightness) {
    const Rgb blue{{68, 1, 84}}, yellow{{253, 231, 37}};
    EXPECT_EQ(std::vector<Rgb>({viridis(0.0), viridis(-3.0), viridis(1.0), viridis(7.0), viridis(std::nan(""))}),
              std::vector<Rgb>({blue, blue, yellow, yellow, Rgb{{0, 0, 0}}}));
    for (int i = 1; i <= 100; ++i) {
        const auto lightness = [](const Rgb& c) { return 0.2126 * c[0] + 0.7152 * c[1] + 0.0722 * c[2]; };
        EXPECT_GT(lightness(viridis(i / 100.0)), lightness(viridis((i - 1) / 100.0))) << "t=" << i / 100.0;
    }
}
