// Round trips and failure messages of the volume readers for .raw, .img, .npy and TIFF stacks.

#include <Velin/Io/NpyFile.h>
#include <Velin/Io/VolumeFile.h>
#include "io_test_support.h"
#include "support/VolumeFiles.h"

#include <gtest/gtest.h>

#include <cstring>

using velin::io::ReadOptions;
using velin::io::readVolume;
using velin::io::ScaleRule;
using velin::io::Volume;

namespace {

ReadOptions shape(int b, int a, int d, const std::string& layout = "BAD", const std::string& flip = "") {
    ReadOptions options;
    options.numBScans = b, options.numAScans = a, options.depth = d;
    options.layout = layout, options.flip = flip;
    return options;
}

std::string npyDict(const std::string& descr, const std::string& shape, bool fortran = false) {
    return "{'descr': '" + descr + "', 'fortran_order': " + (fortran ? "True" : "False") + ", 'shape': " + shape +
           ", }";
}

template <typename T>
std::vector<std::uint8_t> rawBytesOf(const std::vector<T>& values) {
    std::vector<std::uint8_t> bytes(values.size() * sizeof(T));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

// The volume's samples stored in another order: sample (b, a, d) goes to file byte position(b, a, d).
template <typename Position>
std::vector<std::uint8_t> reordered(const std::vector<std::uint8_t>& samples, int nb, int na, int nd,
                                    Position position) {
    std::vector<std::uint8_t> file(samples.size());
    for (int b = 0; b < nb; ++b)
        for (int a = 0; a < na; ++a)
            for (int d = 0; d < nd; ++d) file.at(position(b, a, d)) = samples[(b * na + a) * nd + d];
    return file;
}

// Shape and samples together, to compare a volume in one assertion.
std::pair<std::vector<int>, std::vector<std::uint8_t>> contents(const Volume& v) {
    return {{v.numBScans, v.numAScans, v.depth}, v.samples};
}

// A multi-page 8-bit TIFF (LZW, 3 rows per strip): page b holds B-scan b with rows = depth, columns = A-scans.
void writeTiffStack(const std::string& path, const std::vector<std::uint8_t>& samples, int nb, int na, int nd,
                    int lastPageDepth = -1) {
    Volume volume;
    volume.numBScans = nb, volume.numAScans = na, volume.depth = nd, volume.samples = samples;
    velin_test::TiffLayout layout;
    layout.lastPageDepth = lastPageDepth;
    ASSERT_TRUE(velin_test::writeTiffStack(path, volume, layout));
}

}  // namespace

TEST(IoReaders, RawImgAndTiffVolumesRoundTripIntoTheLibraryLayout) {
    io_test::ScratchDir dir;
    const int nb = 3, na = 5, nd = 7;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(nb, na, nd);
    const auto expected = std::make_pair(std::vector<int>{nb, na, nd}, samples);
    const std::string raw = dir.write("cube.raw", samples);
    EXPECT_EQ(contents(readVolume(raw, shape(nb, na, nd))), expected);
    // The same volume stored depth-major within each B-scan (rows of A-scan samples) and upside down.
    const auto rows =
        reordered(samples, nb, na, nd, [&](int b, int a, int d) { return (b * nd + nd - 1 - d) * na + a; });
    EXPECT_EQ(contents(readVolume(dir.write("rows.raw", rows), shape(nb, na, nd, "BDA", "D"))), expected);
    // Flipping B-scans and A-scans as well: each axis reverses independently.
    EXPECT_EQ(
        readVolume(raw, shape(nb, na, nd, "BAD", "ba")).samples,
        reordered(samples, nb, na, nd, [&](int b, int a, int d) { return ((nb - 1 - b) * na + na - 1 - a) * nd + d; }));
    writeTiffStack(dir.file("stack.tif"), samples, nb, na, nd);
    EXPECT_EQ(contents(readVolume(dir.file("stack.tif"), {})), expected);

    // A device cube stores each B-scan as depth lines of A-scan samples, deepest line first, mirrored; eye, kind
    // and spacing come from the name, which gives A-scans x B-scans.
    const std::vector<std::uint8_t> device =
        reordered(samples, nb, na, nd, [&](int b, int a, int d) { return (b * nd + nd - 1 - d) * na + na - 1 - a; });
    const Volume v =
        readVolume(dir.write("P0001_Macular Cube 5x3_9-21-2010_11-42-13_OS_sn0415_cube_z.img", device), {});
    EXPECT_EQ(contents(v), expected);
    EXPECT_EQ(v.eye + " " + v.scanKind, "OS macula");
    // 6 mm over 3 B-scans and 2 mm over the depth; 6 mm over 5 A-scans, 1200 um apart, is more than any scan
    // has, so it stays unknown and a note says why.
    EXPECT_EQ(std::vector<double>({v.spacingAScanUm, v.spacingBScanUm}), std::vector<double>({0, 2000}));
    EXPECT_DOUBLE_EQ(v.spacingDepthUm, 2000.0 / 7);
    EXPECT_EQ(v.notes, std::vector<std::string>{
                           "spacing between A-scans in the file: 1200 um is outside 0.1 to 1000 um; taken as unknown"});
    const Volume d = readVolume(dir.write("X_Optic Disc Cube 5x3_1-1-2001_1-1-1_OD_sn1_cube_raw.img", device), {});
    EXPECT_EQ(d.eye + " " + d.scanKind, "OD disc");
    // A name without the cube size needs the shape from the user.
    const Volume unnamed = readVolume(dir.write("export.img", device), shape(nb, na, 0));
    EXPECT_EQ(contents(unnamed), expected);
    EXPECT_TRUE(unnamed.scanKind.empty());
}

TEST(IoNpyReader, ReadsUint8VolumesOfEveryHeaderVersionAndFortranOrderAndScalesFloats) {
    io_test::ScratchDir dir;
    const int nb = 2, na = 3, nd = 4;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(nb, na, nd);
    velin::io::writeNpy(dir.file("v1.npy"), samples.data(), nb, na, nd);
    EXPECT_EQ(readVolume(dir.file("v1.npy"), {}).samples, samples);
    for (int major : {2, 3}) {
        const std::string path = dir.write("v.npy", io_test::npyBytes(npyDict("|u1", "(2, 3, 4)"), samples, major));
        EXPECT_EQ(readVolume(path, {}).samples, samples) << "version " << major;
    }
    const auto fortran = reordered(samples, nb, na, nd, [&](int b, int a, int d) { return b + nb * (a + na * d); });
    const std::string fortranPath = dir.write("f.npy", io_test::npyBytes(npyDict("|u1", "(2, 3, 4)", true), fortran));
    EXPECT_EQ(readVolume(fortranPath, {}).samples, samples);

    const std::vector<float> values = {0.0f, 0.0625f, 1.0f, 4.0f, -1.0f, 3.4028235e38f};
    const std::vector<double> wide = {-2.0, 0.0, 2.0, 1.0};
    const std::string floats =
        dir.write("float.npy", io_test::npyBytes(npyDict("<f4", "(1, 2, 3)"), rawBytesOf(values)));
    const std::string doubles =
        dir.write("double.npy", io_test::npyBytes(npyDict("<f8", "(1, 1, 4)"), rawBytesOf(wide)));
    ReadOptions options;
    options.scale = ScaleRule::FourthRoot;
    EXPECT_EQ(readVolume(floats, options).samples, (std::vector<std::uint8_t>{0, 128, 255, 255, 0, 0}));
    options.scale = ScaleRule::Clip255;
    EXPECT_EQ(readVolume(floats, options).samples, (std::vector<std::uint8_t>{0, 0, 1, 4, 0, 255}));
    options.scale = ScaleRule::MinMax;
    EXPECT_EQ(readVolume(doubles, options).samples, (std::vector<std::uint8_t>{0, 128, 255, 191}));
}

// Each message names the file and what was expected and found; no reader changes the file it refused.
TEST(IoReaders, DamagedFilesAndBadOptionsGiveClearErrorsAndLeaveTheFileAlone) {
    io_test::ScratchDir dir;
    const auto file = [&dir](const std::string& name, const std::vector<std::uint8_t>& bytes) {
        return dir.write(name, bytes);
    };
    const auto u1 = [](const std::string& shape, const std::vector<std::uint8_t>& data) {
        return io_test::npyBytes(npyDict("|u1", shape), data);
    };
    const std::string raw = file("cube.raw", io_test::patternedSamples(2, 4, 8));
    const std::vector<std::uint8_t> cube = io_test::patternedSamples(2, 3, 4);
    const std::vector<std::uint8_t> npy = u1("(2, 3, 4)", cube);
    const std::string img = file("P_Macular Cube 512x128_1-1-2001_1-1-1_OD_sn1_cube_z.img",
                                 std::vector<std::uint8_t>(512 * 128 * 2 + 5, 7));
    const std::vector<std::uint8_t> tall = io_test::patternedSamples(2, 5, 40);
    writeTiffStack(dir.file("ragged.tiff"), tall, 2, 5, 40, 39);
    writeTiffStack(dir.file("whole.tif"), tall, 2, 5, 40);
    const std::vector<std::uint8_t> whole = io_test::readBytes(dir.file("whole.tif"));
    std::filesystem::create_directory(dir.file("folder.npy"));
    // An element count that overflows must not wrap around into a plausible size.
    const std::string huge = file("huge.npy", u1("(4294967296, 4294967296, 1)", cube));

    struct Case {
        std::string path;
        ReadOptions options;
        std::vector<std::string> expected;
    } const cases[] = {
        {raw, {}, {"--shape"}},
        {raw, shape(2, 4, 9), {raw, "expected 72", "found 64"}},
        {raw, shape(1, 4, 8), {"too long"}},
        {raw, shape(2, 4, 8, "BAA"), {"layout"}},
        {raw, shape(2, 4, 8, "BAD", "X"), {"flip"}},
        {raw, shape(2048, 1024, 1024), {"too large"}},  // 2^31 samples do not fit the engine's int sizes
        {dir.file("absent.npy"), {}, {"no such file"}},
        {file("volume.dat", {1, 2, 3}), {}, {"'.dat'"}},
        {dir.file("folder.npy"), {}, {"directory"}},
        {img, {}, {"131077", "65536"}},  // the file size and 512 x 128
        {img, shape(128, 512, 1024), {"not a multiple"}},
        {file("export.img", cube), {}, {"AxB"}},
        {file("cut.npy", u1("(2, 3, 4)", io_test::patternedSamples(1, 1, 19))),
         {},
         {"truncated", "expected 24", "found 19"}},
        {file("long.npy", u1("(2, 3, 4)", io_test::patternedSamples(1, 1, 25))), {}, {"oversized"}},
        {file("good.npy", npy), shape(2, 3, 5), {"2x3x4"}},  // a shape given with a self-describing file is a check
        {file("headless.npy", std::vector<std::uint8_t>(npy.begin(), npy.begin() + 30)), {}, {"truncated .npy header"}},
        {file("text.npy", {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'}), {}, {"magic"}},
        {file("noshape.npy", io_test::npyBytes("{'descr': '|u1', 'fortran_order': False}", cube)), {}, {"'shape'"}},
        {file("garbled.npy", io_test::npyBytes("{'descr': '|u1', 'fortran_order': Maybe}", cube)), {}, {"malformed"}},
        {file("int32.npy", io_test::npyBytes(npyDict("<i4", "(1, 1, 6)"), cube)), {}, {"'<i4'"}},
        {file("flat.npy", u1("(6, 4)", cube)), {}, {"3-D"}},
        {huge, {}, {huge}},
        {file("float.npy", io_test::npyBytes(npyDict("<f4", "(1, 2, 3)"), cube)), {}, {"float32", "scale"}},
        {dir.file("ragged.tiff"), {}, {"page 1", "5x39"}},
        {file("half.tif", {whole.begin(), whole.begin() + whole.size() / 2}), {}, {dir.file("half.tif")}},
        {file("fake.tif", std::vector<std::uint8_t>(100, 'x')), {}, {"not a readable TIFF"}},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> before = io_test::readBytes(c.path);
        const std::string message = io_test::readError(c.path, c.options);
        for (const std::string& part : c.expected) EXPECT_TRUE(io_test::contains(message, part));
        EXPECT_EQ(io_test::readBytes(c.path), before) << c.path;
    }
}

namespace {

// One page of 8-bit grey, stored as a single strip of `stripBytes` zero bytes: a hand-made file, so that the
// directory can claim any size whatever the data holds.
std::vector<std::uint8_t> singleStripTiff(std::uint32_t width, std::uint32_t height, std::uint16_t compression,
                                          std::uint32_t stripBytes) {
    std::vector<std::uint8_t> bytes = {'I', 'I', 42, 0, 8, 0, 0, 0};
    const auto put16 = [&bytes](std::uint32_t v) { bytes.push_back(v & 0xFF), bytes.push_back((v >> 8) & 0xFF); };
    const auto put32 = [&](std::uint32_t v) { put16(v & 0xFFFF), put16(v >> 16); };
    struct Entry {
        std::uint16_t tag, type;
        std::uint32_t value;
    };
    constexpr std::uint16_t kShort = 3, kLong = 4;
    const std::uint32_t dataOffset = 8 + 2 + 9 * 12 + 4;
    const Entry entries[] = {{256, kLong, width},     {257, kLong, height},     {258, kShort, 8},
                             {259, kShort, compression}, {262, kShort, 1},      {273, kLong, dataOffset},
                             {277, kShort, 1},        {278, kLong, height},     {279, kLong, stripBytes}};
    put16(9);
    for (const Entry& e : entries) put16(e.tag), put16(e.type), put32(1), put32(e.value);
    put32(0);
    bytes.resize(bytes.size() + stripBytes, 0);
    return bytes;
}

}  // namespace

// A damaged directory may claim far more pixels than its strips can hold. Such a page is refused before
// memory is reserved for it (a 520 KB file claiming 46000 x 46000 pixels once reserved 2.1 GB first); a
// page that the file really holds, however well it compresses, is read.
TEST(IoTiffReader, PagesClaimingMorePixelsThanTheirStripsHoldAreRefusedUpFront) {
    io_test::ScratchDir dir;
    struct Case {
        const char* name;
        std::uint32_t width, height;
        std::uint16_t compression;
        std::uint32_t stripBytes;
        std::vector<std::string> expected;
    } const cases[] = {
        {"uncompressed.tif", 46000, 46000, 1, 520000, {"46000x46000 pixels cannot come from the 520000 bytes", "1 pixel(s) per byte"}},
        {"lzw.tif", 46000, 46000, 5, 520000, {"46000x46000 pixels cannot come from the 520000 bytes", "2048 pixel(s)"}},
        {"packbits.tif", 4000, 4000, 32773, 200000, {"4000x4000 pixels cannot come from the 200000 bytes", "64 pixel(s)"}},
    };
    for (const Case& c : cases) {
        const std::string message =
            io_test::readError(dir.write(c.name, singleStripTiff(c.width, c.height, c.compression, c.stripBytes)));
        for (const std::string& part : c.expected) EXPECT_TRUE(io_test::contains(message, part)) << c.name;
    }

    // 2 x 300 x 2000 zeros, deflated to a few kilobytes: a ratio far above 64 that deflate really reaches.
    Volume blank;
    blank.numBScans = 2, blank.numAScans = 300, blank.depth = 2000;
    blank.samples.assign(2u * 300u * 2000u, 0);
    velin_test::TiffLayout deflate;
    deflate.compression = 8, deflate.rowsPerStrip = 2000;
    ASSERT_TRUE(velin_test::writeTiffStack(dir.file("zeros.tif"), blank, deflate));
    EXPECT_LT(std::filesystem::file_size(dir.file("zeros.tif")), 2u * 300u * 2000u / 64u);
    EXPECT_EQ(readVolume(dir.file("zeros.tif"), {}).samples, blank.samples);
}
