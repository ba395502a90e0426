#pragma once

// Scratch folders and byte-level file helpers for the readers' and writers' tests.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace io_test {

/// A fresh folder under the system's temporary directory, removed with everything in it at scope exit.
class ScratchDir {
public:
    ScratchDir() {
        std::random_device device;
        path_ = std::filesystem::temp_directory_path() / ("velin-io-test-" + std::to_string(device()) + "-" +
                                                          std::to_string(device()));
        std::filesystem::create_directories(path_);
    }
    ~ScratchDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string file(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

inline void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<std::uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// A volume in the library's layout whose every sample differs from its neighbours along each axis, so that
/// a transposition or flip in the wrong place changes the comparison.
inline std::vector<std::uint8_t> patternedSamples(int numBScans, int numAScans, int depth) {
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(numBScans) * numAScans * depth);
    for (int b = 0; b < numBScans; ++b)
        for (int a = 0; a < numAScans; ++a)
            for (int d = 0; d < depth; ++d)
                samples[(static_cast<std::size_t>(b) * numAScans + a) * depth + d] =
                    static_cast<std::uint8_t>(b * 101 + a * 7 + d * 3 + (a * d) % 5);
    return samples;
}

}  // namespace io_test
