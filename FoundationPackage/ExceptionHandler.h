#pragma once

#include <FoundationPackage/Exceptions.h>

#include <boost/shared_ptr.hpp>

namespace Orvan {
namespace FoundationPackage {

/// Receiver of failure reports. One handler is installed per process; every failed check is handed to it
/// before the failure is thrown, which lets a host log or count faults that its own code later catches.
class ExceptionHandler {
public:
    virtual ~ExceptionHandler();

    /// Receives one reported failure. Returns whether the handler regards it as an Error.
    virtual bool handle(const Exception& exception) = 0;
    /// A notification that carries no exception object.
    virtual void notify() = 0;

    /// Installs `handler` and returns the one it replaces. A null handle throws NullPointerException and
    /// leaves the installed handler in place.
    static boost::shared_ptr<ExceptionHandler> setHandler(const boost::shared_ptr<ExceptionHandler>& handler);
    /// The installed handler; never null.
    static boost::shared_ptr<ExceptionHandler> getHandler();
};

namespace Private {

/// Installed at start-up. It swallows reports: the throw that follows each report is what stops the
/// failing operation.
class DefaultExceptionHandler : public ExceptionHandler {
public:
    bool handle(const Exception& exception) override;
    void notify() override;
};

}  // namespace Private

}  // namespace FoundationPackage
}  // namespace Orvan
