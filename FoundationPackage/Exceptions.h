#pragma once

#include <FoundationPackage/ExceptionBase.h>

#include <new>

namespace Orvan {
namespace FoundationPackage {

// Everything below ExceptionBase reaches it virtually, so a class that later joins both branches (recoverable
// and non-recoverable) still holds one message and one trace.

/// A recoverable failure; this is the object handed to the ExceptionHandler.
class Exception : public virtual ExceptionBase {
public:
    Exception(const std::string& message, const TracePoint& origin);
    ~Exception() noexcept override;
};

/// A violated precondition or another programming error.
class LogicException : public Exception {
public:
    LogicException(const std::string& message, const TracePoint& origin);
    ~LogicException() noexcept override;
};

/// A required pointer argument was null.
class NullPointerException : public LogicException {
public:
    NullPointerException(const std::string& message, const TracePoint& origin);
    ~NullPointerException() noexcept override;
};

/// A failure the program cannot recover from.
class Error : public virtual ExceptionBase {
public:
    Error(const std::string& message, const TracePoint& origin);
    ~Error() noexcept override;
};

/// An error whose cause is not known.
class UnknownError : public Error {
public:
    UnknownError(const std::string& message, const TracePoint& origin);
    ~UnknownError() noexcept override;
};

/// Memory is exhausted. Derived from std::bad_alloc (not ExceptionBase) so that code catching the standard
/// allocation failure sees it too.
class OutOfMemory : public std::bad_alloc {
public:
    OutOfMemory() = default;
    const char* what() const noexcept override;
};

}  // namespace FoundationPackage
}  // namespace Orvan
