# Checks the export and import tables of velin.dll with the mingw objdump (run on the build host):
#   cmake -DDLL=<velin.dll> -DOBJDUMP=<x86_64-w64-mingw32-objdump> -P CheckDllTables.cmake
# The DLL must export exactly the members of CVelinLayerSegment and the C entry, and import nothing but
# Windows system DLLs (the GCC runtime is linked in statically).

cmake_policy(VERSION 3.25)

set(expected_exports
  _ZN18CVelinLayerSegment17VelinLayerSegmentEPKhiiiPsS2_S2_S2_fffi
  _ZN18CVelinLayerSegmentC1Ev
  _ZN18CVelinLayerSegmentC2Ev
  _ZN18CVelinLayerSegmentD1Ev
  _ZN18CVelinLayerSegmentD2Ev
  _ZN18CVelinLayerSegmentaSERKS_
  velin_options_init
  velin_segment
  velin_refine_boundaries
  velin_segment_ex
  velin_segment_with_options
  velin_status_message
  velin_version)
# Lower-case names; api-ms-win-* forwarders are system DLLs too.
set(system_dlls kernel32.dll msvcrt.dll ucrtbase.dll ntdll.dll advapi32.dll user32.dll)

if(NOT EXISTS "${DLL}")
  message(FATAL_ERROR "no DLL at '${DLL}'")
endif()
execute_process(COMMAND "${OBJDUMP}" -p "${DLL}" OUTPUT_VARIABLE dump RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${OBJDUMP} -p ${DLL} failed")
endif()

string(REPLACE "\n" ";" lines "${dump}")
set(exports)
set(imports)
set(in_exports OFF)
foreach(line IN LISTS lines)
  if(line MATCHES "^\\[Ordinal/Name Pointer\\] Table")
    set(in_exports ON)
  elseif(in_exports AND line MATCHES "^[ \t]*\\[ *[0-9]+\\] (.+)$")
    list(APPEND exports "${CMAKE_MATCH_1}")
  elseif(in_exports)
    set(in_exports OFF)
  endif()
  if(line MATCHES "DLL Name: (.+)$")
    list(APPEND imports "${CMAKE_MATCH_1}")
  endif()
endforeach()

list(SORT exports)
list(SORT expected_exports)
message(STATUS "exports: ${exports}")
message(STATUS "imports: ${imports}")
if(NOT exports STREQUAL expected_exports)
  set(missing ${expected_exports})
  list(REMOVE_ITEM missing ${exports})
  set(extra ${exports})
  list(REMOVE_ITEM extra ${expected_exports})
  message(FATAL_ERROR "export table differs; missing: '${missing}' extra: '${extra}'")
endif()

if(NOT imports)
  message(FATAL_ERROR "no import table found in the objdump output")
endif()
foreach(dll IN LISTS imports)
  string(TOLOWER "${dll}" name)
  if(NOT name IN_LIST system_dlls AND NOT name MATCHES "^api-ms-win-")
    message(FATAL_ERROR "velin.dll needs '${dll}', which is not a Windows system DLL")
  endif()
endforeach()
