#pragma once

// Loads a shared library at run time and looks up its C functions, the way a foreign host (Python ctypes,
// MATLAB loadlibrary, a C# P/Invoke) reaches Velin: dlopen/dlsym on Linux, LoadLibrary/GetProcAddress on
// Windows. No Velin header beyond <Velin/velin_c.h> types is needed.

#include <Velin/velin_c.h>

#include <string>

namespace velin_test {

class LoadedLibrary {
public:
    explicit LoadedLibrary(const std::string& path);
    ~LoadedLibrary();
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    bool loaded() const { return handle != nullptr; }
    /// Why loading or the last lookup failed, for test messages.
    const std::string& error() const { return lastError; }
    /// The address of an exported function, or null.
    void* symbol(const char* name);

private:
    void* handle = nullptr;
    std::string lastError;
};

/// The C entry as a host sees it: four function pointers, all null when a lookup failed.
struct CEntry {
    const char* (*version)(void) = nullptr;
    int (*segment)(const unsigned char*, int, int, int, short*, short*, short*, short*, float, float, float,
                   int) = nullptr;
    int (*segmentEx)(const unsigned char*, int, int, int, short*, short*, short*, short*, float, float, float, int,
                     velin_progress_fn, void*, int*) = nullptr;
    const char* (*statusMessage)(int) = nullptr;

    bool complete() const { return version && segment && segmentEx && statusMessage; }
};

CEntry resolveCEntry(LoadedLibrary& library);

}  // namespace velin_test
