#include <Velin/Io/Jpeg2000Decoder.h>

#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcerror.h>
#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dcstack.h>
#include <dcmtk/dcmdata/dcvrpobw.h>
#include <dcmtk/dcmdata/dcxfer.h>
#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velin {
namespace io {
namespace detail {

namespace {

OFCondition failure(const std::string& why) {
    return makeOFCondition(OFM_dcmdata, 0x7a1, OF_error, ("JPEG 2000: " + why).c_str());
}

// DCMTK passes this to the codec's calls; the decoder has no settings.
class NoParameters : public DcmCodecParameter {
public:
    DcmCodecParameter* clone() const override { return new NoParameters(); }
    const char* className() const override { return "velin::io::detail::NoParameters"; }
};

// A compressed frame in memory, read by OpenJPEG through these callbacks.
struct Source {
    const std::vector<Uint8>& bytes;
    std::size_t at = 0;
};

OPJ_SIZE_T readSource(void* buffer, OPJ_SIZE_T count, void* user) {
    Source& s = *static_cast<Source*>(user);
    const std::size_t n = std::min<std::size_t>(count, s.bytes.size() - s.at);
    if (n == 0) return static_cast<OPJ_SIZE_T>(-1);
    std::memcpy(buffer, s.bytes.data() + s.at, n);
    s.at += n;
    return n;
}

OPJ_OFF_T skipSource(OPJ_OFF_T count, void* user) {
    Source& s = *static_cast<Source*>(user);
    const std::size_t n =
        std::min<std::size_t>(static_cast<std::size_t>(std::max<OPJ_OFF_T>(count, 0)), s.bytes.size() - s.at);
    s.at += n;
    return static_cast<OPJ_OFF_T>(n);
}

OPJ_BOOL seekSource(OPJ_OFF_T to, void* user) {
    Source& s = *static_cast<Source*>(user);
    if (to < 0 || static_cast<std::size_t>(to) > s.bytes.size()) return OPJ_FALSE;
    s.at = static_cast<std::size_t>(to);
    return OPJ_TRUE;
}

// OpenJPEG's messages would go to the terminal; the first error becomes the frame's error instead.
void keepFirst(const char* message, void* user) {
    std::string& first = *static_cast<std::string*>(user);
    if (first.empty() && message) first.assign(message, std::strlen(message));
    while (!first.empty() && (first.back() == '\n' || first.back() == ' ')) first.pop_back();
}

void ignore(const char*, void*) {}

struct CodecFree {
    void operator()(opj_codec_t* c) const { opj_destroy_codec(c); }
};
struct StreamFree {
    void operator()(opj_stream_t* s) const { opj_stream_destroy(s); }
};
struct ImageFree {
    void operator()(opj_image_t* i) const { opj_image_destroy(i); }
};

struct FrameLayout {
    Uint16 rows = 0, columns = 0, bitsAllocated = 0, samplesPerPixel = 1;
    Sint32 frames = 1;
};

// The fragments of one frame: a frame per fragment when the counts agree, else fragments up to the one that
// ends the codestream (its last bytes are the end-of-codestream marker FF D9).
Uint32 fragmentsOfFrame(DcmPixelSequence& sequence, Uint32 start, Uint32 frameNo, Sint32 frames) {
    const Uint32 remaining = static_cast<Uint32>(sequence.card()) - start;
    const Uint32 framesLeft = static_cast<Uint32>(frames) - frameNo;
    if (frames == 1) return remaining;
    if (remaining == framesLeft) return 1;
    for (Uint32 n = 1; n <= remaining; ++n) {
        DcmPixelItem* item = nullptr;
        Uint8* bytes = nullptr;
        if (sequence.getItem(item, start + n - 1).bad() || item->getUint8Array(bytes).bad()) return n;
        const Uint32 length = item->getLength();
        // Fragments are padded to even length, so the marker may be followed by one zero byte.
        for (Uint32 back = 2; back <= 3 && back <= length; ++back) {
            if (bytes[length - back] == 0xFF && bytes[length - back + 1] == 0xD9) return n;
        }
    }
    return remaining;
}

// Decodes the codestream into `buffer`, checking its size against the layout before anything is allocated
// for it.
OFCondition decodeCodestream(const std::vector<Uint8>& codestream, const FrameLayout& layout, void* buffer) {
    // DICOM wants a bare codestream, but some writers wrap it in a JP2 file; both start distinctly.
    const bool jp2 = codestream.size() > 12 && codestream[3] == 0x0C && codestream[4] == 'j' && codestream[5] == 'P';
    std::unique_ptr<opj_codec_t, CodecFree> codec(opj_create_decompress(jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
    std::string error;
    opj_set_error_handler(codec.get(), keepFirst, &error);
    opj_set_warning_handler(codec.get(), ignore, nullptr);
    opj_set_info_handler(codec.get(), ignore, nullptr);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    // A truncated codestream is an error, not a frame with its last rows or finest details missing.
    if (!opj_setup_decoder(codec.get(), &parameters) || !opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE)) {
        return failure("decoder setup failed");
    }

    Source source{codestream};
    std::unique_ptr<opj_stream_t, StreamFree> stream(opj_stream_create(OPJ_J2K_STREAM_CHUNK_SIZE, OPJ_TRUE));
    opj_stream_set_user_data(stream.get(), &source, nullptr);
    opj_stream_set_user_data_length(stream.get(), codestream.size());
    opj_stream_set_read_function(stream.get(), readSource);
    opj_stream_set_skip_function(stream.get(), skipSource);
    opj_stream_set_seek_function(stream.get(), seekSource);

    opj_image_t* header = nullptr;
    const bool headerRead = opj_read_header(stream.get(), codec.get(), &header);
    std::unique_ptr<opj_image_t, ImageFree> image(header);
    if (!headerRead || !image) return failure(error.empty() ? "unreadable codestream header" : error);
    if (image->numcomps != 1) {
        return failure("found " + std::to_string(image->numcomps) + " components: expected one grey component");
    }
    const opj_image_comp_t& c = image->comps[0];
    const OPJ_UINT32 width = image->x1 - image->x0, height = image->y1 - image->y0;
    if (width != layout.columns || height != layout.rows || c.dx != 1 || c.dy != 1) {
        return failure("frame of " + std::to_string(height) + "x" + std::to_string(width) +
                       " (rows x columns), the header says " + std::to_string(layout.rows) + "x" +
                       std::to_string(layout.columns));
    }
    if (c.prec == 0 || c.prec > layout.bitsAllocated) {
        return failure("samples of " + std::to_string(c.prec) + " bits do not fit " +
                       std::to_string(layout.bitsAllocated) + " bits allocated");
    }
    if (!opj_decode(codec.get(), stream.get(), image.get()) || !opj_end_decompress(codec.get(), stream.get())) {
        return failure(error.empty() ? "damaged codestream" : error);
    }
    const std::size_t n = static_cast<std::size_t>(width) * height;
    const OPJ_INT32* data = image->comps[0].data;
    if (!data) return failure("no samples decoded");
    if (layout.bitsAllocated == 8) {
        Uint8* out = static_cast<Uint8*>(buffer);
        for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<Uint8>(data[i]);
    } else {
        // Signed samples keep their two's complement bits, as uncompressed pixel data stores them.
        for (std::size_t i = 0; i < n; ++i) {
            const Uint16 word = static_cast<Uint16>(data[i]);
            std::memcpy(static_cast<Uint8*>(buffer) + 2 * i, &word, sizeof word);
        }
    }
    return EC_Normal;
}

}  // namespace

void Jpeg2000Decoder::registerOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        static const Jpeg2000Decoder decoder;
        static const NoParameters parameters;
        DcmCodecList::registerCodec(&decoder, nullptr, &parameters);
        // DCMTK's list of codecs is a static that forgets its entries at exit; taking ours out first frees it.
        std::atexit([] { DcmCodecList::deregisterCodec(&decoder); });
    });
}

OFCondition Jpeg2000Decoder::decodeFrame(const DcmRepresentationParameter*, DcmPixelSequence* fromPixSeq,
                                         const DcmCodecParameter*, DcmItem* dataset, Uint32 frameNo,
                                         Uint32& startFragment, void* buffer, Uint32 bufSize,
                                         OFString& decompressedColorModel) const {
    if (!fromPixSeq || !dataset) return EC_IllegalCall;
    FrameLayout layout;
    if (dataset->findAndGetUint16(DCM_Rows, layout.rows).bad() ||
        dataset->findAndGetUint16(DCM_Columns, layout.columns).bad() ||
        dataset->findAndGetUint16(DCM_BitsAllocated, layout.bitsAllocated).bad()) {
        return EC_TagNotFound;
    }
    dataset->findAndGetUint16(DCM_SamplesPerPixel, layout.samplesPerPixel);
    if (dataset->findAndGetSint32(DCM_NumberOfFrames, layout.frames).bad()) layout.frames = 1;
    if (layout.samplesPerPixel != 1 || (layout.bitsAllocated != 8 && layout.bitsAllocated != 16)) {
        return failure("only grey samples of 8 or 16 bits are decoded");
    }
    if (layout.frames < 1 || frameNo >= static_cast<Uint32>(layout.frames)) return EC_IllegalParameter;
    const std::size_t frameBytes = static_cast<std::size_t>(layout.rows) * layout.columns * (layout.bitsAllocated / 8);
    if (bufSize < frameBytes) return EC_IllegalCall;

    if (startFragment == 0) {
        const OFCondition found = determineStartFragment(frameNo, layout.frames, fromPixSeq, startFragment);
        if (found.bad()) return found;
    }
    if (startFragment == 0 || startFragment >= fromPixSeq->card()) return failure("no fragment for this frame");
    const Uint32 count = fragmentsOfFrame(*fromPixSeq, startFragment, frameNo, layout.frames);
    std::vector<Uint8> codestream;
    for (Uint32 i = startFragment; i < startFragment + count; ++i) {
        DcmPixelItem* item = nullptr;
        Uint8* bytes = nullptr;
        if (fromPixSeq->getItem(item, i).bad() || item->getUint8Array(bytes).bad()) return failure("missing fragment");
        if (bytes) codestream.insert(codestream.end(), bytes, bytes + item->getLength());
    }
    const OFCondition decoded = decodeCodestream(codestream, layout, buffer);
    if (decoded.bad()) return decoded;
    startFragment += count;
    return dataset->findAndGetOFString(DCM_PhotometricInterpretation, decompressedColorModel);
}

OFCondition Jpeg2000Decoder::decode(const DcmRepresentationParameter* fromParam, DcmPixelSequence* fromPixSeq,
                                    DcmPolymorphOBOW& uncompressedPixelData, const DcmCodecParameter* codecParam,
                                    const DcmStack& objStack, OFBool& removeOldRep) const {
    // The pixel data's dataset sits below it on the stack.
    DcmStack stack(objStack);
    stack.pop();
    DcmItem* dataset = dynamic_cast<DcmItem*>(stack.top());
    if (!dataset || !fromPixSeq) return EC_IllegalCall;
    Uint16 rows = 0, columns = 0, bitsAllocated = 0;
    Sint32 frames = 1;
    dataset->findAndGetUint16(DCM_Rows, rows);
    dataset->findAndGetUint16(DCM_Columns, columns);
    dataset->findAndGetUint16(DCM_BitsAllocated, bitsAllocated);
    if (dataset->findAndGetSint32(DCM_NumberOfFrames, frames).bad()) frames = 1;
    const std::uint64_t frameBytes = static_cast<std::uint64_t>(rows) * columns * (bitsAllocated / 8);
    const std::uint64_t total = frameBytes * static_cast<std::uint64_t>(std::max<Sint32>(frames, 0));
    if (frameBytes == 0 || total == 0 || total > 0xFFFFFFF0u) return EC_IllegalParameter;

    Uint8* bytes = nullptr;
    Uint16* words = nullptr;
    const OFCondition created = bitsAllocated == 8
                                    ? uncompressedPixelData.createUint8Array(static_cast<Uint32>(total), bytes)
                                    : uncompressedPixelData.createUint16Array(static_cast<Uint32>(total / 2), words);
    if (created.bad()) return created;
    Uint8* out = bitsAllocated == 8 ? bytes : reinterpret_cast<Uint8*>(words);
    Uint32 fragment = 0;
    for (Sint32 f = 0; f < frames; ++f) {
        OFString colourModel;
        const OFCondition frame =
            decodeFrame(fromParam, fromPixSeq, codecParam, dataset, static_cast<Uint32>(f), fragment,
                        out + f * frameBytes, static_cast<Uint32>(frameBytes), colourModel);
        if (frame.bad()) return frame;
    }
    removeOldRep = OFFalse;
    return EC_Normal;
}

OFCondition Jpeg2000Decoder::encode(const Uint16*, const Uint32, const DcmRepresentationParameter*, DcmPixelSequence*&,
                                    const DcmCodecParameter*, DcmStack&, OFBool&) const {
    return EC_IllegalCall;
}

OFCondition Jpeg2000Decoder::encode(const E_TransferSyntax, const DcmRepresentationParameter*, DcmPixelSequence*,
                                    const DcmRepresentationParameter*, DcmPixelSequence*&, const DcmCodecParameter*,
                                    DcmStack&, OFBool&) const {
    return EC_IllegalCall;
}

OFBool Jpeg2000Decoder::canChangeCoding(const E_TransferSyntax oldType, const E_TransferSyntax newType) const {
    const bool fromJpeg2000 = oldType == EXS_JPEG2000LosslessOnly || oldType == EXS_JPEG2000;
    return fromJpeg2000 && !DcmXfer(newType).isEncapsulated();
}

OFCondition Jpeg2000Decoder::determineDecompressedColorModel(const DcmRepresentationParameter*, DcmPixelSequence*,
                                                             const DcmCodecParameter*, DcmItem* dataset,
                                                             OFString& decompressedColorModel) const {
    if (!dataset) return EC_IllegalCall;
    return dataset->findAndGetOFString(DCM_PhotometricInterpretation, decompressedColorModel);
}

}  // namespace detail
}  // namespace io
}  // namespace velin
