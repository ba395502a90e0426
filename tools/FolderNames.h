#pragma once

// Where each volume's outputs go, shared by the program and the Python module's cohort batches so that both
// put a volume into the same folder.

#include <string>
#include <vector>

namespace velin {
namespace cli {

/// OUTDIR/<input stem> per input, in input order. A stem met again gets "-2", "-3"..., so that no volume
/// overwrites another's outputs; an input without a stem goes to "volume".
std::vector<std::string> volumeFolders(const std::vector<std::string>& inputs, const std::string& outputDir);

}  // namespace cli
}  // namespace velin
