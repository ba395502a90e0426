# Where an install puts things: the GNU layout (lib/x86_64-linux-gnu for the /usr prefix on Debian, lib for
# other prefixes), with the documentation under the package's lower-case name, as Debian expects it.

if(NOT DEFINED CMAKE_INSTALL_DOCDIR)
  set(CMAKE_INSTALL_DOCDIR share/doc/velin CACHE PATH "Documentation root (share/doc/velin)")
endif()
include(GNUInstallDirs)

# The CMake package files go where find_package() looks for them under the prefix.
set(VELIN_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Velin)

# The program finds libvelin.so beside it through a run path relative to its own folder, so that an install
# into any prefix (or a copy of that prefix) runs as it is. In the system's own library folders the run path
# is left out: the loader searches them anyway, and Debian does not allow run paths there.
set(VELIN_INSTALL_RPATH "")
if(NOT WIN32 AND NOT APPLE)
  list(FIND CMAKE_C_IMPLICIT_LINK_DIRECTORIES "${CMAKE_INSTALL_FULL_LIBDIR}" velin_libdir_is_system)
  if(velin_libdir_is_system EQUAL -1)
    file(RELATIVE_PATH velin_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set(VELIN_INSTALL_RPATH "$ORIGIN/${velin_bin_to_lib}")
  endif()
endif()
