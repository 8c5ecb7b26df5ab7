# qorstl_install_man_page(<page> COMPONENT <component>): installs the man page <page> (named
# <name>.<section>) gzipped, as man-db reads it and Debian wants it, into man<section>; gzip runs
# with -n, so the file holds no name or time and the packages are reproducible.
find_program(QORSTL_GZIP gzip)
function(qorstl_install_man_page page)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "COMPONENT" "")
  get_filename_component(page ${page} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
  get_filename_component(name ${page} NAME)
  string(REGEX MATCH "[^.]+$" section ${name})
  if(NOT QORSTL_GZIP)
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${arg_COMPONENT})
    return()
  endif()
  set(gz ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
  add_custom_command(OUTPUT ${gz}
    COMMAND ${QORSTL_GZIP} -9nc ${page} > ${gz}
    DEPENDS ${page}
    COMMENT "Compressing the man page ${name}")
  add_custom_target(man_page_${name} ALL DEPENDS ${gz})
  install(FILES ${gz} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${arg_COMPONENT})
endfunction()
