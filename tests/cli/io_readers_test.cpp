// Round trips and failure messages of the volume readers for .raw, .img, .npy and TIFF stacks.

#include "io/NpyFile.h"
#include "io/VolumeFile.h"
#include "io_test_support.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstring>

using velin::io::ReadOptions;
using velin::io::ScaleRule;
using velin::io::Volume;
using velin::io::VolumeFileError;
using velin::io::readVolume;

namespace {

// The message of the VolumeFileError thrown by readVolume, or "" when none was thrown.
std::string readError(const std::string& path, const ReadOptions& options = {}) {
    try {
        readVolume(path, options);
    } catch (const VolumeFileError& e) {
        return e.what();
    }
    return "";
}

ReadOptions shape(int b, int a, int d) {
    ReadOptions options;
    options.numBScans = b;
    options.numAScans = a;
    options.depth = d;
    return options;
}

std::uint8_t sampleAt(const Volume& v, int b, int a, int d) {
    return v.samples[(static_cast<std::size_t>(b) * v.numAScans + a) * v.depth + d];
}

// A .npy file with the given header text (padded as numpy pads it) and data, for headers numpy itself writes
// but writeNpy does not (other versions, Fortran order, float data).
std::vector<std::uint8_t> npyBytes(int major, const std::string& dict, const std::vector<std::uint8_t>& data) {
    const std::size_t preamble = major == 1 ? 10 : 12;
    std::string header = dict;
    while ((preamble + header.size() + 1) % 64 != 0) header.push_back(' ');
    header.push_back('\n');
    std::vector<std::uint8_t> bytes = {0x93, 'N', 'U', 'M', 'P', 'Y', static_cast<std::uint8_t>(major), 0};
    const std::size_t len = header.size();
    bytes.push_back(static_cast<std::uint8_t>(len & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(len >> 8));
    if (major != 1) {
        bytes.push_back(0);
        bytes.push_back(0);
    }
    bytes.insert(bytes.end(), header.begin(), header.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

template <typename T>
std::vector<std::uint8_t> rawBytesOf(const std::vector<T>& values) {
    std::vector<std::uint8_t> bytes(values.size() * sizeof(T));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

}  // namespace

TEST(IoRawReader, RoundTripsTheLibraryLayoutAndOtherAxisOrders) {
    io_test::ScratchDir dir;
    const int nb = 3, na = 5, nd = 7;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(nb, na, nd);
    io_test::writeBytes(dir.file("cube.raw"), samples);
    const Volume same = readVolume(dir.file("cube.raw"), shape(nb, na, nd));
    EXPECT_EQ(same.numBScans, nb);
    EXPECT_EQ(same.numAScans, na);
    EXPECT_EQ(same.depth, nd);
    EXPECT_EQ(same.samples, samples);

    // The same volume stored depth-major within each B-scan (rows of A-scan samples) and upside down.
    std::vector<std::uint8_t> bda(samples.size());
    for (int b = 0; b < nb; ++b)
        for (int d = 0; d < nd; ++d)
            for (int a = 0; a < na; ++a) bda[(b * nd + d) * na + a] = samples[(b * na + a) * nd + (nd - 1 - d)];
    io_test::writeBytes(dir.file("rows.raw"), bda);
    ReadOptions options = shape(nb, na, nd);
    options.layout = "BDA";
    options.flip = "D";
    EXPECT_EQ(readVolume(dir.file("rows.raw"), options).samples, samples);

    // Flipping B-scans and A-scans as well: each axis reverses independently.
    options = shape(nb, na, nd);
    options.flip = "ba";
    const Volume flipped = readVolume(dir.file("cube.raw"), options);
    EXPECT_EQ(sampleAt(flipped, 0, 0, 3), sampleAt(same, nb - 1, na - 1, 3));
    EXPECT_EQ(sampleAt(flipped, 1, 2, 6), sampleAt(same, 1, 2, 6));
}

TEST(IoRawReader, RejectsMissingShapeSizeMismatchAndBadOptionsWithoutTouchingTheFile) {
    io_test::ScratchDir dir;
    const std::string path = dir.file("cube.raw");
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(2, 4, 8);
    io_test::writeBytes(path, samples);

    EXPECT_NE(readError(path).find("--shape"), std::string::npos);
    const std::string tooShort = readError(path, shape(2, 4, 9));
    EXPECT_NE(tooShort.find(path), std::string::npos) << tooShort;
    EXPECT_NE(tooShort.find("72"), std::string::npos) << tooShort;  // expected bytes
    EXPECT_NE(tooShort.find("64"), std::string::npos) << tooShort;  // found bytes
    EXPECT_NE(readError(path, shape(1, 4, 8)).find("too long"), std::string::npos);

    ReadOptions badLayout = shape(2, 4, 8);
    badLayout.layout = "BAA";
    EXPECT_NE(readError(path, badLayout).find("layout"), std::string::npos);
    ReadOptions badFlip = shape(2, 4, 8);
    badFlip.flip = "X";
    EXPECT_NE(readError(path, badFlip).find("flip"), std::string::npos);
    // 2^31 samples do not fit the segmentation call's int sizes.
    EXPECT_NE(readError(path, shape(2048, 1024, 1024)).find("too large"), std::string::npos);

    EXPECT_EQ(io_test::readBytes(path), samples);
}

TEST(IoReaders, MissingFilesUnknownExtensionsAndFoldersAreErrors) {
    io_test::ScratchDir dir;
    EXPECT_NE(readError(dir.file("absent.npy")).find("no such file"), std::string::npos);
    io_test::writeBytes(dir.file("volume.dat"), {1, 2, 3});
    EXPECT_NE(readError(dir.file("volume.dat")).find("'.dat'"), std::string::npos);
    std::filesystem::create_directory(dir.file("folder.npy"));
    EXPECT_NE(readError(dir.file("folder.npy")).find("directory"), std::string::npos);
}

TEST(IoImgReader, TransposesAndFlipsDeviceCubesAndReadsTheName) {
    io_test::ScratchDir dir;
    const int na = 6, nb = 4, nd = 10;
    const std::vector<std::uint8_t> expected = io_test::patternedSamples(nb, na, nd);
    // The device stores each B-scan as depth lines of A samples, deepest line first, mirrored.
    std::vector<std::uint8_t> file(expected.size());
    for (int y = 0; y < nb; ++y)
        for (int z = 0; z < nd; ++z)
            for (int x = 0; x < na; ++x)
                file[(static_cast<std::size_t>(y) * nd + z) * na + x] = expected[(y * na + (na - 1 - x)) * nd + (nd - 1 - z)];
    const std::string path = dir.file("P0001_Macular Cube 6x4_9-21-2010_11-42-13_OS_sn0415_cube_z.img");
    io_test::writeBytes(path, file);

    const Volume v = readVolume(path, {});
    EXPECT_EQ(v.numBScans, nb);
    EXPECT_EQ(v.numAScans, na);
    EXPECT_EQ(v.depth, nd);
    EXPECT_EQ(v.samples, expected);
    EXPECT_EQ(v.eye, "OS");
    EXPECT_EQ(v.scanKind, "macula");
    EXPECT_DOUBLE_EQ(v.spacingAScanUm, 1000.0);  // 6 mm over 6 A-scans
    EXPECT_DOUBLE_EQ(v.spacingBScanUm, 1500.0);
    EXPECT_DOUBLE_EQ(v.spacingDepthUm, 200.0);  // 2 mm over 10 samples

    const std::string disc = dir.file("X_Optic Disc Cube 6x4_1-1-2001_1-1-1_OD_sn1_cube_raw.img");
    io_test::writeBytes(disc, file);
    const Volume d = readVolume(disc, {});
    EXPECT_EQ(d.scanKind, "disc");
    EXPECT_EQ(d.eye, "OD");

    // A name without the cube size needs the shape from the user.
    const std::string unnamed = dir.file("export.img");
    io_test::writeBytes(unnamed, file);
    EXPECT_NE(readError(unnamed).find("AxB"), std::string::npos);
    EXPECT_EQ(readVolume(unnamed, shape(nb, na, 0)).samples, expected);
    EXPECT_TRUE(readVolume(unnamed, shape(nb, na, 0)).scanKind.empty());
}

TEST(IoImgReader, SizeThatDoesNotDivideTheFileNamesBothNumbers) {
    io_test::ScratchDir dir;
    const std::string path = dir.file("P_Macular Cube 512x128_1-1-2001_1-1-1_OD_sn1_cube_z.img");
    io_test::writeBytes(path, std::vector<std::uint8_t>(512 * 128 * 2 + 5, 7));
    const std::string message = readError(path);
    EXPECT_NE(message.find("131077"), std::string::npos) << message;  // the file size
    EXPECT_NE(message.find("65536"), std::string::npos) << message;   // 512 x 128
    EXPECT_NE(readError(path, shape(128, 512, 1024)).find("not a multiple"), std::string::npos);
}

TEST(IoNpyReader, ReadsUint8VolumesOfEveryHeaderVersionAndFortranOrder) {
    io_test::ScratchDir dir;
    const int nb = 2, na = 3, nd = 4;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(nb, na, nd);
    velin::io::writeNpy(dir.file("v1.npy"), samples.data(), nb, na, nd);
    EXPECT_EQ(readVolume(dir.file("v1.npy"), {}).samples, samples);

    const std::string dict = "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 3, 4), }";
    io_test::writeBytes(dir.file("v2.npy"), npyBytes(2, dict, samples));
    io_test::writeBytes(dir.file("v3.npy"), npyBytes(3, dict, samples));
    EXPECT_EQ(readVolume(dir.file("v2.npy"), {}).samples, samples);
    EXPECT_EQ(readVolume(dir.file("v3.npy"), {}).samples, samples);

    std::vector<std::uint8_t> fortran(samples.size());
    for (int b = 0; b < nb; ++b)
        for (int a = 0; a < na; ++a)
            for (int d = 0; d < nd; ++d) fortran[b + nb * (a + na * d)] = samples[(b * na + a) * nd + d];
    io_test::writeBytes(dir.file("f.npy"),
                        npyBytes(1, "{'descr': '|u1', 'fortran_order': True, 'shape': (2, 3, 4), }", fortran));
    EXPECT_EQ(readVolume(dir.file("f.npy"), {}).samples, samples);

    // A shape given alongside a self-describing file is a check.
    EXPECT_NE(readError(dir.file("v1.npy"), shape(2, 3, 5)).find("2x3x4"), std::string::npos);
}

TEST(IoNpyReader, FloatArraysNeedAScaleRuleAndFollowIt) {
    io_test::ScratchDir dir;
    const std::vector<float> values = {0.0f, 0.0625f, 1.0f, 4.0f, -1.0f, 3.4028235e38f};
    const std::string path = dir.file("float.npy");
    io_test::writeBytes(path, npyBytes(1, "{'descr': '<f4', 'fortran_order': False, 'shape': (1, 2, 3), }",
                                       rawBytesOf(values)));
    const std::string message = readError(path);
    EXPECT_NE(message.find("float32"), std::string::npos) << message;
    EXPECT_NE(message.find("scale"), std::string::npos) << message;

    ReadOptions options;
    options.scale = ScaleRule::FourthRoot;
    EXPECT_EQ(readVolume(path, options).samples, (std::vector<std::uint8_t>{0, 128, 255, 255, 0, 0}));
    options.scale = ScaleRule::Clip255;
    EXPECT_EQ(readVolume(path, options).samples, (std::vector<std::uint8_t>{0, 0, 1, 4, 0, 255}));

    const std::vector<double> wide = {-2.0, 0.0, 2.0, 1.0};
    io_test::writeBytes(dir.file("double.npy"),
                        npyBytes(1, "{'descr': '<f8', 'fortran_order': False, 'shape': (1, 1, 4), }", rawBytesOf(wide)));
    options.scale = ScaleRule::MinMax;
    EXPECT_EQ(readVolume(dir.file("double.npy"), options).samples, (std::vector<std::uint8_t>{0, 128, 255, 191}));
}

TEST(IoNpyReader, TruncatedOversizedAndMalformedFilesGiveClearErrors) {
    io_test::ScratchDir dir;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(2, 3, 4);
    velin::io::writeNpy(dir.file("good.npy"), samples.data(), 2, 3, 4);
    std::vector<std::uint8_t> bytes = io_test::readBytes(dir.file("good.npy"));

    std::vector<std::uint8_t> cut(bytes.begin(), bytes.end() - 5);
    io_test::writeBytes(dir.file("cut.npy"), cut);
    const std::string truncated = readError(dir.file("cut.npy"));
    EXPECT_NE(truncated.find("truncated"), std::string::npos) << truncated;
    EXPECT_NE(truncated.find("expected 24"), std::string::npos) << truncated;
    EXPECT_NE(truncated.find("found 19"), std::string::npos) << truncated;

    std::vector<std::uint8_t> longer = bytes;
    longer.push_back(0);
    io_test::writeBytes(dir.file("long.npy"), longer);
    EXPECT_NE(readError(dir.file("long.npy")).find("oversized"), std::string::npos);

    io_test::writeBytes(dir.file("headless.npy"), std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 30));
    EXPECT_NE(readError(dir.file("headless.npy")).find("truncated .npy header"), std::string::npos);
    io_test::writeBytes(dir.file("text.npy"), {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'});
    EXPECT_NE(readError(dir.file("text.npy")).find("magic"), std::string::npos);
    io_test::writeBytes(dir.file("noshape.npy"), npyBytes(1, "{'descr': '|u1', 'fortran_order': False}", samples));
    EXPECT_NE(readError(dir.file("noshape.npy")).find("'shape'"), std::string::npos);
    io_test::writeBytes(dir.file("garbled.npy"), npyBytes(1, "{'descr': '|u1', 'fortran_order': Maybe}", samples));
    EXPECT_NE(readError(dir.file("garbled.npy")).find("malformed"), std::string::npos);
    io_test::writeBytes(dir.file("int32.npy"),
                        npyBytes(1, "{'descr': '<i4', 'fortran_order': False, 'shape': (1, 1, 6), }", samples));
    EXPECT_NE(readError(dir.file("int32.npy")).find("'<i4'"), std::string::npos);
    io_test::writeBytes(dir.file("flat.npy"),
                        npyBytes(1, "{'descr': '|u1', 'fortran_order': False, 'shape': (6, 4), }", samples));
    EXPECT_NE(readError(dir.file("flat.npy")).find("3-D"), std::string::npos);
    // A shape whose element count overflows must not wrap around into a plausible size.
    io_test::writeBytes(dir.file("huge.npy"),
                        npyBytes(1, "{'descr': '|u1', 'fortran_order': False, 'shape': (4294967296, 4294967296, 1), }",
                                 samples));
    EXPECT_NE(readError(dir.file("huge.npy")).find(dir.file("huge.npy")), std::string::npos);

    EXPECT_EQ(io_test::readBytes(dir.file("cut.npy")), cut);
}

namespace {

// Writes a multi-page 8-bit TIFF with libtiff: page b holds B-scan b with rows = depth, columns = A-scans.
void writeTiffStack(const std::string& path, const std::vector<std::uint8_t>& samples, int nb, int na, int nd,
                    int lastPageDepth = -1) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tiff, nullptr);
    std::vector<std::uint8_t> row(static_cast<std::size_t>(na));
    for (int b = 0; b < nb; ++b) {
        const int rows = (b == nb - 1 && lastPageDepth > 0) ? lastPageDepth : nd;
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, na);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, rows);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 3);
        for (int d = 0; d < rows; ++d) {
            for (int a = 0; a < na; ++a) row[a] = samples[(static_cast<std::size_t>(b) * na + a) * nd + d % nd];
            TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(d), 0);
        }
        TIFFWriteDirectory(tiff);
    }
    TIFFClose(tiff);
}

}  // namespace

TEST(IoTiffReader, ReadsMultiPageStacksAsBScans) {
    io_test::ScratchDir dir;
    const int nb = 3, na = 5, nd = 11;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(nb, na, nd);
    writeTiffStack(dir.file("stack.tif"), samples, nb, na, nd);
    const Volume v = readVolume(dir.file("stack.tif"), {});
    EXPECT_EQ(v.numBScans, nb);
    EXPECT_EQ(v.numAScans, na);
    EXPECT_EQ(v.depth, nd);
    EXPECT_EQ(v.samples, samples);
}

TEST(IoTiffReader, RejectsUnequalPagesTruncatedDataAndNonTiffFiles) {
    io_test::ScratchDir dir;
    const int nb = 2, na = 5, nd = 40;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(nb, na, nd);
    writeTiffStack(dir.file("ragged.tiff"), samples, nb, na, nd, nd - 1);
    const std::string ragged = readError(dir.file("ragged.tiff"));
    EXPECT_NE(ragged.find("page 1"), std::string::npos) << ragged;
    EXPECT_NE(ragged.find("5x39"), std::string::npos) << ragged;

    writeTiffStack(dir.file("whole.tif"), samples, nb, na, nd);
    std::vector<std::uint8_t> bytes = io_test::readBytes(dir.file("whole.tif"));
    bytes.resize(bytes.size() / 2);
    io_test::writeBytes(dir.file("half.tif"), bytes);
    EXPECT_FALSE(readError(dir.file("half.tif")).empty());

    io_test::writeBytes(dir.file("fake.tif"), std::vector<std::uint8_t>(100, 'x'));
    EXPECT_NE(readError(dir.file("fake.tif")).find("not a readable TIFF"), std::string::npos);
}
