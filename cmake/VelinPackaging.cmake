# Packages made from the install rules with CPack (`make package`, `make windows-package`):
#   cpack -G DEB  velin_<version>_amd64.deb: library, headers, CMake and pkg-config files, program, manual, docs
#   cpack -G ZIP  in the Windows build: velin.dll, its import library, the headers and the library's docs
# Install components: Runtime (the shared library), Development (C headers, link-time library, pkg-config),
# Api (the checked C++ entry and the CMake package), Program (velin, its manual and pages), Documentation.

set(CPACK_PACKAGE_NAME velin)
set(CPACK_PACKAGE_VENDOR "the Velin developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "segmentation of retinal OCT volumes")
# Debian shows the description as it is: lines of at most 80 columns.
string(CONCAT CPACK_PACKAGE_DESCRIPTION
    "Velin finds, in every A-scan of an 8-bit optical coherence tomography\n"
    "volume, the top of the retina and the lower boundary of the nerve-fibre\n"
    "layer, and grades both points. This package holds the shared library (C++\n"
    "class, checked C++ entry and plain C entry), its headers, CMake and\n"
    "pkg-config files, and the velin program, which reads device cubes, raw\n"
    "cubes, NumPy arrays, TIFF stacks and exports, and writes depth maps,\n"
    "nerve-fibre-layer thickness maps, pictures and a report per volume.")
set(CPACK_STRIP_FILES ON)

# Debian: who answers for the package. The address is the project's to choose; set it when configuring.
set(VELIN_PACKAGE_MAINTAINER "Velin developers <velin-developers@example.org>"
    CACHE STRING "Maintainer field of the Debian package: Name <address>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VELIN_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# Dependencies come from the binaries (dpkg-shlibdeps): libc, libstdc++, libpng, libtiff, DCMTK (whose package
# also holds the data dictionary the DICOM reader needs), OpenJPEG. The program's own
# libvelin.so.0 is in the package; dpkg-shlibdeps finds it in the staged library folder.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_INSTALL_LIBDIR})
# Other packages built against libvelin.so.0 depend on this version or a later one.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The loader's cache is refreshed through dpkg's ldconfig trigger once per dpkg run.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)

# The Windows zip holds what a host program needs to call the DLL; the program and the checked C++ entry are
# not part of the Windows build's deliverables (docs/windows.md).
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME velin-${PROJECT_VERSION}-windows-x86_64)
  # A selection of components goes into one archive only as a component install grouped into one package.
  set(CPACK_COMPONENTS_ALL Runtime Development Documentation)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
else()
  set(CPACK_GENERATOR DEB)
endif()

include(CPack)
