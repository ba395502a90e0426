#pragma once

// Loads a shared library at run time and looks up its C functions, the way a foreign host (Python ctypes,
// MATLAB loadlibrary, a C# P/Invoke) reaches Velin: dlopen/dlsym on Linux, LoadLibrary/GetProcAddress on
// Windows. No Velin header beyond <Velin/velin_c.h> types is needed.

#include <Velin/velin_c.h>

#include <string>
#include <type_traits>

namespace velin_test {

/// The C entry as a host sees it: its function pointers, all null when the library could not be loaded.
struct CEntry {
    decltype(&velin_version) version = nullptr;
    decltype(&velin_segment) segment = nullptr;
    decltype(&velin_segment_ex) segmentEx = nullptr;
    decltype(&velin_options_init) optionsInit = nullptr;
    decltype(&velin_segment_with_options) segmentWithOptions = nullptr;
    decltype(&velin_refine_boundaries) refineBoundaries = nullptr;
    decltype(&velin_status_message) statusMessage = nullptr;

    bool complete() const {
        return version && segment && segmentEx && optionsInit && segmentWithOptions && refineBoundaries &&
               statusMessage;
    }
};

/// Loads the library at `path` (kept loaded until the process ends) and resolves the C entry. On failure
/// `error` says why and the missing functions stay null.
CEntry loadCEntry(const std::string& path, std::string& error);

}  // namespace velin_test
