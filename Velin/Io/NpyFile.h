#pragma once

// NumPy .npy files: a general reader (used for volumes and by tests of the program's outputs) and writers
// for the arrays the program produces.

#include <Velin/Io/VolumeFile.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velin {
namespace io {

/// Element types the reader accepts.
enum class NpyType { UInt8, Int16, Float32, Float64 };

/// An array as stored in a .npy file. `data` holds the elements little-endian (big-endian files are
/// swapped on reading), in the file's element order (C order unless fortranOrder).
struct NpyArray {
    NpyType type = NpyType::UInt8;
    bool fortranOrder = false;
    std::vector<std::size_t> shape;
    std::vector<std::uint8_t> data;

    std::size_t count() const;
    /// The elements converted to the named type (values of other types are cast).
    std::vector<std::int16_t> toInt16() const;
    std::vector<float> toFloat32() const;
};

/// Reads a .npy file of format version 1, 2 or 3 holding uint8, int16, float32 or float64 elements in
/// either byte order. Truncated, oversized or malformed files give VolumeFileError naming the file, what was
/// expected and what was found. Arrays of more than maxElements elements are refused before their data is read.
NpyArray readNpy(const std::string& path, std::uint64_t maxElements = UINT64_MAX);

/// Writers; each file is written atomically (see writeFileAtomically) and readable by numpy.load as it is.
void writeNpy(const std::string& path, const std::int16_t* data, int rows, int cols);
void writeNpy(const std::string& path, const float* data, int rows, int cols);
void writeNpy(const std::string& path, const std::uint8_t* data, int dim0, int dim1, int dim2);
/// The volume as a uint8 array of shape (numBScans, numAScans, depth).
void writeNpy(const std::string& path, const Volume& volume);

}  // namespace io
}  // namespace velin
