#include <FoundationPackage/Exceptions.h>

namespace Orvan {
namespace FoundationPackage {

// The most derived class initialises the virtual base, hence ExceptionBase in every initialiser list.

Exception::Exception(const std::string& message, const TracePoint& origin) : ExceptionBase(message, origin) {}
Exception::~Exception() noexcept = default;

LogicException::LogicException(const std::string& message, const TracePoint& origin)
    : ExceptionBase(message, origin), Exception(message, origin) {}
LogicException::~LogicException() noexcept = default;

NullPointerException::NullPointerException(const std::string& message, const TracePoint& origin)
    : ExceptionBase(message, origin), LogicException(message, origin) {}
NullPointerException::~NullPointerException() noexcept = default;

Error::Error(const std::string& message, const TracePoint& origin) : ExceptionBase(message, origin) {}
Error::~Error() noexcept = default;

UnknownError::UnknownError(const std::string& message, const TracePoint& origin)
    : ExceptionBase(message, origin), Error(message, origin) {}
UnknownError::~UnknownError() noexcept = default;

const char* OutOfMemory::what() const noexcept { return "out of memory"; }

}  // namespace FoundationPackage
}  // namespace Orvan
