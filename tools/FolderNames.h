#pragma once

// Where each volume's outputs go, shared by the program and the Python module's cohort batches so that both
// put a volume into the same folder.

#include <string>
#include <vector>

namespace velin {
namespace cli {

/// OUTDIR/<input stem> per input, in input order, byte for byte. A stem met again, or one an earlier folder
/// of this run already took (an input named scan-2 after two named scan), gets "-2", "-3"... in input order,
/// so that no volume overwrites another's outputs. An input without a stem goes to "volume", and so do the
/// stems "." and ".." (of "..npy" and "...npy"), which would name OUTDIR itself or its parent.
std::vector<std::string> volumeFolders(const std::vector<std::string>& inputs, const std::string& outputDir);

}  // namespace cli
}  // namespace velin
