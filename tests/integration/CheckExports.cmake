# Fails when the shared library's dynamic symbol table defines anything beyond the exported class, the C entry
# and what the C++ runtime itself places there (instantiations in namespace std, linker-defined symbols).
# Usage: cmake -DLIBRARY=<libvelin.so> -DNM=<nm> -P CheckExports.cmake
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols ERROR_VARIABLE errors RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}: ${errors}")
endif()

set(allowed
  "^_ZN18CVelinLayerSegment"           # the exported class
  "^velin_[a-z_]+$"                    # the C entry
  "^_Z(Z|T[IVS])?N?K?St"               # namespace std: templates instantiated in the library, typeinfo
  "^_Z(Z|T[IVS])?N?K?9__gnu_cxx"
  "^(_init|_fini|_edata|_end|__bss_start|_etext)$")

string(REPLACE "\n" ";" lines "${symbols}")
set(leaked "")
set(exported 0)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^.* " "" name "${line}")
  string(REGEX REPLACE "@.*$" "" name "${name}")
  if(name STREQUAL "")
    continue()
  endif()
  set(ok FALSE)
  foreach(pattern IN LISTS allowed)
    if(name MATCHES "${pattern}")
      set(ok TRUE)
    endif()
  endforeach()
  if(name MATCHES "^_ZN18CVelinLayerSegment17VelinLayerSegment")
    set(exported 1)
  endif()
  if(NOT ok)
    string(APPEND leaked "  ${name}\n")
  endif()
endforeach()

if(NOT exported)
  message(FATAL_ERROR "${LIBRARY} does not export CVelinLayerSegment::VelinLayerSegment")
endif()
if(NOT leaked STREQUAL "")
  message(FATAL_ERROR "${LIBRARY} makes symbols visible that are not part of its interface:\n${leaked}")
endif()
