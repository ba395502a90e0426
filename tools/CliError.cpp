#include "CliError.h"

namespace velin {
namespace cli {

std::string errorText(const std::string& what, const std::string& file) {
    std::string text = what;
    const std::string prefix = file + ": ";
    if (!file.empty() && text.compare(0, prefix.size(), prefix) == 0) text.erase(0, prefix.size());
    // One line, whatever the message holds.
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    if (!file.empty()) text += " (" + file + ")";
    return text;
}

std::string errorLine(const std::string& what, const std::string& file) {
    return "velin: error: " + errorText(what, file);
}

}  // namespace cli
}  // namespace velin
