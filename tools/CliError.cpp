#include "CliError.h"

#include <cstdio>

namespace velin {
namespace cli {

std::string printable(const std::string& text) {
    std::string shown;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            shown.push_back(c);
            continue;
        }
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
        shown += escaped;
    }
    return shown;
}

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
    return "velin: error: " + printable(errorText(what, file));
}

}  // namespace cli
}  // namespace velin
