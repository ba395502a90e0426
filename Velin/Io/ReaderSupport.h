#pragma once

// Helpers shared by the volume readers: whole-file reads with size limits, error texts that name the file,
// and the conversions every reader ends with.

#include <Velin/Io/VolumeFile.h>

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace velin {
namespace io {
namespace detail {

/// The largest volume the segmentation call can address: its sizes and their product are 32-bit ints.
constexpr std::uint64_t kMaxSamples = 2147483647u;

/// Throws VolumeFileError with "<path>: <what>".
[[noreturn]] void fail(const std::string& path, const std::string& what);

/// Size of a regular file in bytes; a missing or unreadable path is a VolumeFileError.
std::uint64_t fileSize(const std::string& path);

/// The whole file. Refuses files larger than maxBytes before reading anything, so an oversized input costs
/// no memory.
std::vector<std::uint8_t> readAll(const std::string& path, std::uint64_t maxBytes);

/// Appends the next `count` bytes of the stream to `bytes`; false when the stream ends first (what was read
/// stays appended). The bytes are read in pieces, each right after its part of the vector is made: a fresh
/// vector of the whole size would first be zeroed through memory, which costs as much as the read itself on
/// a volume of tens of megabytes.
bool appendBytes(std::istream& in, std::vector<std::uint8_t>& bytes, std::uint64_t count);

/// Checks that the three sizes are positive and that the volume fits the segmentation call's int sizes.
void checkShape(const std::string& path, std::uint64_t numBScans, std::uint64_t numAScans, std::uint64_t depth);

/// "BxAxD" for messages.
std::string shapeText(std::uint64_t numBScans, std::uint64_t numAScans, std::uint64_t depth);

/// The file name's extension in lower case, with the dot (".npy"); empty when there is none.
std::string lowerExtension(const std::string& path);

/// Little-endian decoding, independent of the host's byte order.
std::uint32_t loadU32(const std::uint8_t* p);
std::uint64_t loadU64(const std::uint8_t* p);
float loadF32(const std::uint8_t* p);
double loadF64(const std::uint8_t* p);

// The format readers. Each returns the volume in the library's layout with whatever metadata its format
// carries; readVolume then applies the shape check and the requested flips.
Volume readRaw(const std::string& path, const ReadOptions& options);
Volume readImg(const std::string& path, const ReadOptions& options);
Volume readNpyVolume(const std::string& path, const ReadOptions& options);
Volume readTiffStack(const std::string& path);
Volume readVol(const std::string& path);
Volume readDicom(const std::string& path, const ReadOptions& options);

/// Whether the file starts as DICOM files do (128 bytes of preamble, then "DICM"), for names without a
/// known extension.
bool hasDicomPreamble(const std::string& path);

}  // namespace detail
}  // namespace io
}  // namespace velin
