#include <Velin/CheckedList.h>

#include <cstdio>
#include <cstdlib>

#if defined(_MSC_VER)
#include <stdlib.h>
#endif

namespace Orvan {
namespace Velin {

void failListIndex(std::size_t index, std::size_t size) {
    std::fprintf(stderr, "velin: fatal: list index %zu out of range (size %zu)\n", index, size);
    std::fflush(stderr);
#if defined(_MSC_VER)
    // Hands the fault to the runtime's invalid-parameter handler, which a host may have replaced.
    _invalid_parameter_noinfo_noreturn();
#else
    std::abort();
#endif
}

}  // namespace Velin
}  // namespace Orvan
