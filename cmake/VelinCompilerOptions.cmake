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
