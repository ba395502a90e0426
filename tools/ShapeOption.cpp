#include "Commands.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

namespace velin {
namespace cli {

void parseShape(const std::string& text, int& numBScans, int& numAScans, int& depth) {
    int* const targets[3] = {&numBScans, &numAScans, &depth};
    const char* p = text.c_str();
    for (int k = 0; k < 3; ++k) {
        char* end = nullptr;
        errno = 0;
        const long value = std::strtol(p, &end, 10);
        const bool digitsFirst = *p >= '0' && *p <= '9';
        const char expected = k < 2 ? 'x' : '\0';
        if (!digitsFirst || end == p || errno != 0 || value <= 0 || value > std::numeric_limits<int>::max() ||
            *end != expected)
            throw CLI::ValidationError("--shape", "expected BxAxD with three positive sizes, got '" + text + "'");
        *targets[k] = static_cast<int>(value);
        p = end + 1;
    }
}

}  // namespace cli
}  // namespace velin
