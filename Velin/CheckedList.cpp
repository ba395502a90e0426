#include <Velin/CheckedList.h>

#include <cstdio>
#include <cstdlib>

#if defined(_MSC_VER)
#include <stdlib.h>
#elif defined(_WIN32)
#include <windows.h>
#include <cstdint>
#endif

namespace Orvan {
namespace Velin {
namespace {

#if defined(_WIN32) && !defined(_MSC_VER)
using InvalidParameterHandler = void(__cdecl*)(const wchar_t*, const wchar_t*, const wchar_t*, unsigned int,
                                               std::uintptr_t);
using HandlerQuery = InvalidParameterHandler(__cdecl*)();

// The handler a host installs with _set_invalid_parameter_handler lives in the C runtime the host was built
// with: ucrtbase.dll for current Microsoft compilers, msvcrNNN.dll for older ones, msvcrt.dll for the rest.
// mingw-w64 gives each module a private copy of that function, so this library's own copy never sees the
// host's handler; the runtimes loaded in the process are asked instead, newest first, the thread's own handler
// before the process-wide one, as those runtimes do themselves.
InvalidParameterHandler installedHandler() {
    static const wchar_t* const runtimes[] = {L"ucrtbase.dll", L"ucrtbased.dll", L"msvcr120.dll", L"msvcr110.dll",
                                              L"msvcr100.dll", L"msvcr90.dll",   L"msvcr80.dll",  L"msvcrt.dll"};
    static const char* const queries[] = {"_get_thread_local_invalid_parameter_handler",
                                          "_get_invalid_parameter_handler"};
    for (const wchar_t* name : runtimes) {
        const HMODULE runtime = GetModuleHandleW(name);
        if (runtime == nullptr) continue;
        for (const char* query : queries) {
            const FARPROC address = GetProcAddress(runtime, query);
            if (address == nullptr) continue;
            const auto installed = reinterpret_cast<HandlerQuery>(reinterpret_cast<void*>(address))();
            if (installed != nullptr) return installed;
        }
    }
    return nullptr;
}
#endif

}  // namespace

// The fault is reported on stderr first, so that it is on record even when a handler ends the process its own
// way. A handler that returns does not resume the failed access: the process ends, as after MSVC's
// _invalid_parameter_noinfo_noreturn.
void failListIndex(std::size_t index, std::size_t size) {
    std::fprintf(stderr, "velin: fatal: list index %zu out of range (size %zu)\n", index, size);
    std::fflush(stderr);
#if defined(_MSC_VER)
    _invalid_parameter_noinfo_noreturn();
#else
#if defined(_WIN32)
    if (const InvalidParameterHandler handler = installedHandler()) handler(nullptr, nullptr, nullptr, 0, 0);
#endif
    std::abort();
#endif
}

}  // namespace Velin
}  // namespace Orvan
