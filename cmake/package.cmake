# `cpack -G DEB` in the build tree: one Debian package with the runtime library, the development
# files (header, CMake package, qorstl.pc) and the qorstl tool with its man page.
set(CPACK_PACKAGE_NAME qorstl)
set(CPACK_PACKAGE_VENDOR "libqorstl developers")
set(CPACK_PACKAGE_CONTACT "libqorstl developers <qorstl@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "C++17 string utilities: library, development files and the qorstl tool\n"
    "UTF-8, UTF-16, wide and locale conversion, comparison, multi-pattern search,\n"
    "slicing, trim and replace, formatting, number parsing and whole-file I/O, with the\n"
    "qorstl command-line tool (convert, check, find, split, trim, replace).")
# The run-time dependencies (libc6, libstdc++6, libgcc-s1) come from dpkg-shlibdeps; the tool
# calls `locale -a`, which libc-bin provides.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc-bin")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
