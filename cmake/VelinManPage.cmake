# velin_add_man_page(<program target>): builds velin.1 (and velin.1.gz) from the program's own --help output
# every time the program changes, so that the manual lists exactly the commands and options it has, and
# installs the compressed page with the program.

function(velin_add_man_page target)
  set(page ${CMAKE_CURRENT_BINARY_DIR}/velin.1)
  find_program(VELIN_GZIP gzip)
  if(VELIN_GZIP)
    set(installed ${page}.gz)
  else()
    set(installed ${page})
  endif()
  add_custom_command(OUTPUT ${installed}
    COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${target}> -DOUTPUT=${page} -DGZIP=${VELIN_GZIP}
            -DVERSION=${PROJECT_VERSION} -DDOCDIR=${CMAKE_INSTALL_FULL_DOCDIR}
            -P ${PROJECT_SOURCE_DIR}/cmake/WriteManPage.cmake
    DEPENDS ${target} ${PROJECT_SOURCE_DIR}/cmake/WriteManPage.cmake
    COMMENT "Writing the manual page velin.1 from 'velin --help'"
    VERBATIM)
  add_custom_target(velin_man_page ALL DEPENDS ${installed})
  install(FILES ${installed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Program)
endfunction()
