#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace velin {
namespace cli {

/// A failure the program reports as one line, "velin: error: <what> (<file>)".
class CliError : public std::runtime_error {
public:
    CliError(const std::string& what, std::string file) : std::runtime_error(what), file_(std::move(file)) {}
    const std::string& file() const { return file_; }

private:
    std::string file_;
};

/// `text` fit for one line on a terminal: control characters (a newline or an escape sequence in a file name)
/// become \xNN; every other byte is kept, so names in any encoding print as the terminal shows them.
std::string printable(const std::string& text);

/// The one-line message for any failure concerning `file`. Messages of the readers and writers start with the
/// file's path; it is moved to the end so that every line has the same shape.
std::string errorLine(const std::string& what, const std::string& file);

/// The same without the program's "velin: error: " prefix, for hosts that print errors their own way.
std::string errorText(const std::string& what, const std::string& file);

}  // namespace cli
}  // namespace velin
