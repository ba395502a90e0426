// A host as a customer builds it: the one public header, linked against the shared library only.
#include <Velin/VelinLayerSegment.h>

#include <cstdio>
#include <vector>

namespace {

constexpr short kUntouched = 1234;

int failures = 0;

void expect(bool condition, const char* what) {
    if (!condition) {
        std::printf("FAILED: %s\n", what);
        ++failures;
    }
}

bool allUntouched(const std::vector<short>& plane) {
    for (short value : plane)
        if (value != kUntouched) return false;
    return true;
}

}  // namespace

int main() {
    constexpr int kBScans = 10, kAScans = 64, kDepth = 128;
    std::vector<unsigned char> volume(static_cast<std::size_t>(kBScans) * kAScans * kDepth, 0);
    std::vector<short> plane1(kBScans * kAScans, kUntouched), plane2(plane1), plane3(plane1), plane4(plane1);

    CVelinLayerSegment segmenter;
    CVelinLayerSegment other;
    other = segmenter;

    segmenter.VelinLayerSegment(volume.data(), 9, kAScans, kDepth, plane1.data(), plane2.data(), plane3.data(),
                                plane4.data(), 100.0f, 0.0f, 0.0f, 0);
    expect(allUntouched(plane1) && allUntouched(plane4), "fewer than 10 B-scans leave the planes untouched");

    // An all-dark volume has no tissue in any B-scan.
    other.VelinLayerSegment(volume.data(), kBScans, kAScans, kDepth, plane1.data(), plane2.data(), plane3.data(),
                            plane4.data(), 100.0f, 0.0f, 0.0f, 0);
    expect(allUntouched(plane1) && allUntouched(plane2), "a volume without tissue leaves the planes untouched");

    std::printf(failures == 0 ? "host program: all checks passed\n" : "host program: %d check(s) failed\n", failures);
    return failures == 0 ? 0 : 1;
}
