# What an install adds beside the targets' own rules (Velin/, tools/): the CMake package, the pkg-config file
# and the documentation. Every path is relative to the install prefix, so an installed tree can be moved.

include(CMakePackageConfigHelpers)

# packaging/changelog is the release history in Debian's format, which Debian tools read from changelog.gz
# (compressed without name or time stamp). Its newest entry must name this version.
function(velin_install_debian_changelog)
  set(source ${PROJECT_SOURCE_DIR}/packaging/changelog)
  file(STRINGS ${source} newest LIMIT_COUNT 1)
  if(NOT newest MATCHES "^velin \\(${PROJECT_VERSION}\\) ")
    message(FATAL_ERROR "packaging/changelog starts with '${newest}'; add an entry for ${PROJECT_VERSION}")
  endif()
  find_program(VELIN_GZIP gzip REQUIRED)
  set(compressed ${PROJECT_BINARY_DIR}/changelog.gz)
  add_custom_command(OUTPUT ${compressed}
    COMMAND ${VELIN_GZIP} -9nc ${source} > ${compressed}
    DEPENDS ${source} VERBATIM)
  add_custom_target(velin_debian_changelog ALL DEPENDS ${compressed})
  install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Documentation)
endfunction()

# find_package(Velin 0.2 CONFIG) gives Velin::velin (the shared library) and Velin::api (the checked C++
# entry over it). Within 0.x the library keeps its SONAME (libvelin.so.0) and its C and C++ entries only
# grow, so any 0.x at or above the requested version is accepted; 1.0 will be a new major version.
install(EXPORT VelinTargets NAMESPACE Velin:: DESTINATION ${VELIN_INSTALL_CMAKEDIR} COMPONENT Api)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VelinConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VelinConfig.cmake INSTALL_DESTINATION ${VELIN_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VelinConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VelinConfig.cmake ${PROJECT_BINARY_DIR}/VelinConfigVersion.cmake
        DESTINATION ${VELIN_INSTALL_CMAKEDIR} COMPONENT Api)

# velin.pc locates the prefix from its own folder (${pcfiledir}), like the CMake package, so that an installed
# tree can be moved. Under /usr (the Debian package) it names the prefix itself: pkg-config leaves the
# system's own folders out of the flags only when they are spelt as such.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(VELIN_PC_PREFIX /usr)
else()
  file(RELATIVE_PATH VELIN_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" VELIN_PC_PREFIX "\${pcfiledir}/${VELIN_PC_PREFIX}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/velin.pc.in ${PROJECT_BINARY_DIR}/velin.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velin.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)

# Documentation keeps the repository's relative layout, so that the links between the pages still work.
# The library's pages (with README and CHANGELOG) ship with every package, the Windows zip included; the
# program's pages ship with the program.
install(FILES README.md CHANGELOG.md packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT Documentation)
if(NOT WIN32)
  velin_install_debian_changelog()
endif()
install(FILES docs/c-api.md docs/windows.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT Documentation)
install(DIRECTORY docs/images DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT Documentation)
if(VELIN_BUILD_TOOLS)
  install(FILES docs/cli.md docs/file-formats.md docs/phantom.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
          COMPONENT Program)
endif()
