#include <Velin/Io/DicomMetadata.h>
#include <Velin/Io/FloatScaling.h>
#include <Velin/Io/Jpeg2000Decoder.h>
#include <Velin/Io/JpegStreamCheck.h>
#include <Velin/Io/ReaderSupport.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dccodec.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcdict.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcmetinf.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmdata/dcxfer.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/dcmjpls/djdecode.h>
#include <dcmtk/oflog/oflog.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>

namespace velin {
namespace io {
namespace detail {

namespace {

// No codec packs samples tighter than this; a header claiming more samples per byte of the file is damaged
// and is refused before memory is reserved for the claim.
constexpr std::uint64_t kMaxSamplesPerFileByte = 4096;
// A DICOM file starts with a 128-byte preamble and the letters "DICM".
constexpr std::size_t kPreambleSize = 128;

void prepareDcmtk() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Problems reach the user as this reader's one-line errors, not as DCMTK's log lines.
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        DJDecoderRegistration::registerCodecs();
        DJLSDecoderRegistration::registerCodecs();
        DcmRLEDecoderRegistration::registerCodecs();
        // DCMTK's list of codecs is a static that forgets its entries at exit; taking them out first frees them.
        std::atexit([] {
            DJDecoderRegistration::cleanup();
            DJLSDecoderRegistration::cleanup();
            DcmRLEDecoderRegistration::cleanup();
        });
    });
    Jpeg2000Decoder::registerOnce();
}

std::string text(DcmItem& item, const DcmTagKey& tag) {
    OFString value;
    return item.findAndGetOFString(tag, value).good() ? std::string(value.c_str()) : std::string();
}

// What the pixel module says about the frames.
struct Frames {
    Uint16 rows = 0, columns = 0, samplesPerPixel = 0;
    Uint16 bitsAllocated = 0, bitsStored = 0, highBit = 0, pixelRepresentation = 0;
    Sint32 count = 1;  // Number of Frames; a file without it holds one
    std::string photometric;
};

Uint16 requiredUint16(const std::string& path, DcmItem& dataset, const DcmTagKey& tag, const char* name) {
    Uint16 value = 0;
    if (dataset.findAndGetUint16(tag, value).bad()) fail(path, std::string("not an image: ") + name + " is missing");
    return value;
}

Frames readFrames(const std::string& path, DcmItem& dataset) {
    Frames f;
    f.rows = requiredUint16(path, dataset, DCM_Rows, "Rows");
    f.columns = requiredUint16(path, dataset, DCM_Columns, "Columns");
    f.samplesPerPixel = requiredUint16(path, dataset, DCM_SamplesPerPixel, "Samples per Pixel");
    f.bitsAllocated = requiredUint16(path, dataset, DCM_BitsAllocated, "Bits Allocated");
    f.bitsStored = requiredUint16(path, dataset, DCM_BitsStored, "Bits Stored");
    f.highBit = requiredUint16(path, dataset, DCM_HighBit, "High Bit");
    f.pixelRepresentation = requiredUint16(path, dataset, DCM_PixelRepresentation, "Pixel Representation");
    f.photometric = text(dataset, DCM_PhotometricInterpretation);
    if (!text(dataset, DCM_NumberOfFrames).empty() && dataset.findAndGetSint32(DCM_NumberOfFrames, f.count).bad()) {
        fail(path, "Number of Frames '" + text(dataset, DCM_NumberOfFrames) + "' is not a number");
    }

    if (f.samplesPerPixel != 1 || (f.photometric != "MONOCHROME1" && f.photometric != "MONOCHROME2")) {
        fail(path, "colour image (" + f.photometric + ", " + std::to_string(f.samplesPerPixel) +
                       " samples per pixel): expected grey frames, MONOCHROME1 or MONOCHROME2");
    }
    if (f.count < 2) {
        fail(path, "found " + (f.count == 1 ? std::string("a single frame") : std::to_string(f.count) + " frames") +
                       ": expected a multi-frame volume, one B-scan per frame");
    }
    if (f.bitsAllocated != 8 && f.bitsAllocated != 16) {
        fail(path, "expected 8- or 16-bit samples, found " + std::to_string(f.bitsAllocated) + " bits allocated");
    }
    if (f.bitsStored == 0 || f.bitsStored > f.bitsAllocated || f.highBit != f.bitsStored - 1) {
        fail(path, "Bits Stored " + std::to_string(f.bitsStored) + " with High Bit " + std::to_string(f.highBit) +
                       ": expected 1 to " + std::to_string(f.bitsAllocated) + " bits at the bottom of each sample");
    }
    checkShape(path, static_cast<std::uint64_t>(f.count), f.columns, f.rows);
    return f;
}

// How decoded samples become 8 bits. Unsigned 8-bit samples are taken as they are; wider or signed ones go
// through the user's scale rule, else through the file's display window.
struct ByteMapping {
    bool direct = true;
    DicomRescale rescale;
    std::optional<DicomWindow> window;  // used when the user gave no scale rule
    bool invert = false;                // MONOCHROME1: the smallest value shows white
};

ByteMapping chooseMapping(const std::string& path, DcmItem& dataset, const Frames& f, const ReadOptions& options) {
    ByteMapping m;
    m.invert = f.photometric == "MONOCHROME1";
    m.direct = f.bitsAllocated == 8 && f.pixelRepresentation == 0;
    if (m.direct) return m;
    m.rescale = readDicomRescale(path, dataset);
    if (options.scale != ScaleRule::None) return m;
    m.window = readDicomWindow(path, dataset);
    if (!m.window) {
        fail(path, "found " + std::to_string(f.bitsStored) + "-bit " + (f.pixelRepresentation ? "signed" : "unsigned") +
                       " samples and no display window: expected a scale rule to 8 bits "
                       "(--scale minmax|clip255|fourthroot)");
    }
    return m;
}

// The stored sample i of a decoded frame, in local byte order, as its value after the rescale.
double sampleValue(const std::uint8_t* frame, std::size_t i, const Frames& f, const DicomRescale& rescale) {
    std::uint32_t raw = frame[i];
    if (f.bitsAllocated == 16) {
        std::uint16_t word;
        std::memcpy(&word, frame + 2 * i, sizeof word);
        raw = word;
    }
    // Bits above the stored ones may carry other data (overlays in old files).
    raw &= (1u << f.bitsStored) - 1u;
    const std::uint32_t sign = 1u << (f.bitsStored - 1);
    const double stored =
        (f.pixelRepresentation == 1 && (raw & sign)) ? static_cast<double>(raw) - 2.0 * sign : static_cast<double>(raw);
    return stored * rescale.slope + rescale.intercept;
}

std::string syntaxName(const std::string& uid, const DcmXfer& xfer) {
    const std::string id = uid.empty() ? std::string(xfer.getXferID()) : uid;
    return xfer.getXfer() == EXS_Unknown ? id : std::string(xfer.getXferName()) + " (" + id + ")";
}

// The JPEG process DCMTK's IJG decoders would run on the syntax; none for any other syntax.
bool ijgProcess(E_TransferSyntax syntax, JpegProcess& process) {
    switch (syntax) {
        case EXS_JPEGProcess1:
            process = JpegProcess::Baseline;
            return true;
        case EXS_JPEGProcess2_4:
            process = JpegProcess::Extended;
            return true;
        case EXS_JPEGProcess14:
            process = JpegProcess::Lossless;
            return true;
        case EXS_JPEGProcess14SV1:
            process = JpegProcess::LosslessFirstOrder;
            return true;
        default:
            return false;
    }
}

// DCMTK's IJG decoders trust the headers of a JPEG stream, and damaged lossless streams have crashed them:
// every stream (a fragment that starts one) is checked first (JpegStreamCheck.h), and every fragment for the
// one marker that hangs DCMTK's own scan of it.
void checkJpegStreams(const std::string& path, DcmElement& pixels, E_TransferSyntax syntax, const Frames& f) {
    JpegExpectation expected;
    if (!ijgProcess(syntax, expected.process)) return;
    expected.rows = f.rows, expected.columns = f.columns, expected.bitsAllocated = f.bitsAllocated;
    DcmPixelSequence* sequence = nullptr;
    if (static_cast<DcmPixelData&>(pixels).getEncapsulatedRepresentation(syntax, nullptr, sequence).bad() ||
        sequence == nullptr) {
        fail(path, "the JPEG pixel data is not encapsulated");
    }
    // Item 0 is the offset table.
    for (unsigned long i = 1; i < sequence->card(); ++i) {
        DcmPixelItem* item = nullptr;
        Uint8* bytes = nullptr;
        if (sequence->getItem(item, i).bad() || item->getUint8Array(bytes).bad()) {
            fail(path, "fragment " + std::to_string(i) + " of the pixel data cannot be read");
        }
        const std::size_t length = item->getLength();
        // DCMTK looks for the stream's bit depth by walking its markers, and a TEM marker (FF01) anywhere in a
        // fragment sends that walk into an endless loop. No stream of these syntaxes holds one: entropy-coded
        // data escapes FF as FF00, and TEM belongs to arithmetic coding, which they exclude.
        for (std::size_t k = 0; bytes != nullptr && k + 1 < length; ++k)
            if (bytes[k] == 0xFF && bytes[k + 1] == 0x01)
                fail(path, "fragment " + std::to_string(i) + ": a TEM marker (FF01) at byte " + std::to_string(k) +
                               ", which no JPEG stream of this transfer syntax holds");
        if (bytes == nullptr || length < 2 || bytes[0] != 0xFF || bytes[1] != 0xD8) continue;
        const std::string problem = jpegStreamProblem(bytes, length, expected);
        if (!problem.empty()) fail(path, "fragment " + std::to_string(i) + ": " + problem);
    }
}

}  // namespace

bool hasDicomPreamble(const std::string& path) {
    std::ifstream in(std::filesystem::u8path(path), std::ios::binary);
    char head[kPreambleSize + 4];
    return in.read(head, sizeof head) && std::memcmp(head + kPreambleSize, "DICM", 4) == 0;
}

Volume readDicom(const std::string& path, const ReadOptions& options) {
    const std::uint64_t size = fileSize(path);
    prepareDcmtk();
    if (!dcmDataDict.isDictionaryLoaded()) {
        fail(path, "DCMTK's data dictionary is not installed (Debian package libdcmtk17; run scripts/install-deps.sh)");
    }
    const bool preamble = hasDicomPreamble(path);
    const std::string notDicom = "not a DICOM file: expected 'DICM' after a 128-byte preamble";
    DcmFileFormat file;
    // Values longer than DCMTK's default read length (the pixel data) stay in the file until they are decoded.
    const OFCondition loaded = file.loadFile(OFFilename(path.c_str()));
    if (loaded.bad()) {
        fail(path, preamble ? "damaged or truncated DICOM file (" + std::to_string(size) + " bytes): " + loaded.text()
                            : notDicom);
    }
    DcmDataset& dataset = *file.getDataset();
    DcmElement* pixels = nullptr;
    if (dataset.findAndGetElement(DCM_PixelData, pixels).bad()) {
        if (!preamble) fail(path, notDicom);
        const std::string sopClass = text(dataset, DCM_SOPClassUID);
        fail(path, "not an image: the DICOM file holds no pixel data (SOP class " +
                       (sopClass.empty() ? std::string("not given") : sopClass) + ")");
    }
    const Frames f = readFrames(path, dataset);

    // A syntax DCMTK does not know is read as if it were another, so its UID in the meta header decides.
    const std::string syntaxUid = text(*file.getMetaInfo(), DCM_TransferSyntaxUID);
    const bool unknownSyntax = !syntaxUid.empty() && DcmXfer(syntaxUid.c_str()).getXfer() == EXS_Unknown;
    const E_TransferSyntax syntax = unknownSyntax ? EXS_Unknown : dataset.getOriginalXfer();
    const DcmXfer xfer(syntax);
    if (syntax == EXS_Unknown ||
        (xfer.isEncapsulated() && !DcmCodecList::canChangeCoding(syntax, EXS_LittleEndianExplicit))) {
        fail(path, "transfer syntax " + syntaxName(syntaxUid, xfer) +
                       " cannot be decoded: expected uncompressed, RLE, JPEG (baseline, extended or lossless), "
                       "JPEG-LS or JPEG 2000 pixel data");
    }
    const std::size_t nb = static_cast<std::size_t>(f.count), na = f.columns, nd = f.rows;
    const std::size_t frameSamples = na * nd;
    const std::size_t frameBytes = frameSamples * (f.bitsAllocated / 8);
    if (xfer.isEncapsulated()) {
        if (nb * frameSamples > kMaxSamplesPerFileByte * size) {
            fail(path, "expected at most " + std::to_string(kMaxSamplesPerFileByte) + " samples per file byte, found " +
                           std::to_string(nb * frameSamples) + " samples in " + std::to_string(size) + " bytes");
        }
    } else if (pixels->getLength() < nb * frameBytes) {
        fail(path, "truncated pixel data: expected " + std::to_string(nb * frameBytes) + " bytes for " +
                       std::to_string(nb) + " frames of " + std::to_string(nd) + "x" + std::to_string(na) +
                       " (rows x columns), found " + std::to_string(pixels->getLength()));
    }
    checkJpegStreams(path, *pixels, syntax, f);
    const ByteMapping mapping = chooseMapping(path, dataset, f, options);

    Volume volume;
    volume.numBScans = f.count;
    volume.numAScans = f.columns;
    volume.depth = f.rows;
    readDicomMetadata(path, dataset, volume);
    volume.samples.resize(nb * frameSamples);
    // Values for a scale rule, which needs them all at once (minmax looks at the whole volume).
    std::vector<float> values(!mapping.direct && !mapping.window ? volume.samples.size() : 0);
    // DCMTK wants room for the pad byte that makes an odd frame even.
    std::vector<std::uint8_t> frame(frameBytes + 1);
    Uint32 startFragment = 0;
    for (std::size_t b = 0; b < nb; ++b) {
        OFString colourModel;
        const OFCondition decoded =
            pixels->getUncompressedFrame(&dataset, static_cast<Uint32>(b), startFragment, frame.data(),
                                         static_cast<Uint32>(frame.size()), colourModel);
        if (decoded.bad()) {
            fail(path, "frame " + std::to_string(b) + " of " + std::to_string(nb) + " cannot be decoded (" +
                           syntaxName(syntaxUid, xfer) + "): " + decoded.text());
        }
        // A frame is depth rows of A-scan samples; the library wants each A-scan contiguous.
        const std::size_t base = b * frameSamples;
        for (std::size_t d = 0; d < nd; ++d) {
            for (std::size_t a = 0; a < na; ++a) {
                const std::size_t in = d * na + a, out = base + a * nd + d;
                if (mapping.direct) {
                    volume.samples[out] = frame[in];
                } else if (mapping.window) {
                    volume.samples[out] = windowToByte(sampleValue(frame.data(), in, f, mapping.rescale),
                                                       mapping.window->centre, mapping.window->width);
                } else {
                    values[out] = static_cast<float>(sampleValue(frame.data(), in, f, mapping.rescale));
                }
            }
        }
    }
    if (!values.empty()) scaleToBytes(values.data(), values.size(), options.scale, volume.samples.data());
    if (mapping.invert) {
        for (std::uint8_t& s : volume.samples) s = static_cast<std::uint8_t>(255 - s);
    }
    return volume;
}

}  // namespace detail
}  // namespace io
}  // namespace velin
