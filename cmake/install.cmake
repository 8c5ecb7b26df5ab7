# Install rules: the library, the header, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS qorstl
  EXPORT qorstlTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(QORSTL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorstl)
install(EXPORT qorstlTargets NAMESPACE qorstl:: DESTINATION ${QORSTL_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qorstlConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qorstlConfig.cmake INSTALL_DESTINATION ${QORSTL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorstlConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorstlConfig.cmake ${PROJECT_BINARY_DIR}/qorstlConfigVersion.cmake
  DESTINATION ${QORSTL_CMAKE_DIR})

# pkg-config: a static build must tell its users to define QORSTL_STATIC.
if(BUILD_SHARED_LIBS)
  set(QORSTL_PC_CFLAGS "")
else()
  set(QORSTL_PC_CFLAGS "-DQORSTL_STATIC")
endif()
# The .pc file finds the prefix from its own place (${pcfiledir}), so it stays right when the
# prefix is chosen at install time (cmake --install --prefix, packagers' staging directories).
set(QORSTL_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(QORSTL_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _qorstl_up "/qorstl-prefix/${QORSTL_PC_DIR}" "/qorstl-prefix")
  string(REGEX REPLACE "/$" "" _qorstl_up "${_qorstl_up}")
  set(QORSTL_PC_PREFIX "\${pcfiledir}/${_qorstl_up}")
endif()
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
configure_file(${PROJECT_SOURCE_DIR}/cmake/qorstl.pc.in ${PROJECT_BINARY_DIR}/qorstl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qorstl.pc DESTINATION ${QORSTL_PC_DIR})
