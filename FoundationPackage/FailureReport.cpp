#include <FoundationPackage/FailureReport.h>

#include <FoundationPackage/ExceptionHandler.h>

#include <boost/exception/info.hpp>

#include <stdexcept>

namespace Orvan {
namespace FoundationPackage {

std::string formatLocation(const std::string& prefix, const std::string& text, const std::string& separator,
                           const char* file, int line) {
    std::string result;
    result.reserve(prefix.size() + text.size() + separator.size() + 32);
    result += prefix;
    result += text;
    result += separator;
    result += "(file: ";
    result += file != nullptr ? file : "";
    result += ", line: ";
    result += std::to_string(line);
    result += ")";
    return result;
}

void reportFailure(const std::string& text, const char* file, int line) {
    Exception report(text, TracePoint(file, line));
    report << boost::throw_file(file) << boost::throw_line(line);
    // Our own copy of the handle keeps the handler alive even if another thread replaces it meanwhile.
    const boost::shared_ptr<ExceptionHandler> handler = ExceptionHandler::getHandler();
    handler->handle(report);
}

void failInvalidArgument(const std::string& message, const char* file, int line) {
    const std::string text = formatLocation("", message, " ", file, line);
    reportFailure(text, file, line);
    throw std::invalid_argument(text);
}

void failRequire(const char* condition, const char* file, int line) {
    const std::string text = formatLocation("REQUIRE(", condition, ") failed. ", file, line);
    reportFailure(text, file, line);
    throw std::invalid_argument(text);
}

}  // namespace FoundationPackage
}  // namespace Orvan
