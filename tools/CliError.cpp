#include "CliError.h"

namespace velin {
namespace cli {

std::string errorLine(const std::string& what, const std::string& file) {
    std::string text = what;
    const std::string prefix = file + ": ";
    if (!file.empty() && text.compare(0, prefix.size(), prefix) == 0) text.erase(0, prefix.size());
    // One line, whatever the message holds.
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    std::string line = "velin: error: " + text;
    if (!file.empty()) line += " (" + file + ")";
    return line;
}

}  // namespace cli
}  // namespace velin
