#pragma once

// The headers of a JPEG stream in a DICOM frame, checked before DCMTK's JPEG decoders see it. Those decoders
// (IJG code, in three variants for 8, 12 and 16 bits) trust what a stream's headers declare; damaged lossless
// streams have crashed them (docs/file-formats.md, "DICOM"). A stream passes when its frame header matches the
// DICOM attributes and the transfer syntax, and its Huffman tables and scan header stay within what the
// syntax allows; anything else is refused with words naming what is wrong.

#include <cstddef>
#include <cstdint>
#include <string>

namespace velin {
namespace io {

/// The JPEG processes of the DICOM transfer syntaxes DCMTK decodes with its IJG code.
enum class JpegProcess {
    Baseline,           ///< 1.2.840.10008.1.2.4.50: SOF0, 8 bits
    Extended,           ///< 1.2.840.10008.1.2.4.51: SOF0 or SOF1, 8 or 12 bits
    Lossless,           ///< 1.2.840.10008.1.2.4.57: SOF3, 2 to 16 bits, predictors 1 to 7
    LosslessFirstOrder  ///< 1.2.840.10008.1.2.4.70: as Lossless, predictor 1 only
};

/// What the frame must be, from the DICOM attributes.
struct JpegExpectation {
    JpegProcess process = JpegProcess::Baseline;
    int rows = 0, columns = 0;
    int bitsAllocated = 8;
};

/// Empty when the stream's headers, from its start of image to its first scan header, are sound for
/// `expected`; otherwise what is wrong, e.g. "lossless Huffman table 0 holds difference category 200
/// (at most 16)". Only the headers are read; the entropy-coded data is left to the decoder.
std::string jpegStreamProblem(const std::uint8_t* data, std::size_t size, const JpegExpectation& expected);

}  // namespace io
}  // namespace velin
