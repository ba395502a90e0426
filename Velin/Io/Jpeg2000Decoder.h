#pragma once

// JPEG 2000 pixel data for DCMTK, decoded by OpenJPEG (Debian libopenjp2-7-dev). DCMTK's own decoders cover
// every other common compression of DICOM pixel data, but OCT exports often use this one.

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dccodec.h>

namespace velin {
namespace io {
namespace detail {

/// Decodes grey frames of the two JPEG 2000 transfer syntaxes (lossless only, and lossless or lossy) into
/// uncompressed samples of the size the dataset gives; a frame of another size or with colour components is an
/// error. It only decodes: DCMTK asks it to encode never, as no caller requests a JPEG 2000 representation.
class Jpeg2000Decoder : public DcmCodec {
public:
    /// Registers one decoder with DCMTK's codec list, once per process.
    static void registerOnce();

    OFCondition decode(const DcmRepresentationParameter* fromParam, DcmPixelSequence* fromPixSeq,
                       DcmPolymorphOBOW& uncompressedPixelData, const DcmCodecParameter* codecParam,
                       const DcmStack& objStack, OFBool& removeOldRep) const override;
    OFCondition decodeFrame(const DcmRepresentationParameter* fromParam, DcmPixelSequence* fromPixSeq,
                            const DcmCodecParameter* codecParam, DcmItem* dataset, Uint32 frameNo,
                            Uint32& startFragment, void* buffer, Uint32 bufSize,
                            OFString& decompressedColorModel) const override;
    OFCondition encode(const Uint16* pixelData, const Uint32 length, const DcmRepresentationParameter* toParam,
                       DcmPixelSequence*& pixSeq, const DcmCodecParameter* codecParam, DcmStack& objStack,
                       OFBool& removeOldRep) const override;
    OFCondition encode(const E_TransferSyntax fromType, const DcmRepresentationParameter* fromParam,
                       DcmPixelSequence* fromPixSeq, const DcmRepresentationParameter* toParam,
                       DcmPixelSequence*& toPixSeq, const DcmCodecParameter* codecParam, DcmStack& objStack,
                       OFBool& removeOldRep) const override;
    OFBool canChangeCoding(const E_TransferSyntax oldType, const E_TransferSyntax newType) const override;
    OFCondition determineDecompressedColorModel(const DcmRepresentationParameter* fromParam,
                                                DcmPixelSequence* fromPixSeq, const DcmCodecParameter* codecParam,
                                                DcmItem* dataset, OFString& decompressedColorModel) const override;
};

}  // namespace detail
}  // namespace io
}  // namespace velin
