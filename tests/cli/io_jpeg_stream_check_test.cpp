// The check of a JPEG stream's headers before DCMTK's IJG decoders see it: streams DCMTK writes pass, and each
// damaged header of the kinds that crashed those decoders, or that they would take on trust, is named.

#include <Velin/Io/JpegStreamCheck.h>
#include <support/DicomFiles.h>
#include "io_test_support.h"

#include <gtest/gtest.h>

#include <functional>

using velin::io::JpegExpectation;
using velin::io::JpegProcess;
using velin::io::jpegStreamProblem;

namespace {

constexpr int kB = 2, kA = 16, kD = 64;  // frames, columns, rows

// The first frame's JPEG stream as DCMTK encodes a volume of `bits` allocated bits in `syntax`.
std::vector<std::uint8_t> encodedFrame(E_TransferSyntax syntax, int bits) {
    std::vector<std::uint16_t> values(kB * kA * kD);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<std::uint16_t>(bits == 8 ? i * 7 % 256 : i * 37 % 4096);
    const auto image = dicom_test::volumeImage(kB, kA, kD, values, bits, bits == 8 ? 8 : 12);
    io_test::ScratchDir dir;
    dicom_test::save(*image, dir.file("frame.dcm"), syntax);
    // Read back, as the encoder's own representation is filed under its parameters.
    DcmFileFormat file;
    EXPECT_TRUE(file.loadFile(dir.file("frame.dcm").c_str()).good());
    return dicom_test::fragmentsOf(file, syntax).at(0);
}

// Offset of the payload of the first segment with this marker (after its two length bytes).
std::size_t payload(const std::vector<std::uint8_t>& stream, std::uint8_t marker) {
    std::size_t at = 2;
    while (at + 4 <= stream.size() && stream[at + 1] != marker) at += 2 + (stream[at + 2] << 8 | stream[at + 3]);
    return at + 4;
}

}  // namespace

TEST(IoJpegStreamCheck, StreamsDcmtkWritesPassAndDamagedHeadersAreNamed) {
    const std::vector<std::uint8_t> lossless16 = encodedFrame(EXS_JPEGProcess14SV1, 16);
    const std::vector<std::uint8_t> lossless8 = encodedFrame(EXS_JPEGProcess14, 8);
    const std::vector<std::uint8_t> baseline = encodedFrame(EXS_JPEGProcess1, 8);
    const JpegExpectation wide{JpegProcess::LosslessFirstOrder, kD, kA, 16};
    const JpegExpectation narrow{JpegProcess::Lossless, kD, kA, 8};
    const JpegExpectation lossy{JpegProcess::Baseline, kD, kA, 8};
    EXPECT_EQ(jpegStreamProblem(lossless16.data(), lossless16.size(), wide), "");
    EXPECT_EQ(jpegStreamProblem(lossless8.data(), lossless8.size(), narrow), "");
    EXPECT_EQ(jpegStreamProblem(baseline.data(), baseline.size(), lossy), "");

    struct Case {
        const char* what;
        const std::vector<std::uint8_t>* stream;
        JpegExpectation expected;
        std::function<void(std::vector<std::uint8_t>&)> damage;
        std::string problem;
    } const cases[] = {
        {"fewer rows in the DICOM attributes",
         &lossless16,
         {JpegProcess::LosslessFirstOrder, kD - 1, kA, 16},
         [](auto&) {},
         "JPEG frame of 64x16 in frames of 63x16"},
        {"16-bit stream in 8-bit samples",
         &lossless16,
         {JpegProcess::LosslessFirstOrder, kD, kA, 8},
         [](auto&) {},
         "precision of 16 bits does not fit"},
        {"precision 17", &lossless16, wide, [](auto& s) { s[payload(s, 0xC3)] = 17; }, "precision of 17 bits"},
        {"three components", &lossless16, wide, [](auto& s) { s[payload(s, 0xC3) + 5] = 3; }, "3 components"},
        {"difference category 200", &lossless16, wide, [](auto& s) { s[payload(s, 0xC4) + 17] = 200; },
         "holds difference category 200 (at most 16)"},
        {"predictor 0", &lossless8, narrow, [](auto& s) { s[payload(s, 0xDA) + 3] = 0; }, "predictor 0"},
        {"predictor 2 in first-order prediction", &lossless16, wide, [](auto& s) { s[payload(s, 0xDA) + 3] = 2; },
         "predictor 2 and point transform 0 (predictor 1 to 1"},
        {"point transform 9 of 8 bits", &lossless8, narrow, [](auto& s) { s[payload(s, 0xDA) + 5] = 9; },
         "point transform 9"},
        {"undefined Huffman table", &lossless16, wide, [](auto& s) { s[payload(s, 0xDA) + 2] = 0x20; },
         "Huffman table 2, which is not defined"},
        {"lossy frame in a lossless syntax", &lossless16, wide, [](auto& s) { s[payload(s, 0xC3) - 3] = 0xC0; },
         "frame type FFC0 does not belong"},
        {"headers cut short", &lossless16, wide, [](auto& s) { s.resize(payload(s, 0xC4) + 4); },
         "runs past the frame"},
        {"no start of image", &baseline, lossy, [](auto& s) { s[1] = 0xD9; }, "does not start a JPEG stream"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<std::uint8_t> stream = *c.stream;
        c.damage(stream);
        EXPECT_TRUE(io_test::contains(jpegStreamProblem(stream.data(), stream.size(), c.expected), c.problem))
            << jpegStreamProblem(stream.data(), stream.size(), c.expected);
    }
}
