#pragma once

// DICOM files the readers' and the program's tests and the fuzzing seeds make themselves, written with DCMTK:
// multi-frame grey images whose frames are the B-scans of a volume, in any transfer syntax DCMTK can encode,
// and encapsulated pixel data of any fragments for syntaxes it cannot. A file that cannot be made throws
// std::runtime_error, which fails a test as an assertion would.

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcmetinf.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmdata/dcuid.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpeg/djrplol.h>
#include <dcmtk/dcmjpeg/djrploss.h>
#include <dcmtk/dcmjpls/djencode.h>
#include <dcmtk/dcmjpls/djrparam.h>
#include <dcmtk/oflog/oflog.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace dicom_test {

using Fragments = std::vector<std::vector<std::uint8_t>>;

inline void registerEncoders() {
    static std::once_flag once;
    std::call_once(once, [] {
        // The encoders' notes (e.g. on modality transforms) are no news to a test.
        OFLog::configure(OFLogger::WARN_LOG_LEVEL);
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs();
        DcmRLEEncoderRegistration::registerCodecs();
        std::atexit([] {
            DJEncoderRegistration::cleanup();
            DJLSEncoderRegistration::cleanup();
            DcmRLEEncoderRegistration::cleanup();
        });
    });
}

/// An ophthalmic tomography image of nb frames, each nd rows (depth) by na columns (A-scans), whose sample
/// (b, a, d) is values[(b * na + a) * nd + d], the library's layout; bits 8 or 16 (then `stored` bits used).
inline std::unique_ptr<DcmFileFormat> volumeImage(int nb, int na, int nd, const std::vector<std::uint16_t>& values,
                                                  int bits = 8, int stored = 0, bool isSigned = false) {
    auto file = std::make_unique<DcmFileFormat>();
    DcmDataset& ds = *file->getDataset();
    ds.putAndInsertString(DCM_SOPClassUID, UID_OphthalmicTomographyImageStorage);
    ds.putAndInsertString(DCM_SOPInstanceUID, "1.2.826.0.1.3680043.2.1125.1.1");
    ds.putAndInsertUint16(DCM_Rows, static_cast<Uint16>(nd));
    ds.putAndInsertUint16(DCM_Columns, static_cast<Uint16>(na));
    ds.putAndInsertString(DCM_NumberOfFrames, std::to_string(nb).c_str());
    ds.putAndInsertUint16(DCM_SamplesPerPixel, 1);
    ds.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
    ds.putAndInsertUint16(DCM_BitsAllocated, static_cast<Uint16>(bits));
    ds.putAndInsertUint16(DCM_BitsStored, static_cast<Uint16>(stored ? stored : bits));
    ds.putAndInsertUint16(DCM_HighBit, static_cast<Uint16>((stored ? stored : bits) - 1));
    ds.putAndInsertUint16(DCM_PixelRepresentation, isSigned ? 1 : 0);
    // Frames store depth rows of A-scan samples.
    std::vector<std::uint16_t> frames(values.size());
    for (int b = 0; b < nb; ++b)
        for (int a = 0; a < na; ++a)
            for (int d = 0; d < nd; ++d) frames[(b * nd + d) * na + a] = values[(b * na + a) * nd + d];
    if (bits == 8) {
        const std::vector<Uint8> bytes(frames.begin(), frames.end());
        ds.putAndInsertUint8Array(DCM_PixelData, bytes.data(), bytes.size());
    } else {
        ds.putAndInsertUint16Array(DCM_PixelData, frames.data(), frames.size());
    }
    return file;
}

inline std::unique_ptr<DcmFileFormat> volumeImage(int nb, int na, int nd, const std::vector<std::uint8_t>& samples) {
    return volumeImage(nb, na, nd, std::vector<std::uint16_t>(samples.begin(), samples.end()));
}

/// Re-encodes the pixel data in `syntax` (lossy JPEG at quality 90, JPEG-LS near-lossless with an error of at
/// most 2) and writes the file; throws when DCMTK cannot.
inline void save(DcmFileFormat& file, const std::string& path, E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
    registerEncoders();
    const DJ_RPLossless lossless;
    const DJ_RPLossy lossy(90);
    const DJLSRepresentationParameter nearLossless(2, OFFalse);
    const DcmRepresentationParameter* parameter = nullptr;
    if (syntax == EXS_JPEGProcess14 || syntax == EXS_JPEGProcess14SV1) parameter = &lossless;
    if (syntax == EXS_JPEGProcess1 || syntax == EXS_JPEGProcess2_4) parameter = &lossy;
    if (syntax == EXS_JPEGLSLossy) parameter = &nearLossless;
    const OFCondition encoded = file.getDataset()->chooseRepresentation(syntax, parameter);
    if (encoded.bad()) throw std::runtime_error(std::string(DcmXfer(syntax).getXferName()) + ": " + encoded.text());
    const OFCondition saved = file.saveFile(path.c_str(), syntax);
    if (saved.bad()) throw std::runtime_error(path + ": " + saved.text());
}

/// The encapsulated fragments of the file's pixel data after the offset table: one per frame as DCMTK's
/// encoders write them.
inline Fragments fragmentsOf(DcmFileFormat& file, E_TransferSyntax syntax) {
    DcmElement* element = nullptr;
    file.getDataset()->findAndGetElement(DCM_PixelData, element);
    DcmPixelSequence* sequence = nullptr;
    static_cast<DcmPixelData*>(element)->getEncapsulatedRepresentation(syntax, nullptr, sequence);
    Fragments fragments;
    for (unsigned long i = 1; sequence && i < sequence->card(); ++i) {
        DcmPixelItem* item = nullptr;
        Uint8* bytes = nullptr;
        sequence->getItem(item, i);
        item->getUint8Array(bytes);
        fragments.emplace_back(bytes, bytes + item->getLength());
    }
    return fragments;
}

/// Replaces the pixel data by the fragments, encapsulated for `syntax`, and writes the file with `syntaxUid`
/// in its meta header (the syntax's own UID when empty), so that syntaxes no encoder here writes can be made.
inline void saveEncapsulated(DcmFileFormat& file, const std::string& path, E_TransferSyntax syntax,
                             const Fragments& fragments, const std::string& syntaxUid = "") {
    DcmDataset& ds = *file.getDataset();
    delete ds.remove(DCM_PixelData);
    auto* sequence = new DcmPixelSequence(DcmTag(DCM_PixelData, EVR_OB));
    sequence->insert(new DcmPixelItem(DcmTag(DCM_Item, EVR_OB)));  // an empty offset table
    for (const std::vector<std::uint8_t>& fragment : fragments) {
        auto* item = new DcmPixelItem(DcmTag(DCM_Item, EVR_OB));
        item->putUint8Array(fragment.data(), static_cast<unsigned long>(fragment.size()));
        sequence->insert(item);
    }
    auto* pixels = new DcmPixelData(DCM_PixelData);
    pixels->putOriginalRepresentation(syntax, nullptr, sequence);
    ds.insert(pixels, true);
    if (file.saveFile(path.c_str(), syntax).bad()) throw std::runtime_error(path + ": cannot be written");
    if (syntaxUid.empty()) return;
    file.getMetaInfo()->putAndInsertString(DCM_TransferSyntaxUID, syntaxUid.c_str());
    if (file.saveFile(path.c_str(), syntax, EET_UndefinedLength, EGL_recalcGL, EPD_noChange, 0, 0, EWM_dontUpdateMeta)
            .bad())
        throw std::runtime_error(path + ": cannot be written with syntax " + syntaxUid);
}

/// Sets the attribute in the first item of the functional group `macro` within the first item of `groups`
/// (the shared or the per-frame functional groups), creating both when missing.
inline void putInGroup(DcmFileFormat& file, const DcmTagKey& groups, const DcmTagKey& macro, const DcmTagKey& tag,
                       const std::string& value) {
    DcmItem* frameGroups = nullptr;
    DcmItem* item = nullptr;
    file.getDataset()->findOrCreateSequenceItem(groups, frameGroups, 0);
    frameGroups->findOrCreateSequenceItem(macro, item, 0);
    item->putAndInsertString(tag, value.c_str());
}

}  // namespace dicom_test
