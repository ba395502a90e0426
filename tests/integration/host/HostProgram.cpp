// A host as a customer builds it: the one public header, linked against the shared library only.
#include <Velin/VelinLayerSegment.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main() {
    constexpr int kBScans = 10, kAScans = 64, kDepth = 128;
    constexpr short kUntouched = 1234;
    std::vector<unsigned char> volume(static_cast<std::size_t>(kBScans) * kAScans * kDepth, 0);
    std::vector<short> plane1(kBScans * kAScans, kUntouched), plane2(plane1), plane3(plane1), plane4(plane1);
    CVelinLayerSegment segmenter, other;
    other = segmenter;
    // Nine B-scans are too few; a dark volume has no tissue. Neither writes a plane.
    segmenter.VelinLayerSegment(volume.data(), 9, kAScans, kDepth, plane1.data(), plane2.data(), plane3.data(),
                                plane4.data(), 100.0f, 0.0f, 0.0f, 0);
    other.VelinLayerSegment(volume.data(), kBScans, kAScans, kDepth, plane1.data(), plane2.data(), plane3.data(),
                            plane4.data(), 100.0f, 0.0f, 0.0f, 0);
    bool passed = true;
    for (const auto* plane : {&plane1, &plane2, &plane3, &plane4})
        passed = passed && std::count(plane->begin(), plane->end(), kUntouched) == kBScans * kAScans;
    std::printf("host program: %s\n", passed ? "planes untouched as expected" : "FAILED: planes were written");
    return passed ? 0 : 1;
}
