// Segments a phantom .npy through the checked C++ entry of an installed Velin, checks the top of the retina
// against the phantom's truth, and writes the two depth planes (int16, upper then lower) for comparison with
// the C entry's.
//   cxx_consumer VOLUME.npy TRUTH_ILM.npy PLANES.raw

#include <Velin/Api/Segment.h>
#include <Velin/velin_c.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Array {
    std::vector<int> shape;
    std::string type;
    std::vector<char> data;
};

// NumPy format 1.0: magic, version, 16-bit header length, a Python dict literal, then the data in C order.
Array readNpy(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 10 || std::string(bytes.data() + 1, 5) != "NUMPY" || bytes[6] != 1)
        throw std::runtime_error(path + ": not a NumPy 1.0 file");
    const std::size_t headerLength = static_cast<unsigned char>(bytes[8]) | static_cast<unsigned char>(bytes[9]) << 8;
    const std::string header(bytes.data() + 10, headerLength);
    const std::size_t type = header.find("'descr': '"), shape = header.find("'shape': (");
    if (type == std::string::npos || shape == std::string::npos)
        throw std::runtime_error(path + ": header without descr or shape");
    Array array{{},
                header.substr(type + 10, header.find('\'', type + 10) - type - 10),
                std::vector<char>(bytes.begin() + 10 + headerLength, bytes.end())};
    std::istringstream sizes(header.substr(shape + 10, header.find(')', shape) - shape - 10));
    for (std::string size; std::getline(sizes, size, ',');)
        if (size.find_first_not_of(' ') != std::string::npos) array.shape.push_back(std::stoi(size));
    return array;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: cxx_consumer VOLUME.npy TRUTH_ILM.npy PLANES.raw\n");
        return 2;
    }
    try {
        const Array volume = readNpy(argv[1]);
        const Array truth = readNpy(argv[2]);
        if (volume.type != "|u1" || volume.shape.size() != 3 || truth.type != "<i2")
            throw std::runtime_error("unexpected phantom files");
        const velin::VolumeView view{reinterpret_cast<const std::uint8_t*>(volume.data.data()), volume.shape[0],
                                     volume.shape[1], volume.shape[2]};
        const velin::Result result = velin::segment(view);
        if (!result.segmented()) throw std::runtime_error("nothing was segmented");

        // Mean absolute error of the top of the retina where both the truth and the result have it. A phantom
        // this small is a coarse scan (the demo's full-size one is found within about half a sample); the
        // bound only tells a segmentation from a library that returns nothing useful.
        const auto* expected = reinterpret_cast<const std::int16_t*>(truth.data.data());
        double errorSum = 0.0;
        std::size_t compared = 0;
        for (std::size_t i = 0; i < result.upperDepth.size(); ++i) {
            if (expected[i] < 0 || result.upperDepth[i] < 0) continue;
            errorSum += std::abs(result.upperDepth[i] - expected[i]);
            ++compared;
        }
        const double meanError = compared ? errorSum / compared : INFINITY;
        const double foundShare = static_cast<double>(compared) / result.upperDepth.size();
        std::printf("cxx_consumer: velin %s, %d/%d B-scans, top of the retina within %.2f samples at %.0f%%\n",
                    velin_version(), result.bscansSegmented, result.numBScans, meanError, 100.0 * foundShare);

        std::ofstream out(argv[3], std::ios::binary);
        for (const auto* plane : {&result.upperDepth, &result.lowerDepth})
            out.write(reinterpret_cast<const char*>(plane->data()), plane->size() * sizeof(std::int16_t));
        return meanError <= 10.0 && foundShare >= 0.8 && out ? 0 : 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "cxx_consumer: %s\n", e.what());
        return 1;
    }
}
