# `cpack -G DEB` in a build configured for the system prefix (the `deb` preset) makes the three
# packages Debian would: libqorstl<SOVERSION> (the runtime library), libqorstl-dev (header, .so link,
# CMake package, qorstl.pc) and qorstl (the tool and its man page). Each carries a machine-readable
# copyright file and the changelog; the runtime library runs ldconfig through the trigger, has a
# shlibs file asking for this version or later, and the development files depend on exactly it.
set(QORSTL_PACKAGE_MAINTAINER "libqorstl maintainers <maintainers@qorstl.example>"
    CACHE STRING "The Maintainer field of the Debian packages: a name and a mail address")
set(QORSTL_RUNTIME_PACKAGE libqorstl${QORSTL_SOVERSION})
set(QORSTL_DEB_DIR ${PROJECT_BINARY_DIR}/debian)

if(QORSTL_DEB_LAYOUT)
  # The files Debian wants in /usr/share/doc/<package>: the license and the changelog, gzipped
  # without a timestamp so that the packages are reproducible.
  find_program(QORSTL_GZIP gzip REQUIRED)
  file(READ ${PROJECT_SOURCE_DIR}/LICENSE _qorstl_license)
  string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" _qorstl_holder "${_qorstl_license}")
  set(QORSTL_COPYRIGHT_HOLDER "${CMAKE_MATCH_1}")
  string(REGEX REPLACE "^MIT License\n\n[^\n]*\n\n" "" _qorstl_license "${_qorstl_license}")
  string(STRIP "${_qorstl_license}" _qorstl_license)
  string(REGEX REPLACE "\n\n" "\n.\n" _qorstl_license "${_qorstl_license}")
  string(REGEX REPLACE "\n" "\n " QORSTL_LICENSE_TEXT " ${_qorstl_license}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/copyright.in ${QORSTL_DEB_DIR}/copyright @ONLY)

  # The changelog's date is the last commit's (SOURCE_DATE_EPOCH when set), so a rebuild of the
  # same sources makes the same packages.
  if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(_qorstl_epoch $ENV{SOURCE_DATE_EPOCH})
  else()
    execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                    OUTPUT_VARIABLE _qorstl_epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT _qorstl_epoch)
      string(TIMESTAMP _qorstl_epoch "%s" UTC)
    endif()
  endif()
  execute_process(COMMAND date -u -R -d @${_qorstl_epoch} OUTPUT_VARIABLE QORSTL_CHANGELOG_DATE
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in ${QORSTL_DEB_DIR}/changelog @ONLY)
  execute_process(COMMAND ${QORSTL_GZIP} -9nf ${QORSTL_DEB_DIR}/changelog)
  file(WRITE ${QORSTL_DEB_DIR}/triggers "activate-noawait ldconfig\n")

  foreach(_component runtime development tool)
    if(_component STREQUAL "runtime")
      set(_package ${QORSTL_RUNTIME_PACKAGE})
    elseif(_component STREQUAL "development")
      set(_package libqorstl-dev)
    else()
      set(_package qorstl)
    endif()
    install(FILES ${QORSTL_DEB_DIR}/copyright ${QORSTL_DEB_DIR}/changelog.gz
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${_package} COMPONENT ${_component})
  endforeach()
endif()

set(CPACK_PACKAGE_NAME qorstl)
set(CPACK_PACKAGE_VENDOR "The libqorstl developers")
set(CPACK_PACKAGE_CONTACT "${QORSTL_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QORSTL_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Each package's description starts with its own synopsis: no summary common to all is put first.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds the tool's libqorstl in the build tree; it cannot yet know its package.
get_target_property(_qorstl_library_dir qorstl BINARY_DIR)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${_qorstl_library_dir})

# Descriptions: a synopsis under 80 characters, then paragraphs of lines under 80, "." between
# paragraphs; CPack indents each line by one space.
string(CONCAT _qorstl_about
    "libqorstl converts text between UTF-8, UTF-16, wide strings and the\n"
    "encodings of installed locales, compares strings with and without case,\n"
    "searches for one pattern or the first of several, slices, tokenizes, trims\n"
    "and replaces, formats printf-style, parses numbers and reads and writes\n"
    "whole files. It keeps no state and may be called from any thread.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${QORSTL_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
string(CONCAT CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "C++17 string utilities: conversion, comparison, search, editing\n${_qorstl_about}\n.\n"
    "This package holds the shared library.")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# ldconfig runs through the trigger. CPack would also write a postinst and a postrm that call it,
# unless scripts of those names are listed here: they are named but never made, so the package has
# none (CPack says so, "missing file", once each).
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${QORSTL_DEB_DIR}/triggers
    ${QORSTL_DEB_DIR}/ldconfig-runs-by-trigger/postinst
    ${QORSTL_DEB_DIR}/ldconfig-runs-by-trigger/postrm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqorstl-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${QORSTL_RUNTIME_PACKAGE} (= ${PROJECT_VERSION})")
string(CONCAT CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "C++17 string utilities: conversion, comparison, search (development)\n${_qorstl_about}\n.\n"
    "This package holds the header <qor/qorstl.h>, the link to the library, a\n"
    "CMake package (find_package(qorstl)) and a pkg-config file.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME qorstl)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION text)
# The tool links the library of the runtime package, whose shlibs file dpkg-shlibdeps cannot see
# while the packages are being made; `locale -a` comes from libc-bin, which is essential.
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${QORSTL_RUNTIME_PACKAGE} (>= ${PROJECT_VERSION})")
string(CONCAT CPACK_DEBIAN_TOOL_DESCRIPTION
    "re-encode text, check encodings, find patterns, split, trim and replace\n"
    "qorstl is a command-line tool built on libqorstl. convert re-encodes files\n"
    "between UTF-8, UTF-16 and the charsets of installed locales, writing its\n"
    "output whole or not at all; check says whether files are ASCII, UTF-8 or\n"
    "UTF-16 and where UTF-8 breaks; find reports the first of several patterns;\n"
    "split, trim and replace are filters from standard input to standard output.")
include(CPack)
