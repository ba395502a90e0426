#pragma once

// The fuzzing targets: each takes one input of arbitrary bytes and returns normally whatever they hold. A
// fault shows as a sanitizer report, an abort from a broken invariant, or an exception leaving the target.
// libFuzzer drives them (LibFuzzerMain.cpp, built with clang); the normal suite replays the inputs kept in
// regressions/ through the same functions (replay_test.cpp).

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velin_fuzz {

using Target = void (*)(const std::uint8_t* data, std::size_t size);

struct NamedTarget {
    const char* name;  ///< as in fuzz_<name> and regressions/<name>/
    Target run;
};

/// Every target: one per volume reader ("read_npy", ...), the checked entry ("entry") and the program's
/// options with the spacing's consumers ("options").
const std::vector<NamedTarget>& targets();

/// The target of that name; null when there is none.
Target findTarget(const std::string& name);

/// One volume file through velin::io::readVolume, as the program reads it. The first five bytes choose
/// the read options and, for .img, the file name (see ReaderTarget.cpp); the rest is the file.
void readVolumeFile(const std::string& extension, const std::uint8_t* data, std::size_t size);

/// A small volume of arbitrary shape and options through velin::segment (see EntryTarget.cpp).
void segmentSmallVolume(const std::uint8_t* data, std::size_t size);

/// Whether segmentSmallVolume gives this input 10 or more B-scans, so that the engine runs: for one input in
/// 16, by a hash of all its bytes.
bool entryRunsEngine(const std::uint8_t* data, std::size_t size);

/// A `velin segment` command line and a file's spacing through the program's option checks, then the
/// spacing through the thickness map, the grids and the thickness picture (see OptionsTarget.cpp).
void checkOptionsAndSpacing(const std::uint8_t* data, std::size_t size);

/// Stops the process unless each spacing is 0 (unknown) or within the plausible range of SpacingCheck.h.
void requirePlausibleSpacing(double depthUm, double aScanUm, double bScanUm);

/// Stops the process with a message: a target's invariant does not hold.
[[noreturn]] void broken(const std::string& what);

}  // namespace velin_fuzz
