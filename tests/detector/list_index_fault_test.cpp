// An index past the end of a work list is a programming fault: the process ends after a message naming the index
// and the list's size. On Windows the fault goes to the invalid-parameter handler a host installed first.

#include "DetectorTestHelpers.h"

#include <cstdio>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

void readPastTheEnd() {
    CheckedList<int> list(2, 7);
    std::printf("%d\n", list[2]);
}

#ifdef _WIN32
using Handler = void(__cdecl*)(const wchar_t*, const wchar_t*, const wchar_t*, unsigned int, std::uintptr_t);

void __cdecl hostHandler(const wchar_t*, const wchar_t*, const wchar_t*, unsigned int, std::uintptr_t) {
    std::fputs("host handler called\n", stderr);
    std::fflush(stderr);
}

// Installs hostHandler as a program of a Microsoft compiler does: in its C runtime, ucrtbase.dll.
void installInHostRuntime(const char* setter) {
    const HMODULE runtime = LoadLibraryW(L"ucrtbase.dll");
    ASSERT_NE(runtime, nullptr);
    const FARPROC address = GetProcAddress(runtime, setter);
    ASSERT_NE(address, nullptr) << setter;
    reinterpret_cast<Handler(__cdecl*)(Handler)>(reinterpret_cast<void*>(address))(hostHandler);
}
#endif

}  // namespace

TEST(ListIndexFault, EndsTheProcessNamingTheIndexAndTheSize) {
    EXPECT_DEATH(readPastTheEnd(), "list index 2 out of range \\(size 2\\)");
}

#ifdef _WIN32
// The host's handler for the whole process, or for its thread, is called; when it returns, the process ends all
// the same.
TEST(ListIndexFault, GoesToTheInvalidParameterHandlerTheHostInstalled) {
    for (const char* setter : {"_set_invalid_parameter_handler", "_set_thread_local_invalid_parameter_handler"}) {
        EXPECT_DEATH(
            {
                installInHostRuntime(setter);
                readPastTheEnd();
            },
            "host handler called")
            << setter;
    }
}
#endif
