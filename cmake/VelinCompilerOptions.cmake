# Warnings and sanitizers shared by every Velin target. Targets call velin_target_options(<target>).

function(velin_target_options target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /permissive-)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  endif()
endfunction()

if(VELIN_SANITIZE)
  if(MSVC)
    message(FATAL_ERROR "VELIN_SANITIZE is supported with GCC and Clang only")
  endif()
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

if(VELIN_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "VELIN_FUZZ needs clang (libFuzzer); configure with CMAKE_CXX_COMPILER=clang++-14")
  endif()
  # Edge coverage for libFuzzer everywhere; comparison tracing, which guides it through file headers and
  # option texts but slows numeric loops several times over, only where input is parsed (tests/fuzz). The
  # fuzzing programs link libFuzzer itself.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
                      -fsanitize-coverage=inline-8bit-counters,indirect-calls,pc-table)
  add_link_options(-fsanitize=address,undefined)
endif()
