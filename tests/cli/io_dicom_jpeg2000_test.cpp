// JPEG 2000 pixel data: DICOM files whose frames OpenJPEG encodes here, read back through the DICOM reader.

#include <Velin/Io/NpyFile.h>
#include <Velin/Io/VolumeFile.h>
#include <support/DicomFiles.h>
#include "io_test_support.h"

#include <gtest/gtest.h>
#include <openjpeg.h>

#include <algorithm>
#include <cstring>

using velin::io::readVolume;

namespace {

constexpr int kB = 3, kA = 5, kD = 7;  // B-scans (frames), A-scans (columns), depth (rows)

struct Sink {
    std::vector<std::uint8_t> bytes;
    std::size_t at = 0;
};

OPJ_SIZE_T writeSink(void* buffer, OPJ_SIZE_T n, void* user) {
    Sink& s = *static_cast<Sink*>(user);
    if (s.bytes.size() < s.at + n) s.bytes.resize(s.at + n);
    std::memcpy(s.bytes.data() + s.at, buffer, n);
    s.at += n;
    return n;
}

OPJ_OFF_T skipSink(OPJ_OFF_T n, void* user) {
    static_cast<Sink*>(user)->at += static_cast<std::size_t>(n);
    return n;
}

OPJ_BOOL seekSink(OPJ_OFF_T to, void* user) {
    static_cast<Sink*>(user)->at = static_cast<std::size_t>(to);
    return OPJ_TRUE;
}

// A lossless codestream (reversible wavelet, one layer) of `components` planes of rows x columns samples of
// `bits` bits, each plane holding `samples` (row after row).
std::vector<std::uint8_t> codestream(const std::vector<std::uint16_t>& samples, int rows, int columns, int bits,
                                     int components = 1) {
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = 0;
    parameters.cp_disto_alloc = 1;
    parameters.numresolution = 2;  // the frames here are only a few samples wide
    std::vector<opj_image_cmptparm_t> planes(static_cast<std::size_t>(components));
    for (opj_image_cmptparm_t& plane : planes) {
        std::memset(&plane, 0, sizeof plane);
        plane.dx = plane.dy = 1;
        plane.w = static_cast<OPJ_UINT32>(columns);
        plane.h = static_cast<OPJ_UINT32>(rows);
        plane.prec = static_cast<OPJ_UINT32>(bits);
    }
    opj_image_t* image = opj_image_create(static_cast<OPJ_UINT32>(components), planes.data(),
                                          components == 1 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB);
    image->x1 = static_cast<OPJ_UINT32>(columns);
    image->y1 = static_cast<OPJ_UINT32>(rows);
    for (int c = 0; c < components; ++c)
        for (std::size_t i = 0; i < samples.size(); ++i) image->comps[c].data[i] = samples[i];
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
    Sink sink;
    opj_stream_t* stream = opj_stream_create(OPJ_J2K_STREAM_CHUNK_SIZE, OPJ_FALSE);
    opj_stream_set_user_data(stream, &sink, nullptr);
    opj_stream_set_write_function(stream, writeSink);
    opj_stream_set_skip_function(stream, skipSink);
    opj_stream_set_seek_function(stream, seekSink);
    const bool encoded = opj_setup_encoder(codec, &parameters, image) && opj_start_compress(codec, image, stream) &&
                         opj_encode(codec, stream) && opj_end_compress(codec, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    EXPECT_TRUE(encoded);
    return sink.bytes;
}

// One codestream per frame of the volume (library layout), frames being depth rows of A-scan samples.
dicom_test::Fragments frameCodestreams(const std::vector<std::uint16_t>& values, int nb, int na, int nd, int bits) {
    dicom_test::Fragments frames;
    for (int b = 0; b < nb; ++b) {
        std::vector<std::uint16_t> frame;
        for (int d = 0; d < nd; ++d)
            for (int a = 0; a < na; ++a) frame.push_back(values[(b * na + a) * nd + d]);
        frames.push_back(codestream(frame, nd, na, bits));
    }
    return frames;
}

std::vector<std::uint16_t> wideOf(const std::vector<std::uint8_t>& samples) { return {samples.begin(), samples.end()}; }

}  // namespace

TEST(IoDicomJpeg2000, LosslessFramesReadAsTheSamplesInOneOrSeveralFragments) {
    io_test::ScratchDir dir;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(kB, kA, kD);
    velin::io::writeNpy(dir.file("same.npy"), samples.data(), kB, kA, kD);
    const std::vector<std::uint8_t> expected = readVolume(dir.file("same.npy"), {}).samples;

    const dicom_test::Fragments frames = frameCodestreams(wideOf(samples), kB, kA, kD, 8);
    dicom_test::saveEncapsulated(*dicom_test::volumeImage(kB, kA, kD, samples), dir.file("lossless.dcm"),
                                 EXS_JPEG2000LosslessOnly, frames);
    EXPECT_EQ(readVolume(dir.file("lossless.dcm"), {}).samples, expected);
    // Each frame split over two fragments (of even length, as fragments are): the frame ends with the fragment
    // that ends its codestream.
    dicom_test::Fragments halves;
    for (const std::vector<std::uint8_t>& frame : frames) {
        const auto middle = frame.begin() + static_cast<std::ptrdiff_t>(frame.size() / 4 * 2);
        halves.emplace_back(frame.begin(), middle);
        halves.emplace_back(middle, frame.end());
    }
    dicom_test::saveEncapsulated(*dicom_test::volumeImage(kB, kA, kD, samples), dir.file("halves.dcm"), EXS_JPEG2000,
                                 halves);
    EXPECT_EQ(readVolume(dir.file("halves.dcm"), {}).samples, expected);

    // 12-bit samples 16 s + 3 under the window that shows them as s (see the 16-bit DICOM test).
    std::vector<std::uint16_t> twelve;
    for (std::uint8_t s : samples) twelve.push_back(static_cast<std::uint16_t>(16 * s + 3));
    auto wide = dicom_test::volumeImage(kB, kA, kD, twelve, 16, 12);
    wide->getDataset()->putAndInsertString(DCM_WindowCenter, "2040.5");
    wide->getDataset()->putAndInsertString(DCM_WindowWidth, "4081");
    dicom_test::saveEncapsulated(*wide, dir.file("wide.dcm"), EXS_JPEG2000LosslessOnly,
                                 frameCodestreams(twelve, kB, kA, kD, 12));
    EXPECT_EQ(readVolume(dir.file("wide.dcm"), {}).samples, expected);
}

TEST(IoDicomJpeg2000, FramesOfAnotherSizeColourOrDamageAreRefusedByFrame) {
    io_test::ScratchDir dir;
    const std::vector<std::uint8_t> samples = io_test::patternedSamples(kB, kA, kD);
    dicom_test::Fragments frames = frameCodestreams(wideOf(samples), kB, kA, kD, 8);
    const auto saved = [&](const std::string& name, const dicom_test::Fragments& fragments) {
        dicom_test::saveEncapsulated(*dicom_test::volumeImage(kB, kA, kD, samples), dir.file(name),
                                     EXS_JPEG2000LosslessOnly, fragments);
        return dir.file(name);
    };
    dicom_test::Fragments narrow = frames, colour = frames, cut = frames;
    narrow[1] = frameCodestreams(wideOf(io_test::patternedSamples(kB, kA - 1, kD)), kB, kA - 1, kD, 8)[1];
    colour[2] = codestream(std::vector<std::uint16_t>(kA * kD, 9), kD, kA, 8, 3);
    cut[0].resize(cut[0].size() / 2);
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {saved("narrow.dcm", narrow), {"frame 1 of 3", "frame of 7x4 (rows x columns), the header says 7x5"}},
        {saved("colour.dcm", colour), {"frame 2 of 3", "found 3 components: expected one grey component"}},
        {saved("cut.dcm", cut), {"frame 0 of 3", "JPEG 2000 (Lossless only) (1.2.840.10008.1.2.4.90)"}},
    };
    for (const auto& [path, expected] : cases) {
        const std::string message = io_test::readError(path);
        for (const std::string& part : expected) EXPECT_TRUE(io_test::contains(message, part)) << path;
    }
}
