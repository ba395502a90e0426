#pragma once

// The phantom as files: the volume as .npy and its true boundaries as two int16 .npy files beside it.

#include <Velin/Io/Phantom.h>

#include <CLI/CLI.hpp>

#include <string>

namespace velin {
namespace cli {

struct PhantomSettings {
    std::string shape = "128x512x1024";
    std::uint64_t seed = 1;
    double noise = 1.0;
    std::string kind = "macula";
    std::string eye = "OD";
};

struct PhantomPaths {
    std::string volume;
    std::string truthTop;     ///< <stem>_truth_ilm.npy: top of the retina per position, -1 = none
    std::string truthBottom;  ///< <stem>_truth_rnfl.npy: lower nerve-fibre-layer boundary, -1 = none
};

/// The phantom options shared by `phantom` and `demo`.
void addPhantomOptions(CLI::App& cmd, PhantomSettings& settings);

/// Throws CLI::ValidationError for a malformed shape and CliError when the phantom cannot be built.
io::Phantom buildPhantom(const PhantomSettings& settings);

/// Writes the three files; `volumePath` must end in .npy. Throws CliError naming the file at fault.
PhantomPaths writePhantom(const std::string& volumePath, const io::Phantom& phantom);

}  // namespace cli
}  // namespace velin
