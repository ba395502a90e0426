// The DICOM reader on multi-frame files written here with DCMTK: every transfer syntax it decodes, 8- and
// 16-bit samples, the metadata it takes, and the files it refuses.

#include <Velin/Io/FloatScaling.h>
#include <Velin/Io/NpyFile.h>
#include <Velin/Io/VolumeFile.h>
#include <support/DicomFiles.h>
#include "io_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

using velin::io::ReadOptions;
using velin::io::readVolume;
using velin::io::ScaleRule;
using velin::io::Volume;

namespace {

constexpr int kB = 3, kA = 5, kD = 7;  // B-scans (frames), A-scans (columns), depth (rows)

std::vector<std::uint8_t> samples() { return io_test::patternedSamples(kB, kA, kD); }

std::unique_ptr<DcmFileFormat> image() { return dicom_test::volumeImage(kB, kA, kD, samples()); }

// The samples as 16-bit values v(s) that the tests' windows and rescales bring back to s.
std::vector<std::uint16_t> wide(const std::function<std::uint16_t(std::uint8_t)>& value) {
    std::vector<std::uint16_t> values;
    for (std::uint8_t s : samples()) values.push_back(value(s));
    return values;
}

int largestDifference(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    int largest = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

}  // namespace

TEST(IoDicomReader, FramesBecomeBScansInEveryTransferSyntaxDcmtkDecodes) {
    io_test::ScratchDir dir;
    velin::io::writeNpy(dir.file("same.npy"), samples().data(), kB, kA, kD);
    const Volume npy = readVolume(dir.file("same.npy"), {});
    for (E_TransferSyntax syntax :
         {EXS_LittleEndianImplicit, EXS_LittleEndianExplicit, EXS_BigEndianExplicit, EXS_DeflatedLittleEndianExplicit,
          EXS_JPEGProcess14, EXS_JPEGProcess14SV1, EXS_JPEGLSLossless, EXS_RLELossless}) {
        SCOPED_TRACE(DcmXfer(syntax).getXferName());
        const std::string path = dir.file("scan.dcm");
        dicom_test::save(*image(), path, syntax);
        const Volume v = readVolume(path, {});
        EXPECT_EQ(std::vector<int>({v.numBScans, v.numAScans, v.depth}), std::vector<int>({kB, kA, kD}));
        EXPECT_EQ(v.samples, npy.samples);
    }
    // Lossy syntaxes: JPEG-LS keeps every sample within its declared error; JPEG baseline stays close, which a
    // transposed or shifted frame would not.
    dicom_test::save(*image(), dir.file("near.dcm"), EXS_JPEGLSLossy);
    EXPECT_LE(largestDifference(readVolume(dir.file("near.dcm"), {}).samples, npy.samples), 2);
    dicom_test::save(*image(), dir.file("baseline.dcm"), EXS_JPEGProcess1);
    EXPECT_LE(largestDifference(readVolume(dir.file("baseline.dcm"), {}).samples, npy.samples), 24);

    // Names without a known extension are read by their content; other files keep the unknown-format error.
    dicom_test::save(*image(), dir.file("IM0001"), EXS_LittleEndianExplicit);
    EXPECT_EQ(readVolume(dir.file("IM0001"), {}).samples, npy.samples);
    dicom_test::save(*image(), dir.file("1.2.840.99.5"), EXS_LittleEndianExplicit);
    EXPECT_EQ(readVolume(dir.file("1.2.840.99.5"), {}).samples, npy.samples);
    EXPECT_TRUE(io_test::contains(io_test::readError(dir.write("notes", {'h', 'i'})), "unknown volume format"));
}

TEST(IoDicomReader, WideSignedAndInvertedSamplesBecomeTheSameBytes) {
    io_test::ScratchDir dir;
    const std::vector<std::uint8_t> expected = samples();
    // 12 of 16 bits stored, the unused top bits set; the window maps 16 s + 3 back to s: with centre 2040.5 and
    // width 4081 a value v shows as (v - 2040) / 16 + 127.5.
    auto twelveBits =
        dicom_test::volumeImage(kB, kA, kD, wide([](std::uint8_t s) { return 0xF000 | (16 * s + 3); }), 16, 12);
    twelveBits->getDataset()->putAndInsertString(DCM_WindowCenter, "2040.5\\100");
    twelveBits->getDataset()->putAndInsertString(DCM_WindowWidth, "4081\\10");
    dicom_test::save(*twelveBits, dir.file("window.dcm"));
    EXPECT_EQ(readVolume(dir.file("window.dcm"), {}).samples, expected);
    // The same window in the functional groups shared by all frames, through lossless JPEG.
    auto shared = dicom_test::volumeImage(kB, kA, kD, wide([](std::uint8_t s) { return 16 * s + 3; }), 16, 12);
    dicom_test::putInGroup(*shared, DCM_SharedFunctionalGroupsSequence, DCM_FrameVOILUTSequence, DCM_WindowCenter,
                           "2040.5");
    dicom_test::putInGroup(*shared, DCM_SharedFunctionalGroupsSequence, DCM_FrameVOILUTSequence, DCM_WindowWidth,
                           "4081");
    dicom_test::save(*shared, dir.file("shared.dcm"), EXS_JPEGProcess14SV1);
    EXPECT_EQ(readVolume(dir.file("shared.dcm"), {}).samples, expected);

    // Signed samples 16 (s - 128), rescaled by 1/16 and + 128, then taken as they are by clip255. The user's
    // rule wins over the file's window, which would make everything white.
    auto isSigned = dicom_test::volumeImage(
        kB, kA, kD, wide([](std::uint8_t s) { return static_cast<std::uint16_t>(16 * (s - 128)); }), 16, 16, true);
    isSigned->getDataset()->putAndInsertString(DCM_RescaleSlope, "0.0625");
    isSigned->getDataset()->putAndInsertString(DCM_RescaleIntercept, "+128");
    isSigned->getDataset()->putAndInsertString(DCM_WindowCenter, "-1000");
    isSigned->getDataset()->putAndInsertString(DCM_WindowWidth, "1");
    dicom_test::save(*isSigned, dir.file("signed.dcm"), EXS_RLELossless);
    ReadOptions clip;
    clip.scale = ScaleRule::Clip255;
    EXPECT_EQ(readVolume(dir.file("signed.dcm"), clip).samples, expected);
    EXPECT_EQ(readVolume(dir.file("signed.dcm"), {}).samples, std::vector<std::uint8_t>(expected.size(), 255));

    // MONOCHROME1 shows the smallest value white.
    auto inverted = dicom_test::volumeImage(kB, kA, kD, wide([](std::uint8_t s) { return 255 - s; }));
    inverted->getDataset()->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME1");
    dicom_test::save(*inverted, dir.file("inverted.dcm"));
    EXPECT_EQ(readVolume(dir.file("inverted.dcm"), {}).samples, expected);
}

// A display window maps as viewers show it, hand-worked for centre 2048 and width 4096: [0, 4095] spans the
// bytes, 2047.5 lies halfway (127.5 rounds up); a width of 1 is a threshold.
TEST(IoDicomReader, DisplayWindowMapsLinearlyAndClips) {
    using velin::io::windowToByte;
    const std::vector<std::pair<double, int>> cases = {{-5.0, 0},     {0.0, 0},      {0.5, 0},      {4095.0, 255},
                                                       {5000.0, 255}, {2047.5, 128}, {1023.75, 64}, {NAN, 0}};
    for (const auto& [value, expected] : cases) EXPECT_EQ(windowToByte(value, 2048.0, 4096.0), expected) << value;
    EXPECT_EQ(std::vector<int>({windowToByte(99.5, 100.0, 1.0), windowToByte(99.6, 100.0, 1.0)}),
              std::vector<int>({0, 255}));
}

TEST(IoDicomReader, SpacingEyeAndScanKindComeFromWhereTheFileGivesThem) {
    io_test::ScratchDir dir;
    using Setup = std::function<void(DcmFileFormat&)>;
    const auto top = [](const DcmTagKey& tag, const char* value) {
        return [tag, value](DcmFileFormat& f) { f.getDataset()->putAndInsertString(tag, value); };
    };
    const auto measures = [](const DcmTagKey& groups, const DcmTagKey& tag, const char* value) {
        return [groups, tag, value](DcmFileFormat& f) {
            dicom_test::putInGroup(f, groups, DCM_PixelMeasuresSequence, tag, value);
        };
    };
    const auto region = [](const char* meaning) {
        return [meaning](DcmFileFormat& f) {
            DcmItem* item = nullptr;
            f.getDataset()->findOrCreateSequenceItem(DCM_AnatomicRegionSequence, item, 0);
            item->putAndInsertString(DCM_CodeMeaning, meaning);
        };
    };
    const DcmTagKey shared = DCM_SharedFunctionalGroupsSequence, perFrame = DCM_PerFrameFunctionalGroupsSequence;
    struct Case {
        std::vector<Setup> setup;
        std::vector<double> spacingUm;  // depth, A-scans, B-scans
        std::string eye, kind;
    } const cases[] = {
        {{}, {0, 0, 0}, "", ""},
        {{top(DCM_PixelSpacing, "0.0039\\0.0117"), top(DCM_SliceThickness, "0.047"), top(DCM_ImageLaterality, "L"),
          top(DCM_SeriesDescription, "Macular Cube 512x128")},
         {3.9, 11.7, 47},
         "OS",
         "macula"},
        // Spacing Between Slices wins over Slice Thickness; the shared groups over the top level.
        {{measures(shared, DCM_PixelSpacing, "0.00387\\0.0112"), measures(shared, DCM_SliceThickness, "0.2"),
          measures(shared, DCM_SpacingBetweenSlices, "0.12"), top(DCM_PixelSpacing, "0.5\\0.5"),
          top(DCM_Laterality, "R"), region("Optic nerve head")},
         {3.87, 11.2, 120},
         "OD",
         "disc"},
        {{measures(perFrame, DCM_PixelSpacing, "0.002\\0.03"), top(DCM_ImageLaterality, "B"), top(DCM_Laterality, "L"),
          top(DCM_ProtocolName, "ONH Cube 200x200")},
         {2, 30, 0},
         "OS",
         "disc"},
        // A text naming both regions says nothing; the next one decides.
        {{top(DCM_SeriesDescription, "Macula and optic disc"), top(DCM_StudyDescription, "macular scan")},
         {0, 0, 0},
         "",
         "macula"},
        {{top(DCM_StudyDescription, "Discovery"), top(DCM_ImageLaterality, "U")}, {0, 0, 0}, "", ""},
    };
    for (const Case& c : cases) {
        auto file = image();
        for (const Setup& step : c.setup) step(*file);
        dicom_test::save(*file, dir.file("meta.dcm"));
        const Volume v = readVolume(dir.file("meta.dcm"), {});
        const std::vector<double> spacing = {v.spacingDepthUm, v.spacingAScanUm, v.spacingBScanUm};
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(spacing[i], c.spacingUm[i], 1e-9) << c.setup.size() << " " << i;
        EXPECT_EQ(v.eye + "/" + v.scanKind, c.eye + "/" + c.kind) << c.setup.size();
    }
}

// Each message names the file and what is wrong with it; the file stays as it was.
TEST(IoDicomReader, UnsuitableAndDamagedFilesGiveOneClearError) {
    io_test::ScratchDir dir;
    const auto saved = [&dir](const std::string& name, const std::function<void(DcmDataset&)>& change,
                              E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
        auto file = image();
        change(*file->getDataset());
        dicom_test::save(*file, dir.file(name), syntax);
        return dir.file(name);
    };
    const auto put = [&saved](const std::string& name, const DcmTagKey& tag, const char* value) {
        return saved(name, [&](DcmDataset& ds) { ds.putAndInsertString(tag, value); });
    };
    const std::string whole = saved("whole.dcm", [](DcmDataset&) {});
    const std::vector<std::uint8_t> bytes = io_test::readBytes(whole);

    DcmFileFormat report;  // a DICOM object that is not an image
    report.getDataset()->putAndInsertString(DCM_SOPClassUID, UID_BasicTextSRStorage);
    report.saveFile(dir.file("report.dcm").c_str(), EXS_LittleEndianExplicit);

    auto colour = dicom_test::volumeImage(kB, kA, kD, wide([](std::uint8_t s) { return s; }));
    colour->getDataset()->putAndInsertUint16(DCM_SamplesPerPixel, 3);
    colour->getDataset()->putAndInsertString(DCM_PhotometricInterpretation, "RGB");
    colour->saveFile(dir.file("colour.dcm").c_str(), EXS_LittleEndianExplicit);

    // JPEG-LS frames of two sizes: the second frame comes from a volume with one A-scan fewer.
    auto narrow = dicom_test::volumeImage(kB, kA - 1, kD, io_test::patternedSamples(kB, kA - 1, kD));
    dicom_test::save(*narrow, dir.file("narrow.dcm"), EXS_JPEGLSLossless);
    auto mixed = image();
    dicom_test::save(*mixed, dir.file("mixed.dcm"), EXS_JPEGLSLossless);
    dicom_test::Fragments fragments = dicom_test::fragmentsOf(*mixed, EXS_JPEGLSLossless);
    fragments.at(1) = dicom_test::fragmentsOf(*narrow, EXS_JPEGLSLossless).at(1);
    dicom_test::saveEncapsulated(*image(), dir.file("mixed.dcm"), EXS_JPEGLSLossless, fragments);
    const dicom_test::Fragments junk(kB, std::vector<std::uint8_t>(64, 0x5A));
    dicom_test::saveEncapsulated(*image(), dir.file("j2k.dcm"), EXS_JPEG2000LosslessOnly, junk);
    dicom_test::saveEncapsulated(*image(), dir.file("htj2k.dcm"), EXS_JPEG2000LosslessOnly, junk,
                                 "1.2.840.10008.1.2.4.201");
    // An encapsulated file claiming far more frames than its bytes can hold.
    dicom_test::saveEncapsulated(*image(), dir.file("claims.dcm"), EXS_RLELossless, junk);
    auto claims = std::make_unique<DcmFileFormat>();
    claims->loadFile(dir.file("claims.dcm").c_str());
    claims->getDataset()->putAndInsertString(DCM_NumberOfFrames, "65535");
    claims->getDataset()->putAndInsertUint16(DCM_Rows, 1000);
    claims->saveFile(dir.file("claims.dcm").c_str(), EXS_RLELossless);

    // A 16-bit lossless JPEG frame taller than the image's Rows: refused before DCMTK's decoder takes the
    // stream's word for its size.
    dicom_test::save(*dicom_test::volumeImage(kB, kA, kD, wide([](std::uint8_t s) { return s; }), 16),
                     dir.file("taller.dcm"), EXS_JPEGProcess14SV1);
    DcmFileFormat taller;
    taller.loadFile(dir.file("taller.dcm").c_str());
    taller.getDataset()->putAndInsertUint16(DCM_Rows, kD - 1);
    taller.saveFile(dir.file("taller.dcm").c_str(), EXS_JPEGProcess14SV1);

    const std::string sixteen = dir.file("sixteen.dcm");
    dicom_test::save(*dicom_test::volumeImage(kB, kA, kD, wide([](std::uint8_t s) { return s; }), 16), sixteen);

    struct Case {
        std::string path;
        std::vector<std::string> expected;
    } const cases[] = {
        {dir.write("text.dcm", std::vector<std::uint8_t>(300, 'x')), {"not a DICOM file"}},
        {dir.file("report.dcm"), {"not an image", UID_BasicTextSRStorage}},
        {put("single.dcm", DCM_NumberOfFrames, "1"), {"a single frame", "multi-frame"}},
        {dir.file("colour.dcm"), {"colour image (RGB, 3 samples per pixel)"}},
        {dir.write("cut.dcm", {bytes.begin(), bytes.end() - 40}), {"truncated", std::to_string(bytes.size() - 40)}},
        {put("frames.dcm", DCM_NumberOfFrames, "4"), {"truncated pixel data", "4 frames of 7x5"}},
        {dir.file("mixed.dcm"), {"frame 1 of 3", "JPEG-LS"}},
        {dir.file("j2k.dcm"), {"frame 0 of 3 cannot be decoded (JPEG 2000 (Lossless only) (1.2.840.10008.1.2.4.90))"}},
        {dir.file("htj2k.dcm"), {"transfer syntax 1.2.840.10008.1.2.4.201 cannot be decoded"}},
        {dir.file("claims.dcm"), {"samples per file byte"}},
        {dir.file("taller.dcm"), {"fragment 1: JPEG frame of 7x5 in frames of 6x5"}},
        {sixteen, {"16-bit unsigned", "no display window", "--scale"}},
        {put("depth.dcm", DCM_PixelSpacing, "0\\0.01"), {"Pixel Spacing along depth (rows) is 0 mm", "0.0001"}},
        {put("lateral.dcm", DCM_PixelSpacing, "0.01\\2.5"), {"between A-scans (columns) is 2.5 mm"}},
        {put("thick.dcm", DCM_SliceThickness, "50"), {"Slice Thickness (between B-scans) is 50 mm", "10 mm"}},
        {put("words.dcm", DCM_PixelSpacing, "0.01\\abc"), {"Pixel Spacing '0.01\\abc'", "decimal numbers"}},
        {put("one.dcm", DCM_PixelSpacing, "0.01"), {"expected 2 values, found 1"}},
        {saved("bits.dcm", [](DcmDataset& ds) { ds.putAndInsertUint16(DCM_BitsAllocated, 32); }),
         {"found 32 bits allocated"}},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> before = io_test::readBytes(c.path);
        const std::string message = io_test::readError(c.path);
        EXPECT_TRUE(io_test::contains(message, c.path + ": "));
        for (const std::string& part : c.expected) EXPECT_TRUE(io_test::contains(message, part)) << c.path;
        EXPECT_EQ(io_test::readBytes(c.path), before) << c.path;
    }
    // A window the file gives for 16-bit samples is checked too.
    auto narrowWindow = dicom_test::volumeImage(kB, kA, kD, wide([](std::uint8_t s) { return s; }), 16);
    narrowWindow->getDataset()->putAndInsertString(DCM_WindowCenter, "100");
    narrowWindow->getDataset()->putAndInsertString(DCM_WindowWidth, "0.5");
    dicom_test::save(*narrowWindow, sixteen);
    EXPECT_TRUE(io_test::contains(io_test::readError(sixteen), "Window Width is 0.5: expected at least 1"));
}
