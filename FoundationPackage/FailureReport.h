#pragma once

#include <string>

namespace Orvan {
namespace FoundationPackage {

/// prefix + text + separator + "(file: " + file + ", line: " + line + ")".
std::string formatLocation(const std::string& prefix, const std::string& text, const std::string& separator,
                           const char* file, int line);

/// Hands an Exception holding `text`, with `file` and `line` as its throw location, to the installed
/// handler, and returns; the caller throws afterwards.
void reportFailure(const std::string& text, const char* file, int line);

/// Formats `message` with its source location, reports it and throws std::invalid_argument with that text.
[[noreturn]] void failInvalidArgument(const std::string& message, const char* file, int line);

/// Same for a failed REQUIRE: the text starts with "REQUIRE(<condition>) failed. ".
[[noreturn]] void failRequire(const char* condition, const char* file, int line);

}  // namespace FoundationPackage
}  // namespace Orvan

/// Reports `message` at the current source location and throws std::invalid_argument.
#define VELIN_INVALID_ARGUMENT(message) ::Orvan::FoundationPackage::failInvalidArgument((message), __FILE__, __LINE__)

/// Precondition check for internal invariants; safe as a single statement (e.g. an unbraced if branch).
#define REQUIRE(condition)                                                           \
    do {                                                                             \
        if (!(condition)) {                                                          \
            ::Orvan::FoundationPackage::failRequire(#condition, __FILE__, __LINE__); \
        }                                                                            \
    } while (0)
