#pragma once

#include <FoundationPackage/TracePoint.h>

#include <boost/exception/exception.hpp>
#include <boost/exception/info.hpp>

#include <exception>
#include <string>
#include <vector>

namespace Orvan {
namespace FoundationPackage {

/// The places an exception passed through, innermost (where it was raised) first.
class Trace {
public:
    Trace() = default;
    explicit Trace(const TracePoint& origin) { points.push_back(origin); }

    void append(const TracePoint& point) { points.push_back(point); }
    const std::vector<TracePoint>& getPoints() const { return points; }
    bool isEmpty() const { return points.empty(); }

private:
    std::vector<TracePoint> points;
};

namespace Private {
struct ExceptionMessage_;
struct ExceptionTrace_;
using ExceptionMessage = boost::error_info<ExceptionMessage_, std::string>;
using ExceptionTrace = boost::error_info<ExceptionTrace_, Trace>;
}  // namespace Private

/// Root of the package's exceptions. Message and trace travel as Boost error-information records so that
/// code further up can add to them without knowing the concrete class.
class ExceptionBase : public std::exception, public boost::exception {
public:
    ExceptionBase(const std::string& message, const TracePoint& origin);
    ExceptionBase(const ExceptionBase&) = default;
    ExceptionBase& operator=(const ExceptionBase&) = default;
    ~ExceptionBase() noexcept override;

    /// The stored message.
    const char* what() const noexcept override;
    /// The stored message as a string (empty when none was stored).
    virtual std::string getMessage() const;

    /// The stored trace (empty when none was stored).
    Trace getTrace() const;
};

}  // namespace FoundationPackage
}  // namespace Orvan
