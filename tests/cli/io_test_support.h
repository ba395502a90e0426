#pragma once

// Scratch folders, byte-level file helpers and error capture for the readers', writers' and program's tests.

#include <Velin/Io/VolumeFile.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <cmath>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace io_test {

inline void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// The file's bytes; none for a missing file or a folder.
inline std::vector<std::uint8_t> readBytes(const std::string& path) {
    if (!std::filesystem::is_regular_file(path)) return {};
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// A fresh folder under the system's temporary directory, removed with everything in it at scope exit.
class ScratchDir {
public:
    ScratchDir() { std::filesystem::create_directories(path_); }
    ~ScratchDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    /// Writes the bytes as the file `name` in the folder and returns its path.
    std::string write(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
        writeBytes(file(name), bytes);
        return file(name);
    }
    const std::filesystem::path& path() const { return path_; }

private:
    const std::filesystem::path path_ =
        std::filesystem::temp_directory_path() /
        ("velin-io-test-" + std::to_string(std::random_device()()) + "-" + std::to_string(std::random_device()()));
};

/// Passes when `text` contains `part`, and shows the whole text when it does not.
inline ::testing::AssertionResult contains(const std::string& text, const std::string& part) {
    if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\"" << text << "\" lacks \"" << part << "\"";
}

/// The message of the exception of type E that `action` throws, or "" when it throws none.
template <typename E, typename Action>
std::string messageOf(Action action) {
    try {
        action();
    } catch (const E& e) {
        return e.what();
    }
    return "";
}

/// The message of the VolumeFileError thrown by readVolume, or "" when none was thrown.
inline std::string readError(const std::string& path, const velin::io::ReadOptions& options = {}) {
    return messageOf<velin::io::VolumeFileError>([&] { velin::io::readVolume(path, options); });
}

/// A .npy file with the given header dictionary (padded as numpy pads it) and data, for headers numpy itself
/// writes but the library's writer does not (other versions, Fortran order, float data).
inline std::vector<std::uint8_t> npyBytes(const std::string& dict, const std::vector<std::uint8_t>& data,
                                          int major = 1) {
    const std::size_t preamble = major == 1 ? 10 : 12;
    const std::string header = dict + std::string(63 - (preamble + dict.size()) % 64, ' ') + '\n';
    const auto length = static_cast<std::uint8_t>(header.size());  // under 256 for every header used here
    std::vector<std::uint8_t> bytes = {0x93, 'N', 'U', 'M', 'P', 'Y', static_cast<std::uint8_t>(major), 0, length, 0};
    bytes.resize(preamble, 0);  // versions 2 and 3 give the length in 4 bytes
    bytes.insert(bytes.end(), header.begin(), header.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

/// Mean absolute distance of a depth plane to the truth over the positions where both have a boundary
/// (infinite when there are none), and the share of the truth's positions the plane found. Negative values
/// and NaN mean "no boundary", in whole-sample planes and float ones alike.
template <typename Plane, typename Truth>
std::pair<double, double> errorAndFound(const std::vector<Plane>& plane, const std::vector<Truth>& truth) {
    double sum = 0.0, both = 0.0, known = 0.0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const double expected = truth[i], found = plane[i];
        if (!(expected >= 0.0)) continue;
        known += 1.0;
        if (found >= 0.0) sum += std::fabs(found - expected), both += 1.0;
    }
    return {both > 0.0 ? sum / both : std::numeric_limits<double>::infinity(), both / known};
}

/// A volume in the library's layout whose every sample differs from its neighbours along each axis, so that
/// a transposition or flip in the wrong place changes the comparison.
inline std::vector<std::uint8_t> patternedSamples(int numBScans, int numAScans, int depth) {
    std::vector<std::uint8_t> samples;
    for (int b = 0; b < numBScans; ++b)
        for (int a = 0; a < numAScans; ++a)
            for (int d = 0; d < depth; ++d)
                samples.push_back(static_cast<std::uint8_t>(b * 101 + a * 7 + d * 3 + (a * d) % 5));
    return samples;
}

}  // namespace io_test
