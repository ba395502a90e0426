// fuzz_seeds OUTDIR [SHARED_SAMPLE.vol]: writes the seed inputs of every fuzzing target into OUTDIR/<target>/,
// in each target's input layout (FuzzTargets.h). The volumes are small phantoms in every format and variant
// the readers take; the real .vol sample, when given, lends its header and B-scan header to a shrunken
// export. Seeds are made afresh for every run and never stored in the repository.

#include "FuzzTargets.h"
#include "support/DicomFiles.h"
#include "support/VolumeFiles.h"

#include <Velin/Io/NpyFile.h>
#include <Velin/Io/Phantom.h>

#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
using velin::io::Volume;

fs::path outDir;

void seed(const std::string& target, const std::string& name, const Bytes& bytes) {
    fs::create_directories(outDir / target);
    std::ofstream(outDir / target / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes fileBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The reader targets' five option bytes in front of the file.
Bytes withOptions(std::uint8_t flags, int nb, int na, int nd, std::uint8_t name, const Bytes& file) {
    Bytes bytes(5 + file.size());
    bytes[0] = flags, bytes[1] = static_cast<std::uint8_t>(nb), bytes[2] = static_cast<std::uint8_t>(na);
    bytes[3] = static_cast<std::uint8_t>(nd), bytes[4] = name;
    std::copy(file.begin(), file.end(), bytes.begin() + 5);
    return bytes;
}

Volume phantom(int nb, int na, int nd, const std::string& kind) {
    velin::io::PhantomOptions options;
    options.numBScans = nb, options.numAScans = na, options.depth = nd, options.scanKind = kind;
    return velin::io::makePhantom(options).volume;
}

Bytes npyHeader(const std::string& dict, int major) {
    const std::size_t preamble = major == 1 ? 10 : 12;
    const std::string header = dict + std::string(63 - (preamble + dict.size()) % 64, ' ') + '\n';
    Bytes bytes = {0x93,
                   'N',
                   'U',
                   'M',
                   'P',
                   'Y',
                   static_cast<std::uint8_t>(major),
                   0,
                   static_cast<std::uint8_t>(header.size() & 0xFF),
                   static_cast<std::uint8_t>(header.size() >> 8)};
    bytes.resize(preamble, 0);
    bytes.insert(bytes.end(), header.begin(), header.end());
    return bytes;
}

void npySeeds(const Volume& v) {
    const fs::path scratch = outDir / "scratch.npy";
    velin::io::writeNpy(scratch.string(), v);
    seed("read_npy", "uint8-v1", withOptions(0, 0, 0, 0, 0, fileBytes(scratch)));
    const std::string shape =
        "(" + std::to_string(v.numBScans) + ", " + std::to_string(v.numAScans) + ", " + std::to_string(v.depth) + ")";
    for (int major : {2, 3}) {
        Bytes bytes = npyHeader("{'descr': '|u1', 'fortran_order': True, 'shape': " + shape + ", }", major);
        bytes.insert(bytes.end(), v.samples.begin(), v.samples.end());
        seed("read_npy", "fortran-v" + std::to_string(major), withOptions(0, 0, 0, 0, 0, bytes));
    }
    // Floats in both byte orders, each with the scale rule that suits it.
    Bytes little = npyHeader("{'descr': '<f4', 'fortran_order': False, 'shape': " + shape + ", }", 1);
    Bytes big = npyHeader("{'descr': '>f8', 'fortran_order': False, 'shape': " + shape + ", }", 1);
    for (std::uint8_t s : v.samples) {
        const float f = s / 255.0f;
        const double d = s;
        std::uint8_t fb[4], db[8];
        std::memcpy(fb, &f, 4), std::memcpy(db, &d, 8);
        little.insert(little.end(), fb, fb + 4);
        for (int k = 7; k >= 0; --k) big.push_back(db[k]);
    }
    seed("read_npy", "float32-fourthroot", withOptions(3, 0, 0, 0, 0, little));
    seed("read_npy", "float64-big-clip255", withOptions(2, 0, 0, 0, 0, big));
    Bytes flat = npyHeader("{'descr': '<i2', 'fortran_order': False, 'shape': (4, 2), }", 1);
    flat.resize(flat.size() + 16, 1);
    seed("read_npy", "int16-2d", withOptions(1, 0, 0, 0, 0, flat));
}

void rawAndImgSeeds(const Volume& v) {
    seed("read_raw", "bad", withOptions(0, v.numBScans, v.numAScans, v.depth, 0, v.samples));
    // Layout index 1 (BDA) with A and D flipped: the device export's order.
    seed("read_raw", "bda-flip-ad", withOptions((1 << 5) | 0x0C, v.numBScans, v.numAScans, v.depth, 0, v.samples));
    seed("read_raw", "dab-flip-b", withOptions((5 << 5) | 0x04, v.numBScans, v.numAScans, v.depth, 0, v.samples));
    seed("read_img", "macular-cube", withOptions(0, v.numBScans, v.numAScans, 0, 1, v.samples));
    seed("read_img", "disc-cube", withOptions(0, v.numBScans, v.numAScans, 0, 2, v.samples));
    seed("read_img", "unnamed-with-shape", withOptions(0, v.numBScans, v.numAScans, 0, 0, v.samples));
}

void tiffSeeds(const Volume& v) {
    const fs::path scratch = outDir / "scratch.tif";
    struct Variant {
        const char* name;
        velin_test::TiffLayout layout;
    } const variants[] = {
        {"lzw", {COMPRESSION_LZW, 3, false, -1}},
        {"none-one-strip", {COMPRESSION_NONE, 1024, false, -1}},
        {"packbits-miniswhite", {COMPRESSION_PACKBITS, 1, true, -1}},
        {"deflate-ragged", {COMPRESSION_ADOBE_DEFLATE, 8, false, v.depth - 1}},
    };
    for (const Variant& variant : variants) {
        if (!velin_test::writeTiffStack(scratch.string(), v, variant.layout)) continue;
        seed("read_tiff", variant.name, withOptions(0, 0, 0, 0, 0, fileBytes(scratch)));
    }
}

void volSeeds(const Volume& v, const std::string& sharedSample) {
    velin_test::VolHeader header;
    seed("read_vol", "volume-scan", withOptions(0, 0, 0, 0, 0, velin_test::volBytes(v, header)));
    header.scanPattern = 5, header.eye = "OS", header.distanceMm = 0.0, header.bScanHeaderBytes = 256;
    seed("read_vol", "radial-os", withOptions(0, 0, 0, 0, 0, velin_test::volBytes(v, header)));
    if (sharedSample.empty() || !fs::exists(sharedSample)) return;
    // The real export's own headers, with the sizes cut down to the phantom's and its pixels in place.
    const Bytes real = fileBytes(sharedSample);
    velin_test::VolHeader small;
    small.sloWidth = small.sloHeight = 4;
    Bytes shrunk = velin_test::volBytes(v, small);
    if (real.size() < 2048 + 512) return;
    std::uint32_t sloX, sloY, scanHeader;
    std::memcpy(&sloX, &real[48], 4), std::memcpy(&sloY, &real[52], 4), std::memcpy(&scanHeader, &real[100], 4);
    const std::size_t firstScan = 2048 + std::size_t{sloX} * sloY;
    if (scanHeader < 256 || firstScan + 256 > real.size()) return;
    std::copy(real.begin() + 24, real.begin() + 48, shrunk.begin() + 24);   // the three scales
    std::copy(real.begin() + 56, real.begin() + 100, shrunk.begin() + 56);  // eye, pattern and the rest
    std::copy(real.begin() + 104, real.begin() + 2048, shrunk.begin() + 104);
    std::memcpy(&shrunk[100], &small.bScanHeaderBytes, 4);
    const std::size_t block = small.bScanHeaderBytes + static_cast<std::size_t>(v.numAScans) * v.depth * 4;
    for (int b = 0; b < v.numBScans; ++b) {
        const std::size_t at = 2048 + 16 + b * block;
        std::copy(real.begin() + static_cast<std::ptrdiff_t>(firstScan),
                  real.begin() + static_cast<std::ptrdiff_t>(firstScan + 24),
                  shrunk.begin() + static_cast<std::ptrdiff_t>(at));
    }
    seed("read_vol", "shared-sample-headers", withOptions(0, 0, 0, 0, 0, shrunk));
}

// The volume as DICOM in every transfer syntax the test helpers write: 8-bit samples in each, and 12 bits
// stored in 16 (the samples times 16 plus a ripple, so that the low bits vary) in the syntaxes that take them.
// A syntax this DCMTK cannot encode is left out with a note.
void dicomSeeds(const Volume& v) {
    struct Encoding {
        const char* name;
        E_TransferSyntax syntax;
        bool wide;
    } const encodings[] = {
        {"implicit", EXS_LittleEndianImplicit, false},
        {"explicit", EXS_LittleEndianExplicit, false},
        {"big-endian", EXS_BigEndianExplicit, false},
        {"deflated", EXS_DeflatedLittleEndianExplicit, false},
        {"rle", EXS_RLELossless, false},
        {"jpeg-baseline", EXS_JPEGProcess1, false},
        {"jpeg-lossless", EXS_JPEGProcess14, false},
        {"jpeg-lossless-sv1", EXS_JPEGProcess14SV1, false},
        {"jpeg-ls", EXS_JPEGLSLossless, false},
        {"jpeg-ls-near", EXS_JPEGLSLossy, false},
        {"wide-explicit", EXS_LittleEndianExplicit, true},
        {"wide-rle", EXS_RLELossless, true},
        {"wide-jpeg-extended", EXS_JPEGProcess2_4, true},
        {"wide-jpeg-lossless", EXS_JPEGProcess14, true},
        {"wide-jpeg-lossless-sv1", EXS_JPEGProcess14SV1, true},
        {"wide-jpeg-ls", EXS_JPEGLSLossless, true},
    };
    std::vector<std::uint16_t> wide(v.samples.size());
    for (std::size_t i = 0; i < wide.size(); ++i) wide[i] = static_cast<std::uint16_t>(v.samples[i] * 16 + i % 16);
    const fs::path scratch = outDir / "scratch.dcm";
    for (const Encoding& e : encodings) {
        try {
            const auto image = e.wide ? dicom_test::volumeImage(v.numBScans, v.numAScans, v.depth, wide, 16, 12)
                                      : dicom_test::volumeImage(v.numBScans, v.numAScans, v.depth, v.samples);
            dicom_test::save(*image, scratch.string(), e.syntax);
            seed("read_dicom", e.name, withOptions(e.wide ? 1 : 0, 0, 0, 0, 0, fileBytes(scratch)));
        } catch (const std::runtime_error& error) {
            std::fprintf(stderr, "fuzz_seeds: no %s seed: %s\n", e.name, error.what());
        }
    }
}

void entrySeeds() {
    struct Case {
        const char* name;
        std::uint8_t nb, na, nd, factor;
        float gapScale;
        std::uint8_t smoothing;  ///< in the target's coding: level byte % 8 - 2 below 240
        std::uint8_t layered;
    } const cases[] = {
        {"layered-24x64", 2, 23, 63, 1, 100.0f, 2, 1},
        {"layered-resampled", 0, 15, 31, 2, 40.0f, 3, 1},
        {"few-bscans", 2, 16, 32, 1, 100.0f, 2, 1},
        {"noise", 1, 20, 47, 1, -3.0f, 7, 0},
        {"smoothing-beyond-limit", 2, 23, 63, 1, 100.0f, 240, 1},
    };
    for (const Case& c : cases) {
        Bytes bytes = {c.nb, c.na, c.nd, c.factor};
        const float width = 20.0f, aux = 0.0f;
        for (const float f : {c.gapScale, width, aux}) {
            std::uint8_t b[4];
            std::memcpy(b, &f, 4);
            bytes.insert(bytes.end(), b, b + 4);
        }
        bytes.push_back(c.smoothing);
        // Two threads and refined boundaries, at the device's usual spacing (the target's list: 2, 4, 5).
        bytes.insert(bytes.end(), {1, 2, 4, 5});
        bytes.insert(bytes.end(), {c.layered, 12, 4, 40});
        for (int k = 0; k < 64; ++k) bytes.push_back(static_cast<std::uint8_t>(k * 37));
        seed("entry", c.name, bytes);
        // The same case with a last byte that makes the target's hash run the engine on it.
        bytes.push_back(0);
        while (!velin_fuzz::entryRunsEngine(bytes.data(), bytes.size())) ++bytes.back();
        seed("entry", std::string(c.name) + "-engine", bytes);
    }
}

void optionSeeds() {
    struct Case {
        const char* name;
        double depth, aScan, bScan;
        std::uint8_t nb, na, kind;
        std::vector<std::string> words;
    } const cases[] = {
        {"macula-file-spacing", 1.953, 11.72, 46.88, 15, 31, 1, {"--grid", "auto"}},
        {"disc-circle-os", 3.87, 15.6, 0.0, 15, 31, 2 | 4, {"--grid", "circle", "--eye", "os"}},
        {"spacing-option",
         0.0,
         0.0,
         0.0,
         9,
         20,
         0,
         {"--spacing-um", "7.8125,0.5,10000", "--grid", "etdrs", "--smoothing", "1000", "--axial-factor", "3"}},
        {"every-option",
         2.0,
         0.1,
         10000.0,
         15,
         31,
         1,
         {"--shape", "12x32x64", "--layout",    "bda", "--flip",           "AD",
          "--scale", "minmax",   "--gap-scale", "-3",  "--width-selector", "25",
          "--aux",   "0.5",      "--smoothing", "-2",  "--axial-factor",   "auto",
          "-j",      "2"}},
    };
    for (const Case& c : cases) {
        Bytes bytes;
        for (const double d : {c.depth, c.aScan, c.bScan}) {
            std::uint8_t b[8];
            std::memcpy(b, &d, 8);
            bytes.insert(bytes.end(), b, b + 8);
        }
        bytes.insert(bytes.end(), {c.nb, c.na, c.kind, 0x21});
        for (const std::string& word : c.words) {
            bytes.insert(bytes.end(), word.begin(), word.end());
            bytes.push_back(0);
        }
        seed("options", c.name, bytes);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: fuzz_seeds OUTDIR [SHARED_SAMPLE.vol]\n");
        return 2;
    }
    outDir = argv[1];
    fs::create_directories(outDir);
    const Volume macula = phantom(3, 8, 64, "macula");
    npySeeds(macula);
    rawAndImgSeeds(macula);
    tiffSeeds(phantom(2, 12, 64, "disc"));
    volSeeds(phantom(2, 8, 64, "macula"), argc > 2 ? argv[2] : "");
    dicomSeeds(phantom(3, 16, 64, "macula"));
    entrySeeds();
    optionSeeds();
    fs::remove(outDir / "scratch.npy");
    fs::remove(outDir / "scratch.tif");
    fs::remove(outDir / "scratch.dcm");
    return 0;
}
