#pragma once

// Volume files built here for the readers' tests, the program's tests and the fuzzing seeds: TIFF stacks
// through libtiff and .vol exports byte by byte, from volumes in the library's layout.

#include <Velin/Io/VolumeFile.h>

#include <cstdint>
#include <string>
#include <vector>

namespace velin_test {

struct TiffLayout {
    std::uint16_t compression = 5;  ///< a libtiff COMPRESSION_* value; 5 is LZW
    std::uint32_t rowsPerStrip = 3;
    bool minIsWhite = false;  ///< store inverted samples and say so
    int lastPageDepth = -1;   ///< rows of the last page when positive (a ragged stack)
};

/// Writes a multi-page 8-bit TIFF: page b holds B-scan b with rows = depth, columns = A-scans. Returns false
/// when libtiff cannot write the file.
bool writeTiffStack(const std::string& path, const velin::io::Volume& volume, const TiffLayout& layout = {});

struct VolHeader {
    double scaleXMm = 0.0118206;   ///< between A-scans
    double distanceMm = 0.125;     ///< between B-scans
    double scaleZMm = 0.00387167;  ///< along depth
    std::string eye = "OD";
    std::int32_t scanPattern = 3;  ///< a volume scan: B-scans are placed by their start point's y
    std::uint32_t sloWidth = 8, sloHeight = 6;
    std::uint32_t bScanHeaderBytes = 300;
};

/// A .vol export of the volume: each sample s stored as the float (s / 255)^4, which the reader's fourth-root
/// rule turns back into s; B-scans stored inferior first (descending start y), as the devices store them.
std::vector<std::uint8_t> volBytes(const velin::io::Volume& volume, const VolHeader& header = {});

}  // namespace velin_test
