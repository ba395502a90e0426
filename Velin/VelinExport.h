#pragma once

// VELIN_API marks what the shared library exports. Everything else is hidden (-fvisibility=hidden on
// ELF, no dllexport on Windows). VELIN_STATIC is set for code linked against the static engine.
#if defined(VELIN_STATIC)
#define VELIN_API
#elif defined(_WIN32) || defined(__CYGWIN__)
#if defined(VELIN_BUILDING_LIBRARY)
#define VELIN_API __declspec(dllexport)
#else
#define VELIN_API __declspec(dllimport)
#endif
#else
#define VELIN_API __attribute__((visibility("default")))
#endif
