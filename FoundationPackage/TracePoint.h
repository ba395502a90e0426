#pragma once

namespace Orvan {
namespace FoundationPackage {

/// A place in the source: function, file and line. The texts are not copied, so they must outlive the
/// trace point; string literals and __FILE__ / __func__ do.
class TracePoint {
public:
    /// Throws NullPointerException when `function` or `file` is null.
    TracePoint(const char* function, const char* file, int line);
    /// A place without a function name; the function is then reported as "".
    TracePoint(const char* file, int line);

    const char* getFunction() const { return function; }
    const char* getFile() const { return file; }
    int getLine() const { return line; }

private:
    const char* function;
    const char* file;
    int line;
};

}  // namespace FoundationPackage
}  // namespace Orvan
