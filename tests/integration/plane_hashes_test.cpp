// Pins the four output planes bit for bit on three volumes. Speed work on the detector must not move a single
// value; a change of hash here means a change of result, which has to be deliberate. When a result change is
// intended, run this test, check the new planes by other means, and copy the printed hashes into the table.

#include "support/SyntheticVolume.h"

#include <Velin/VelinLayerSegment.h>

#if defined(VELIN_HAVE_IO)
#include <Velin/Io/Phantom.h>
#endif

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using PlaneHashes = std::array<std::uint64_t, 4>;

// FNV-1a over the planes' bytes, low byte first, so that the figure does not depend on the host's byte order.
std::uint64_t hashPlane(const std::vector<short>& plane) {
    std::uint64_t h = 14695981039346656037ull;
    for (const short v : plane) {
        const unsigned u = static_cast<std::uint16_t>(v);
        for (const unsigned byte : {u & 0xffu, u >> 8u}) {
            h ^= byte;
            h *= 1099511628211ull;
        }
    }
    return h;
}

PlaneHashes segmentAndHash(const std::uint8_t* samples, int numBScans, int numAScans, int depth) {
    const std::size_t positions = static_cast<std::size_t>(numBScans) * numAScans;
    std::vector<short> planes[4];
    for (auto& plane : planes) plane.assign(positions, -7);
    CVelinLayerSegment().VelinLayerSegment(samples, numBScans, numAScans, depth, planes[0].data(), planes[1].data(),
                                           planes[2].data(), planes[3].data(), 100.0f, 5.0f, 0.0f, 0);
    PlaneHashes hashes{};
    for (int p = 0; p < 4; ++p) hashes[p] = hashPlane(planes[p]);
    std::printf("{0x%016llxull, 0x%016llxull, 0x%016llxull, 0x%016llxull}\n",
                static_cast<unsigned long long>(hashes[0]), static_cast<unsigned long long>(hashes[1]),
                static_cast<unsigned long long>(hashes[2]), static_cast<unsigned long long>(hashes[3]));
    return hashes;
}

void expectHashes(const PlaneHashes& found, const PlaneHashes& pinned) {
    for (int p = 0; p < 4; ++p) EXPECT_EQ(found[p], pinned[p]) << "plane " << p + 1;
}

#if defined(VELIN_HAVE_IO)
PlaneHashes phantomHashes(const char* scanKind, const char* eye, int numBScans) {
    velin::io::PhantomOptions options;
    options.numBScans = numBScans;
    options.scanKind = scanKind;
    options.eye = eye;
    const velin::io::Phantom phantom = velin::io::makePhantom(options);
    const velin::io::Volume& v = phantom.volume;
    return segmentAndHash(v.samples.data(), v.numBScans, v.numAScans, v.depth);
}
#endif

}  // namespace

TEST(PlaneHashes, SyntheticLayeredVolume16x256x512) {
    const velin_test::SyntheticVolume v = velin_test::makeLayeredVolume(velin_test::SyntheticVolumeOptions{});
    expectHashes(segmentAndHash(v.samples.data(), v.numBScans, v.numAScans, v.depth),
                 {0xacb74fe952b0788dull, 0x3019075c42eb2308ull, 0x672e529cacebbddaull, 0xe16be8edcb9babd7ull});
}

#if defined(VELIN_HAVE_IO)
TEST(PlaneHashes, MacularPhantom128x512x1024) {
    expectHashes(phantomHashes("macula", "OD", 128),
                 {0x1a8b68a2081a14bbull, 0x4790d949e87277dbull, 0x71854b5cae4f411dull, 0xb0ddb146dd0a0e7cull});
}

TEST(PlaneHashes, DiscPhantomLeftEye64x512x1024) {
    expectHashes(phantomHashes("disc", "OS", 64),
                 {0x6559ae88879a64beull, 0x8eeead7134a5995dull, 0x150f9f7744596ac5ull, 0x97bcf1897eccaea5ull});
}
#endif
