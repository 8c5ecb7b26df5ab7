# The locales that the locale-named conversions are tried with, made into
# ${PROJECT_BINARY_DIR}/locale by the tests' script. With the tests, tests/encoding defines the
# target qorstl_test_locales (with iconv's texts beside the locales); a build without them (the
# fuzz targets, the benchmarks) makes the locales alone through qorstl_add_test_locales().
function(qorstl_add_test_locales)
  if(TARGET qorstl_test_locales)
    return()
  endif()
  set(dir ${PROJECT_BINARY_DIR}/locale)
  find_program(QORSTL_LOCALEDEF NAMES localedef)
  add_custom_command(
    OUTPUT ${dir}/stamp
    COMMAND ${CMAKE_COMMAND} -DOUT=${dir} -DCORPUS=${PROJECT_SOURCE_DIR}/tests/data
            "-DLOCALEDEF=$<$<BOOL:${QORSTL_LOCALEDEF}>:${QORSTL_LOCALEDEF}>" -DICONV=
            -P ${PROJECT_SOURCE_DIR}/tests/encoding/make_test_locales.cmake
    DEPENDS ${PROJECT_SOURCE_DIR}/tests/encoding/make_test_locales.cmake
    COMMENT "Generating locales in ${dir}"
    VERBATIM)
  add_custom_target(qorstl_test_locales DEPENDS ${dir}/stamp)
endfunction()
