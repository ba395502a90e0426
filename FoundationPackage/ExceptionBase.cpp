#include <FoundationPackage/ExceptionBase.h>

#include <boost/exception/get_error_info.hpp>

namespace Orvan {
namespace FoundationPackage {

ExceptionBase::ExceptionBase(const std::string& message, const TracePoint& origin) {
    *this << Private::ExceptionMessage(message) << Private::ExceptionTrace(Trace(origin));
}

ExceptionBase::~ExceptionBase() noexcept = default;

const char* ExceptionBase::what() const noexcept {
    // The record lives in the exception's shared error-info container, so the pointer stays valid as long
    // as the exception (or a copy of it) does.
    const std::string* message = boost::get_error_info<Private::ExceptionMessage>(*this);
    return message != nullptr ? message->c_str() : "";
}

std::string ExceptionBase::getMessage() const {
    const std::string* message = boost::get_error_info<Private::ExceptionMessage>(*this);
    return message != nullptr ? *message : std::string();
}

Trace ExceptionBase::getTrace() const {
    const Trace* trace = boost::get_error_info<Private::ExceptionTrace>(*this);
    return trace != nullptr ? *trace : Trace();
}

}  // namespace FoundationPackage
}  // namespace Orvan
