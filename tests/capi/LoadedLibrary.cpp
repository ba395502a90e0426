#include "LoadedLibrary.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace velin_test {

CEntry loadCEntry(const std::string& path, std::string& error) {
    CEntry entry;
#ifdef _WIN32
    const HMODULE handle = LoadLibraryA(path.c_str());
    const auto lookUp = [handle](const char* name) { return reinterpret_cast<void*>(GetProcAddress(handle, name)); };
    if (handle == nullptr) error = "LoadLibrary(" + path + ") failed with error " + std::to_string(GetLastError());
#else
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    const auto lookUp = [handle](const char* name) { return dlsym(handle, name); };
    if (handle == nullptr) error = dlerror();
#endif
    if (handle == nullptr) return entry;
    // Function pointers from object pointers, as every host's loader hands them out.
    const auto resolve = [&](const char* name, auto& target) {
        target = reinterpret_cast<std::remove_reference_t<decltype(target)>>(lookUp(name));
        if (target == nullptr) error = std::string("no exported symbol ") + name;
    };
    resolve("velin_version", entry.version);
    resolve("velin_segment", entry.segment);
    resolve("velin_segment_ex", entry.segmentEx);
    resolve("velin_options_init", entry.optionsInit);
    resolve("velin_segment_with_options", entry.segmentWithOptions);
    resolve("velin_refine_boundaries", entry.refineBoundaries);
    resolve("velin_status_message", entry.statusMessage);
    return entry;
}

}  // namespace velin_test
