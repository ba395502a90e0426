// The entry libFuzzer calls; the build names the target (VELIN_FUZZ_TARGET, e.g. "read_npy").

#include "FuzzTargets.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const velin_fuzz::Target target = velin_fuzz::findTarget(VELIN_FUZZ_TARGET);
    if (target == nullptr) velin_fuzz::broken("no fuzzing target named " VELIN_FUZZ_TARGET);
    target(data, size);
    return 0;
}
