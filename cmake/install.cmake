# Install rules, in three components that are also the three Debian packages: `runtime` (the
# shared library and its SONAME link), `development` (header, .so link, static library, CMake
# package, qorstl.pc) and `tool` (the qorstl tool and its man page, installed by tools/qorstl).
include(CMakePackageConfigHelpers)

install(TARGETS qorstl
  EXPORT qorstlTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)

set(QORSTL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorstl)
install(EXPORT qorstlTargets NAMESPACE qorstl:: DESTINATION ${QORSTL_CMAKE_DIR}
        COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qorstlConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qorstlConfig.cmake INSTALL_DESTINATION ${QORSTL_CMAKE_DIR})
# The version file accepts exactly the releases that keep the ABI (see "Versions and ABI" in
# README.md): while the major version is 0 a minor release may break it, so 0.2 accepts 0.2.x only.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(_qorstl_compatibility SameMinorVersion)
else()
  set(_qorstl_compatibility SameMajorVersion)
endif()
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorstlConfigVersion.cmake
  COMPATIBILITY ${_qorstl_compatibility})
install(FILES ${PROJECT_BINARY_DIR}/qorstlConfig.cmake ${PROJECT_BINARY_DIR}/qorstlConfigVersion.cmake
  DESTINATION ${QORSTL_CMAKE_DIR} COMPONENT development)

# pkg-config: a static build must tell its users to define QORSTL_STATIC.
if(BUILD_SHARED_LIBS)
  set(QORSTL_PC_CFLAGS "")
else()
  set(QORSTL_PC_CFLAGS "-DQORSTL_STATIC")
endif()
# The prefix is written as the install's own, normalised, when the install runs, so it is right for
# a prefix chosen then (cmake --install --prefix, packagers' staging directories) and pkg-config
# prints `-I/usr/include`, which it then leaves out, never `-I/usr/lib/pkgconfig/../../include`. An
# installed tree that has moved is found with `pkg-config --define-prefix`, which takes `prefix`
# from the place of the file.
set(QORSTL_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(QORSTL_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
else()
  set(QORSTL_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(QORSTL_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
else()
  set(QORSTL_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
set(QORSTL_PC_PREFIX "@QORSTL_PC_PREFIX@")  # filled in when the install runs
configure_file(${PROJECT_SOURCE_DIR}/cmake/qorstl.pc.in ${PROJECT_BINARY_DIR}/qorstl.pc.in @ONLY)
install(CODE "
  cmake_path(SET QORSTL_PC_PREFIX NORMALIZE \"\${CMAKE_INSTALL_PREFIX}\")
  string(REGEX REPLACE \"(.)/$\" \"\\\\1\" QORSTL_PC_PREFIX \"\${QORSTL_PC_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/qorstl.pc.in\" \"${PROJECT_BINARY_DIR}/qorstl.pc\" @ONLY)
  file(INSTALL \"${PROJECT_BINARY_DIR}/qorstl.pc\"
       DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${QORSTL_PC_DIR}\")"
  COMPONENT development)
