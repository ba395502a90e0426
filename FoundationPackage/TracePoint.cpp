#include <FoundationPackage/TracePoint.h>

#include <FoundationPackage/Exceptions.h>

namespace Orvan {
namespace FoundationPackage {

namespace {

void requireText(const char* text, const char* what) {
    if (text == nullptr) {
        // The trace of this failure names the constructor, not the caller that passed the null text.
        throw NullPointerException(std::string("TracePoint::TracePoint(): ") + what + " must not be null.",
                                   TracePoint("TracePoint::TracePoint", __FILE__, __LINE__));
    }
}

}  // namespace

TracePoint::TracePoint(const char* function_, const char* file_, int line_)
    : function(function_), file(file_), line(line_) {
    requireText(function_, "function name");
    requireText(file_, "file name");
}

TracePoint::TracePoint(const char* file_, int line_) : TracePoint("", file_, line_) {}

}  // namespace FoundationPackage
}  // namespace Orvan
