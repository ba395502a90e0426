#include "LoadedLibrary.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace velin_test {

LoadedLibrary::LoadedLibrary(const std::string& path) {
#ifdef _WIN32
    handle = reinterpret_cast<void*>(LoadLibraryA(path.c_str()));
    if (handle == nullptr) {
        lastError = "LoadLibrary(" + path + ") failed with error " + std::to_string(GetLastError());
    }
#else
    handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* message = dlerror();
        lastError = message != nullptr ? message : "dlopen(" + path + ") failed";
    }
#endif
}

LoadedLibrary::~LoadedLibrary() {
    if (handle == nullptr) {
        return;
    }
#ifdef _WIN32
    FreeLibrary(reinterpret_cast<HMODULE>(handle));
#else
    dlclose(handle);
#endif
}

void* LoadedLibrary::symbol(const char* name) {
    if (handle == nullptr) {
        return nullptr;
    }
#ifdef _WIN32
    void* address = reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(handle), name));
#else
    void* address = dlsym(handle, name);
#endif
    if (address == nullptr) {
        lastError = std::string("no exported symbol ") + name;
    }
    return address;
}

namespace {

template <typename Function>
void lookUp(LoadedLibrary& library, const char* name, Function& target) {
    target = reinterpret_cast<Function>(library.symbol(name));
}

}  // namespace

CEntry resolveCEntry(LoadedLibrary& library) {
    CEntry entry;
    lookUp(library, "velin_version", entry.version);
    lookUp(library, "velin_segment", entry.segment);
    lookUp(library, "velin_segment_ex", entry.segmentEx);
    lookUp(library, "velin_status_message", entry.statusMessage);
    return entry;
}

}  // namespace velin_test
