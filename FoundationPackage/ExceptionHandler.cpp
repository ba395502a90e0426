#include <FoundationPackage/ExceptionHandler.h>

#include <boost/make_shared.hpp>

namespace Orvan {
namespace FoundationPackage {

namespace {

// A function-local static: the handle exists before the first report even when that report comes from
// another translation unit's static initialisation.
boost::shared_ptr<ExceptionHandler>& installedHandler() {
    static boost::shared_ptr<ExceptionHandler> handler = boost::make_shared<Private::DefaultExceptionHandler>();
    return handler;
}

}  // namespace

ExceptionHandler::~ExceptionHandler() = default;

// The handle is only touched through Boost's atomic shared_ptr access, so a thread can replace the handler
// while another holds its own copy for the length of a report.
boost::shared_ptr<ExceptionHandler> ExceptionHandler::setHandler(const boost::shared_ptr<ExceptionHandler>& handler) {
    if (!handler) {
        // The trace names the function and its class rather than a build path, so it reads the same on
        // every build of the library.
        throw NullPointerException("ExceptionHandler::setHandler(): handler must not be null.",
                                   TracePoint("setHandler", "ExceptionHandler", __LINE__));
    }
    return boost::atomic_exchange(&installedHandler(), handler);
}

boost::shared_ptr<ExceptionHandler> ExceptionHandler::getHandler() { return boost::atomic_load(&installedHandler()); }

namespace Private {

bool DefaultExceptionHandler::handle(const Exception& exception) {
    return dynamic_cast<const Error*>(&exception) != nullptr;
}

void DefaultExceptionHandler::notify() {}

}  // namespace Private

}  // namespace FoundationPackage
}  // namespace Orvan
