# Cross-builds Velin for 64-bit Windows with Debian's mingw-w64 (package g++-mingw-w64-x86-64):
#   cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
# The posix thread model variant is used so that std::thread and std::mutex exist; its winpthreads runtime,
# like libgcc and libstdc++, is linked statically, so velin.dll and the test programs need nothing but
# Windows system DLLs.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VELIN_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VELIN_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VELIN_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${VELIN_MINGW_TRIPLE}-windres)
set(CMAKE_OBJDUMP ${VELIN_MINGW_TRIPLE}-objdump)

# Libraries and headers come from the mingw sysroot only; programs (cmake, objdump) from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${VELIN_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Boost is used header-only, and its headers do not depend on the target. They are taken from the host's
# libboost-dev through a folder that holds nothing but a link to boost/: putting /usr/include itself on the
# include path would let the host's glibc headers shadow mingw's.
if(NOT DEFINED VELIN_MINGW_BOOST_ROOT)
  set(VELIN_MINGW_BOOST_ROOT ${CMAKE_BINARY_DIR}/mingw-boost)
endif()
if(EXISTS /usr/include/boost/version.hpp AND NOT EXISTS ${VELIN_MINGW_BOOST_ROOT}/boost/version.hpp)
  file(MAKE_DIRECTORY ${VELIN_MINGW_BOOST_ROOT})
  file(CREATE_LINK /usr/include/boost ${VELIN_MINGW_BOOST_ROOT}/boost SYMBOLIC)
endif()
set(Boost_INCLUDE_DIR ${VELIN_MINGW_BOOST_ROOT} CACHE PATH "Boost headers for the Windows build")
set(Boost_NO_BOOST_CMAKE ON)
set(Boost_NO_SYSTEM_PATHS ON)
# Passed on to the try_compile projects, which evaluate this file again in their own binary folders.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELIN_MINGW_BOOST_ROOT)

# Test programs run under Wine; CTest and gtest_discover_tests prefix them with this emulator.
if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(VELIN_WINE64 NAMES wine64 PATHS /usr/lib/wine /usr/lib64/wine NO_CMAKE_FIND_ROOT_PATH)
  if(VELIN_WINE64)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${VELIN_WINE64})
  endif()
endif()
